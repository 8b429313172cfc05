#include "groundstation/usage/command_table.h"

#include <fmt/format.h>

#include <sstream>

#include "groundstation/usage/values.h"

namespace groundstation {
namespace {

std::vector<std::string> pieces(const std::string& text, char between) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, between);) result.push_back(piece);
  return result;
}

// A number is a number, whatever it is kept in. Arguments and options that take a file are called
// alike everywhere.
std::string placeholder(const CLI::Option& option, const std::string& name) {
  std::string type = option.get_type_name();
  // What a check of the value calls it says more.
  if (const size_t colon = type.find(':'); colon != std::string::npos) type.erase(0, colon + 1);
  if (type == "INT" || type == "UINT" || type == "FLOAT") return "N";
  if (type != "TEXT") return type;
  if (name == kFileValue || name == "--output") return kFileValue;
  return name == "NAME" ? kCardValue : type;
}

OptionRow option_row(const CLI::Option& option) {
  OptionRow row;
  for (const std::string& name : option.get_snames()) row.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) row.names.push_back("--" + name);
  if (option.get_positional()) row.names = {option.get_name(true, false)};
  if (option.get_items_expected_max() != 0) {
    row.value = placeholder(option, row.names.back());
    if (row.value.find('|') != std::string::npos) row.choices = pieces(row.value, '|');
    std::erase(row.choices, "N");
  }
  row.about = option.get_description();
  row.initial = option.get_default_str();
  row.environment = option.get_envname();
  row.required = option.get_required();
  row.repeated = option.get_items_expected_max() > 1;
  return row;
}

CommandRow command_row(const CLI::App& app, const std::string& path) {
  CommandRow row;
  row.name = app.get_name();
  row.path = path;
  row.group = app.get_group();
  row.about = app.get_description();
  row.more = app.get_footer();
  row.needs_command = app.get_require_subcommand_min() > 0;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;  // not for the public
    (option->get_positional() ? row.arguments : row.options).push_back(option_row(*option));
  }
  for (const CLI::App* sub : app.get_subcommands({})) {
    row.commands.push_back(
        command_row(*sub, path.empty() ? sub->get_name() : path + " " + sub->get_name()));
  }
  return row;
}

}  // namespace

std::string OptionRow::heading() const {
  std::string text = fmt::format("{}", fmt::join(names, ", "));
  const bool argument = !names.empty() && !names[0].starts_with('-');
  if (argument && repeated) return text + "...";
  if (!argument && !value.empty()) text += " " + value;
  return text;
}

std::string CommandRow::summary() const {
  std::string text = about;
  for (char& c : text) c = c == '\n' ? ' ' : c;
  const size_t end = text.find(". ");
  if (end != std::string::npos) text.resize(end);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string CommandRow::usage(std::string_view program) const {
  std::string text(program);
  if (!path.empty()) text += (text.empty() ? "" : " ") + path;
  text += text.empty() ? "[OPTIONS]" : " [OPTIONS]";
  for (const OptionRow& argument : arguments) {
    const std::string heading = argument.heading();
    text += argument.required ? " " + heading : " [" + heading + "]";
  }
  if (commands.empty()) return text;
  return text + (needs_command ? " COMMAND" : " [COMMAND]");
}

CommandRow command_table(const CLI::App& app) { return command_row(app, ""); }

std::vector<const CommandRow*> every_command(const CommandRow& root) {
  std::vector<const CommandRow*> all{&root};
  for (const CommandRow& row : root.commands) {
    const std::vector<const CommandRow*> below = every_command(row);
    all.insert(all.end(), below.begin(), below.end());
  }
  return all;
}

const CommandRow* find_command(const CommandRow& root, std::string_view path) {
  for (const CommandRow* row : every_command(root)) {
    if (row->path == path) return row;
  }
  return nullptr;
}

std::vector<std::string> command_names(const CommandRow& row) {
  std::vector<std::string> names;
  for (const CommandRow& command : row.commands) names.push_back(command.name);
  return names;
}

std::vector<std::string> option_names(const CommandRow& row) {
  std::vector<std::string> names;
  for (const OptionRow& option : row.options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

const CLI::App& given_command(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
  return *command;
}

std::string command_path(const CLI::App& command) {
  std::string path;
  for (const CLI::App* app = &command; app->get_parent() != nullptr; app = app->get_parent()) {
    if (!path.empty()) path.insert(0, " ");
    path.insert(0, app->get_name());
  }
  return path;
}

}  // namespace groundstation
