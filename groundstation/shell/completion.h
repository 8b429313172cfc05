// What the Tab key offers in the shell: commands, their options, the names of the settings and
// their words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace groundstation {

// Every word that can stand at the end of the line in place of its last word, which may be empty;
// only those that begin with it (upper or lower case), in the order of the help. Empty when there
// is none, and where any text may stand.
[[nodiscard]] std::vector<std::string> completions(std::string_view line);

}  // namespace groundstation
