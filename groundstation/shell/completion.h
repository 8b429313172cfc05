// What the Tab key offers in the shell: commands, their options and values, settings and theirs,
// local files, and the files on the card.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace groundstation {

// The names of the files on the card, asked for at this port of the camera.
using CardNames = std::function<std::vector<std::string>(uint16_t port)>;

// Every word that can stand at the end of the line in place of its last word, which may be empty;
// only those that begin with it (upper or lower case), in the order of the help. A pattern such as
// *PW* stands for the files on the card that it fits. Empty when there is none, and where any text
// may stand.
[[nodiscard]] std::vector<std::string> completions(std::string_view line,
                                                   const CardNames& card = {});

// Whether the word is a pattern.
[[nodiscard]] bool is_pattern(std::string_view word);

}  // namespace groundstation
