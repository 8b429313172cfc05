// help: what --help tells, by the command's name.
#include "groundstation/usage/help.h"

#include <fmt/format.h>

#include "groundstation/commands/registry.h"
#include "groundstation/usage/nearest.h"

namespace groundstation {
namespace {

// A name that is not known is told with the nearest one, on its own level.
ExitCode no_such_command(const Session& session, const CommandRow& row, const std::string& name) {
  return session.out.fail(
      "help", ExitCode::kUsage,
      fmt::format("there is no command {}{}", name, nearest_hint(name, command_names(row))));
}

ExitCode show_help(const Session& session, const CLI::App& app,
                   const std::vector<std::string>& words) {
  const CommandRow root = command_table(app);
  const CommandRow* row = &root;
  for (const std::string& word : words) {
    const std::string path = row->path.empty() ? word : row->path + " " + word;
    const CommandRow* next = find_command(*row, path);
    if (next == nullptr) return no_such_command(session, *row, word);
    row = next;
  }
  std::string text = help_text(*row, app.get_name());
  text.pop_back();  // the end of its last line
  return session.out.done("help", text, {{"of", row->path}, {"text", text}});
}

}  // namespace

void add_help_command(CLI::App& app, Action* chosen) {
  const auto [command, words] =
      add_command<std::vector<std::string>>(app, "help", "Help of a command, or of everything.");
  command->add_option("COMMAND", *words, "Its name, as \"media get\"; none: all of them");
  run_with(command, words, chosen,
           [&app](const Session& session, const std::vector<std::string>& named) {
             return show_help(session, app, named);
           });
}

}  // namespace groundstation
