// What lets bash, zsh and fish complete a command line, made of the table of commands.
#pragma once

#include <string>
#include <vector>

#include "groundstation/usage/command_table.h"

namespace groundstation {

// Words that may stand behind one certain word of a command, as the values of a setting.
struct WordsBehind {
  std::string path;  // "set"
  std::string word;  // "iso"
  std::vector<std::string> words;
};

[[nodiscard]] std::string bash_completion(const CommandRow& root, const std::string& program,
                                          const std::vector<WordsBehind>& behind);
[[nodiscard]] std::string zsh_completion(const CommandRow& root, const std::string& program,
                                         const std::vector<WordsBehind>& behind);
[[nodiscard]] std::string fish_completion(const CommandRow& root, const std::string& program,
                                          const std::vector<WordsBehind>& behind);

}  // namespace groundstation
