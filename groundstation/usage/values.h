// What options and arguments take. Each says in words what is wrong with a value, and leaves behind
// what help, manual and completion show: a placeholder, or the words that can be chosen from.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace groundstation {

// A whole number, or any, from `low` to `high`.
CLI::Option* takes_whole(CLI::Option* option, int64_t low, int64_t high);
CLI::Option* takes_number(CLI::Option* option, double low, double high);
// Seconds above 0, or from 0 on.
CLI::Option* takes_seconds(CLI::Option* option, bool zero_too);

// One of the words, upper or lower case; the option's variable gets what belongs to it.
using Choice = std::pair<std::string, std::string>;
CLI::Option* takes_choice(CLI::Option* option, std::vector<Choice> choices);
// The same where the word itself is the value.
CLI::Option* takes_word(CLI::Option* option, const std::vector<std::string>& words);
// One of the words, or a whole number.
CLI::Option* takes_choice_or_whole(CLI::Option* option, std::vector<Choice> choices, int64_t low,
                                   int64_t high);

// A local file or folder, as what is called FILE or --output takes; a file on the camera's card, as
// NAME. They are completed.
inline constexpr const char* kFileValue = "FILE";
inline constexpr const char* kCardValue = "CARD-FILE";

// "PR, PW, PV or PH"
[[nodiscard]] std::string listed(const std::vector<std::string>& words);

}  // namespace groundstation
