#include "groundstation/usage/completion_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "groundstation/usage/values.h"

namespace groundstation {
namespace {

// In single quotes, as the shells take it.
std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'') {
      result += "'\\''";
    } else {
      result += c;
    }
  }
  return result + "'";
}

std::vector<std::string> quoted(const std::vector<std::string>& texts) {
  std::vector<std::string> result;
  result.reserve(texts.size());
  for (const std::string& text : texts) result.push_back(quoted(text));
  return result;
}

std::string first_line(std::string text) {
  for (char& c : text) c = c == '\n' ? ' ' : c;
  return text;
}

bool is_file(const OptionRow& option) { return option.value == kFileValue; }

// The words of all arguments that are words.
std::vector<std::string> argument_words(const CommandRow& row) {
  std::vector<std::string> words;
  for (const OptionRow& argument : row.arguments) {
    words.insert(words.end(), argument.choices.begin(), argument.choices.end());
  }
  return words;
}

bool takes_files(const CommandRow& row) {
  for (const OptionRow& argument : row.arguments) {
    if (is_file(argument)) return true;
  }
  return false;
}

std::vector<std::string> paths(const CommandRow& root) {
  std::vector<std::string> result;
  for (const CommandRow* row : every_command(root)) {
    if (!row->path.empty()) result.push_back(quoted(row->path));
  }
  return result;
}

// Where an option of the command, or of the program, stands in front: "photo:--mode". A pattern of
// case, for bash and zsh.
std::string option_pattern(const CommandRow& row, const OptionRow& option) {
  std::vector<std::string> patterns;
  for (const std::string& name : option.names) {
    patterns.push_back(row.path.empty() ? fmt::format("*{}", quoted(":" + name))
                                        : quoted(row.path + ":" + name));
  }
  return fmt::format("{}", fmt::join(patterns, " | "));
}

// What stands behind options that have a value, and behind certain words. `words` is what a shell
// does with words, `files` with files; both end the function.
std::string value_cases(const CommandRow& root, const std::vector<WordsBehind>& behind,
                        const std::function<std::string(const std::vector<std::string>&)>& words,
                        const std::string& files, const std::string& nothing) {
  std::string text;
  for (const CommandRow* row : every_command(root)) {
    for (const OptionRow& option : row->options) {
      if (option.value.empty()) continue;
      const std::string does =
          is_file(option) ? files : (option.choices.empty() ? nothing : words(option.choices));
      text += fmt::format("    {}) {} ;;\n", option_pattern(*row, option), does);
    }
  }
  for (const WordsBehind& entry : behind) {
    text +=
        fmt::format("    {}) {} ;;\n", quoted(entry.path + ":" + entry.word), words(entry.words));
  }
  return text;
}

std::string zsh_words(const std::vector<std::string>& words) {
  return fmt::format("compadd -- {}; return", fmt::join(quoted(words), " "));
}

// "name:what it does" for _describe.
std::string described(const std::string& name, const std::string& about) {
  std::string text;
  for (const char c : first_line(about)) text += c == ':' ? "\\:" : std::string(1, c);
  return quoted(name + ":" + text);
}

std::string fish_option(const OptionRow& option) {
  std::string text;
  for (const std::string& name : option.names) {
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (!option.value.empty()) text += is_file(option) ? " -r -F" : " -x";
  if (!option.choices.empty()) {
    text += fmt::format(" -a {}", quoted(fmt::format("{}", fmt::join(option.choices, " "))));
  }
  return text + " -d " + quoted(first_line(option.about));
}

}  // namespace

std::string bash_completion(const CommandRow& root, const std::string& program,
                            const std::vector<WordsBehind>& behind) {
  std::string text = fmt::format(
      "# bash completion for {0}\n\n"
      "_{0}_offer() {{ COMPREPLY=($(compgen -W \"$*\" -- \"${{COMP_WORDS[COMP_CWORD]}}\")); }}\n\n"
      "_{0}() {{\n"
      "  local current=${{COMP_WORDS[COMP_CWORD]}} path='' i\n"
      "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      "    case \"${{path:+$path }}${{COMP_WORDS[i]}}\" in\n"
      "      {1}) path=\"${{path:+$path }}${{COMP_WORDS[i]}}\" ;;\n"
      "    esac\n"
      "  done\n"
      "  case \"$path:${{COMP_WORDS[COMP_CWORD - 1]}}\" in\n",
      program, fmt::join(paths(root), " | "));
  const auto offer = [&](const std::vector<std::string>& words) {
    return fmt::format("_{}_offer {}; return", program, fmt::join(quoted(words), " "));
  };
  text += value_cases(root, behind, offer, "COMPREPLY=($(compgen -f -- \"$current\")); return",
                      "return");
  text += "  esac\n  case \"$path\" in\n";
  for (const CommandRow* row : every_command(root)) {
    std::vector<std::string> options = option_names(*row);
    for (const std::string& name : option_names(root)) {
      if (std::find(options.begin(), options.end(), name) == options.end()) options.push_back(name);
    }
    std::vector<std::string> words = command_names(*row);
    for (const std::string& word : argument_words(*row)) words.push_back(word);
    text += fmt::format("    {})\n      case \"$current\" in\n        -*) _{}_offer {} ;;\n",
                        quoted(row->path), program, fmt::join(quoted(options), " "));
    if (takes_files(*row)) {
      text += "        *) COMPREPLY=($(compgen -f -- \"$current\")) ;;\n";
    } else if (!words.empty()) {
      text += fmt::format("        *) _{}_offer {} ;;\n", program, fmt::join(quoted(words), " "));
    }
    text += "      esac ;;\n";
  }
  return text + fmt::format("  esac\n}}\n\ncomplete -F _{0} {0}\n", program);
}

