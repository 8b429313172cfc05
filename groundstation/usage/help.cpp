#include "groundstation/usage/help.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace groundstation {
namespace {

constexpr size_t kColumn = 24;  // where the text beside a name begins
constexpr size_t kMargin = 2;

// Words, until the line is full.
std::string filled(const std::string& paragraph, size_t indent, size_t width) {
  std::istringstream words(paragraph);
  const std::string margin(indent, ' ');
  std::string text;
  std::string line = margin;
  for (std::string word; words >> word;) {
    if (line.size() > indent && line.size() + 1 + word.size() > width) {
      text += line + "\n";
      line = margin;
    }
    if (line.size() > indent) line += ' ';
    line += word;
  }
  return line.size() > indent ? text + line + "\n" : text;
}

std::string option_text(const OptionRow& option) {
  std::string text = option.about;
  if (!option.initial.empty()) text += fmt::format(" [{}]", option.initial);
  if (!option.environment.empty()) text += fmt::format(" (or from {})", option.environment);
  return text;
}

std::string option_entries(std::string_view title, const std::vector<OptionRow>& options) {
  if (options.empty()) return "";
  std::string text = fmt::format("\n{}:\n", title);
  for (const OptionRow& option : options) {
    text += column_entry(option.heading(), option_text(option));
  }
  return text;
}

// Under their headings, in the order in which these come first.
std::string command_entries(const CommandRow& row) {
  std::vector<std::string> groups;
  for (const CommandRow& command : row.commands) {
    if (std::find(groups.begin(), groups.end(), command.group) == groups.end()) {
      groups.push_back(command.group);
    }
  }
  std::string text;
  for (const std::string& group : groups) {
    text += fmt::format("\n{}:\n", group == "Subcommands" ? "Commands" : group);
    for (const CommandRow& command : row.commands) {
      if (command.group == group) text += column_entry(command.name, command.summary());
    }
  }
  return text;
}

}  // namespace

std::string wrapped(std::string_view text, size_t indent, size_t width) {
  std::istringstream lines{std::string(text)};
  std::string result;
  std::string paragraph;
  const auto close = [&] {
    result += filled(paragraph, indent, width);
    paragraph.clear();
  };
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line[0] != ' ') {
      paragraph += line + " ";
      continue;
    }
    close();
    result += line.empty() ? "\n" : std::string(indent, ' ') + line + "\n";
  }
  close();
  return result;
}

std::string column_entry(std::string_view name, std::string_view text) {
  const std::string head = std::string(kMargin, ' ') + std::string(name);
  const std::string body = wrapped(text, kColumn);
  if (head.size() + 1 > kColumn || body.empty()) return head + "\n" + body;
  return head + body.substr(head.size());
}

std::string help_text(const CommandRow& row, std::string_view program) {
  std::string text = wrapped(row.about, 0);
  text += "\n" + filled("Usage: " + row.usage(program), 0, kHelpWidth);
  text += option_entries("Arguments", row.arguments);
  text += option_entries("Options", row.options);
  text += command_entries(row);
  if (!row.more.empty()) text += (row.more[0] == '\n' ? "" : "\n") + wrapped(row.more, 0);
  return text;
}

std::string short_help(const CommandRow& root, std::string_view program) {
  return fmt::format("Usage: {}\n{}\n\"{} COMMAND --help\" tells more, \"{} --help\" everything.\n",
                     root.usage(program), command_entries(root), program, program);
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string /*name*/,
                                     CLI::AppFormatMode mode) const {
  const CLI::App* root = app;
  while (root->get_parent() != nullptr) root = root->get_parent();
  const CommandRow table = command_table(*root);
  const CommandRow* row = find_command(table, command_path(*app));
  const std::string program = root->get_name();
  std::string text = help_text(*row, program);
  if (mode != CLI::AppFormatMode::All) return text;
  for (const CommandRow* below : every_command(*row)) {
    if (below != row)
      text += fmt::format("\n{:-<{}}\n", "", kHelpWidth) + help_text(*below, program);
  }
  return text;
}

}  // namespace groundstation
