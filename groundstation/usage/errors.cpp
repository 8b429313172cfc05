#include "groundstation/usage/errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <vector>

#include "groundstation/usage/command_table.h"
#include "groundstation/usage/nearest.h"
#include "groundstation/usage/values.h"

namespace groundstation {
namespace {

bool looks_like_option(const std::string& word) {
  return word.size() > 1 && word[0] == '-' &&
         std::isdigit(static_cast<unsigned char>(word[1])) == 0 && word[1] != '.';
}

std::vector<std::string> subcommand_names(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* sub : app.get_subcommands({})) names.push_back(sub->get_name());
  return names;
}

// Those of the command and of all above it.
std::vector<std::string> options_here(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
      for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    }
  }
  return names;
}

std::string unknown_word(const CLI::App& command, const std::string& word) {
  if (looks_like_option(word)) {
    const std::string name = word.substr(0, word.find('='));
    return fmt::format("there is no option {}{}", name, nearest_hint(name, options_here(command)));
  }
  const std::vector<std::string> names = subcommand_names(command);
  if (names.empty()) return fmt::format("{} is one word too many", word);
  const std::string hint = nearest_hint(word, names);
  // A short list is told, a long one is the help.
  const bool few = hint.empty() && command.get_parent() != nullptr;
  return fmt::format("there is no command {}{}", word,
                     few ? fmt::format("; it is {}", listed(names)) : hint);
}

// What an option lacks, or "X is required" in other words.
std::string missing_text(const CLI::App& command, const std::string& what) {
  const std::vector<std::string> names = subcommand_names(command);
  if (!names.empty() && what.find("subcommand") != std::string::npos) {
    return command.get_parent() == nullptr ? "a command is missing"
                                           : fmt::format("{} is missing", listed(names));
  }
  constexpr std::string_view kRequired = " is required";
  return what.ends_with(kRequired)
             ? fmt::format("{} is missing", what.substr(0, what.size() - kRequired.size()))
             : what;
}

std::string told(const CLI::App& command, const CLI::ParseError& error) {
  std::string what = error.what();
  if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    return missing_text(command, what);
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    const size_t colon = what.find(':');
    if (colon == std::string::npos) return what;
    const size_t most = what.find("At Most ");
    return most == std::string::npos
               ? fmt::format("{} needs a value", what.substr(0, colon))
               : fmt::format("{}: more values than it takes", what.substr(0, colon));
  }
  if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
    constexpr std::string_view kBetween = " excludes ";
    const size_t at = what.find(kBetween);
    return fmt::format("{} and {} do not go together", what.substr(0, at),
                       what.substr(at + kBetween.size()));
  }
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
    constexpr std::string_view kHead = "Could not convert: ";
    const size_t equals = what.find(" = ");
    if (what.starts_with(kHead) && equals != std::string::npos) {
      return fmt::format("{}: {} is not a number that it takes",
                         what.substr(kHead.size(), equals - kHead.size()), what.substr(equals + 3));
    }
  }
  return what;
}

}  // namespace

UsageError usage_error(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& command = given_command(app);
  UsageError result{command_path(command), "", false};
  std::vector<std::string> left = app.remaining(true);
  std::erase(left, "--");
  if (!left.empty()) {
    result.sentence = unknown_word(command, left.front());
    return result;
  }
  result.sentence = told(command, error);
  result.nothing_given = &command == &app && dynamic_cast<const CLI::RequiredError*>(&error);
  return result;
}

ExitCode tell_usage_error(const Output& out, const UsageError& wrong, std::string_view program) {
  // On a line of the shell, whose program has no name, the command alone is typed.
  const std::string name = !wrong.command.empty() ? wrong.command
                           : program.empty()      ? "shell"
                                                  : std::string(program);
  const ExitCode code = out.fail(name, ExitCode::kUsage, wrong.sentence);
  if (out.json()) return code;
  std::string help = std::string(program);
  if (!wrong.command.empty()) help += (help.empty() ? "" : " ") + wrong.command;
  fmt::print(stderr, "Try \"{}\".\n", help.empty() ? "help" : help + " --help");
  return code;
}

}  // namespace groundstation