std::string zsh_completion(const CommandRow& root, const std::string& program,
                           const std::vector<WordsBehind>& behind) {
  std::string text = fmt::format(
      "#compdef {0}\n\n"
      "_{0}() {{\n"
      "  local at='' i\n"
      "  local -a entries\n"
      "  for ((i = 2; i < CURRENT; i++)); do\n"
      "    case \"${{at:+$at }}$words[i]\" in\n"
      "      {1}) at=\"${{at:+$at }}$words[i]\" ;;\n"
      "    esac\n"
      "  done\n"
      "  case \"$at:$words[CURRENT-1]\" in\n",
      program, fmt::join(paths(root), " | "));
  text += value_cases(root, behind, zsh_words, "_files; return", "return");
  text += "  esac\n  case \"$at\" in\n";
  for (const CommandRow* row : every_command(root)) {
    std::vector<std::string> options;
    for (const CommandRow* owner : {row, &root}) {
      if (owner == row && row == &root) continue;
      for (const OptionRow& option : owner->options) {
        for (const std::string& name : option.names) {
          options.push_back(described(name, option.about));
        }
      }
    }
    std::vector<std::string> words;
    for (const CommandRow& command : row->commands) {
      words.push_back(described(command.name, command.summary()));
    }
    for (const std::string& word : argument_words(*row)) words.push_back(quoted(word));
    text += fmt::format(
        "    {})\n      if [[ $words[CURRENT] == -* ]]; then\n        entries=({})\n"
        "        _describe -o option entries\n",
        quoted(row->path), fmt::join(options, " "));
    if (takes_files(*row)) {
      text += "      else\n        _files\n";
    } else if (!words.empty()) {
      text += fmt::format("      else\n        entries=({})\n        _describe word entries\n",
                          fmt::join(words, " "));
    }
    text += "      fi ;;\n";
  }
  return text + fmt::format("  esac\n}}\n\n_{} \"$@\"\n", program);
}

std::string fish_completion(const CommandRow& root, const std::string& program,
                            const std::vector<WordsBehind>& behind) {
  std::string text = fmt::format(
      "# fish completion for {0}\n\n"
      "# Whether the command of this path is being typed; with a second word, behind that one.\n"
      "function __{0}_at\n"
      "  set -l words (commandline -opc)\n"
      "  set -l path\n"
      "  for word in $words[2..-1]\n"
      "    set -l longer $path $word\n"
      "    if contains -- \"$longer\" {1}\n"
      "      set path $longer\n"
      "    end\n"
      "  end\n"
      "  test \"$path\" = \"$argv[1]\"; or return 1\n"
      "  test (count $argv) -lt 2; or test \"$words[-1]\" = \"$argv[2]\"\n"
      "end\n\n"
      "complete -c {0} -f\n",
      program, fmt::join(paths(root), " "));
  const auto line = [&](const std::string& condition, const std::string& rest) {
    text += fmt::format("complete -c {}{}{}\n", program,
                        condition.empty() ? "" : " -n " + quoted(condition), rest);
  };
  const auto at = [&](const std::string& path) {
    return fmt::format("__{}_at \"{}\"", program, path);
  };
  for (const CommandRow* row : every_command(root)) {
    // Those of the program stand anywhere.
    const std::string where = row == &root ? "" : at(row->path);
    for (const OptionRow& option : row->options) line(where, fish_option(option));
    for (const CommandRow& command : row->commands) {
      line(at(row->path), fmt::format(" -a {} -d {}", command.name, quoted(command.summary())));
    }
    if (takes_files(*row)) line(at(row->path), " -F");
    for (const std::string& word : argument_words(*row)) {
      line(at(row->path), fmt::format(" -a {}", quoted(word)));
    }
  }
  for (const WordsBehind& entry : behind) {
    line(fmt::format("{} \"{}\"", at(entry.path), entry.word),
         fmt::format(" -a {}", quoted(fmt::format("{}", fmt::join(entry.words, " ")))));
  }
  return text;
}

}  // namespace groundstation
