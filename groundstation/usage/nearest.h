// The known word that somebody may have meant.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace groundstation {

// How many letters have to be put in, left out, changed or swapped with their neighbour to make one
// word of the other; upper and lower case are the same.
[[nodiscard]] size_t edit_distance(std::string_view a, std::string_view b);

// The word that is least far away; of several the first. Empty when none is near: more than a third
// of the letters would change. A beginning of two letters or more is near to what it begins.
[[nodiscard]] std::string nearest_word(std::string_view word, std::span<const std::string> known);

// "; did you mean Cloudy?", or nothing.
[[nodiscard]] std::string nearest_hint(std::string_view word, std::span<const std::string> known);

}  // namespace groundstation
