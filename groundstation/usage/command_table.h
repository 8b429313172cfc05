// The one table of all commands, read from the registered ones: help, manual pages, completion and
// the sentences about wrong words are made of it.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace groundstation {

// An option, or an argument, which has one name and no dashes.
struct OptionRow {
  std::vector<std::string> names;    // "-o" before "--output"
  std::string value;                 // placeholder, as "N"; empty for a flag
  std::vector<std::string> choices;  // the words that it takes, if it takes words
  std::string about;
  std::string initial;      // what holds when it is not given; may be empty
  std::string environment;  // the variable that may hold it; may be empty
  bool required = false;
  bool repeated = false;

  // "-o, --output FILE", "NAME..."
  [[nodiscard]] std::string heading() const;
};

struct CommandRow {
  std::string name;
  std::string path;   // "media get"; empty for the program itself
  std::string group;  // heading under which it is listed
  std::string about;  // a sentence, perhaps more behind it
  std::string more;   // text behind everything else
  std::vector<OptionRow> arguments;
  std::vector<OptionRow> options;
  std::vector<CommandRow> commands;
  bool needs_command = false;  // one of those has to follow

  // The first sentence, without the point at its end.
  [[nodiscard]] std::string summary() const;
  // "groundstation media get [OPTIONS] NAME..."; `program` may be empty.
  [[nodiscard]] std::string usage(std::string_view program) const;
};

[[nodiscard]] CommandRow command_table(const CLI::App& app);

// The command of that path and all below it, depth first.
[[nodiscard]] std::vector<const CommandRow*> every_command(const CommandRow& root);
// Null when there is none.
[[nodiscard]] const CommandRow* find_command(const CommandRow& root, std::string_view path);

[[nodiscard]] std::vector<std::string> command_names(const CommandRow& row);
[[nodiscard]] std::vector<std::string> option_names(const CommandRow& row);

// The command that a line of words named, as far as it was understood.
[[nodiscard]] const CLI::App& given_command(const CLI::App& app);
// "media get"; empty for the program itself.
[[nodiscard]] std::string command_path(const CLI::App& command);

}  // namespace groundstation
