#include "groundstation/shell/shell.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/clock.h"
#include "groundstation/media/client.h"
#include "groundstation/shell/completion.h"
#include "groundstation/shell/echo.h"
#include "groundstation/shell/line_editor.h"
#include "groundstation/terminal/interrupts.h"
#include "groundstation/usage/command_table.h"
#include "groundstation/usage/errors.h"
#include "groundstation/usage/help.h"

namespace groundstation {
namespace {

constexpr size_t kMaxLine = 4096;
constexpr uint32_t kTickShownEvery = 10;
constexpr uint64_t kCardPatienceUs = 1'500'000;
constexpr uint64_t kCardKeptUs = 5'000'000;

class Shell {
 public:
  explicit Shell(Session& session)
      : session_(session), terminal_(::isatty(STDIN_FILENO) == 1), json_(session.out.json()) {}

  ExitCode run();

 private:
  bool read_input();
  bool run_line(std::string line);
  void run_command(const std::string& line);
  bool take_input();
  ExitCode run_lines();
  ExitCode run_terminal();
  void show(const CameraEvent& event);
  [[nodiscard]] std::vector<std::string> card_names(uint16_t port);

  Session& session_;
  bool terminal_;
  bool json_;
  std::optional<LineEditor> editor_;  // on a terminal
  OwnCommands own_;
  std::string input_;
  std::vector<std::string> card_;
  uint64_t card_us_ = 0;  // when the card was asked; 0: never
  ExitCode result_ = ExitCode::kDone;
};

// Heartbeats and status records come all the time and are shown by `status`; of the record ticks
// every tenth is enough. What a command of this shell has done is told by the command.
void Shell::show(const CameraEvent& event) {
  if (std::holds_alternative<CameraHeartbeat>(event)) return;
  if (std::holds_alternative<CameraStatus>(event)) return;
  const auto* tick = std::get_if<RecordTick>(&event);
  if (tick != nullptr && tick->seconds % kTickShownEvery != 0) return;
  if (own_.explain(event, base::monotonic_us())) return;
  if (editor_.has_value()) editor_->hide();
  session_.out.event("* " + event_text(event), event_json(event));
  if (editor_.has_value()) editor_->show();
}

// Takes what standard input has. False at its end.
bool Shell::read_input() {
  std::array<char, 1024> bytes;
  const ssize_t length = ::read(STDIN_FILENO, bytes.data(), bytes.size());
  if (length <= 0) return false;
  input_.append(bytes.data(), static_cast<size_t>(length));
  return true;
}

void Shell::run_command(const std::string& line) {
  ShellLine parsed;
  parsed.json = json_;
  try {
    parsed.app.parse(line);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      parsed.app.exit(error);
      std::fflush(stdout);
    } else {
      // The option may stand behind the word that is wrong.
      const Output out(json_ || line.find("--json") != std::string::npos);
      result_ = tell_usage_error(out, usage_error(parsed.app, error), "");
    }
    return;
  }
  const std::string path = command_path(given_command(parsed.app));
  const Output before = session_.out;
  session_.out.set_json(parsed.json);
  session_.out.set_command(path);
  own_.begin(path);
  Session session{session_.link, session_.out,
                  parsed.timeout_s > 0 ? parsed.timeout_s : session_.timeout_s};
  const ExitCode code = parsed.action(session);
  own_.end(base::monotonic_us());
  session_.out = before;
  if (code != ExitCode::kDone) result_ = code;
}

// False when the shell is to end.
bool Shell::run_line(std::string line) {
  const size_t begin = line.find_first_not_of(" \t\r");
  if (begin == std::string::npos || line[begin] == '#') return true;
  line = line.substr(begin, line.find_last_not_of(" \t\r") - begin + 1);
  if (line == "quit" || line == "exit") return false;
  run_command(line);
  // Ctrl-C ends a command, not the shell; SIGTERM ends both.
  interrupted();
  clear_interrupt();
  return !terminating();
}

// Waits for standard input. False when a signal came instead.
bool Shell::take_input() {
  return session_.link.wait(
             UINT64_MAX, [](const CameraEvent&) { return false; }, STDIN_FILENO) == Wait::kExtra;
}

ExitCode Shell::run_lines() {
  bool open = true;
  bool go_on = true;
  while (go_on) {
    const size_t end = input_.find('\n');
    if (end != std::string::npos || (!open && !input_.empty())) {
      const std::string line = input_.substr(0, end);
      input_.erase(0, end == std::string::npos ? end : end + 1);
      go_on = run_line(line);
      continue;
    }
    if (!open) break;
    if (input_.size() > kMaxLine) input_.clear();
    if (!take_input()) break;
    open = read_input();
  }
  return result_;
}

// What the card holds, for a short while what it held.
std::vector<std::string> Shell::card_names(uint16_t port) {
  const uint64_t now = base::monotonic_us();
  if (card_us_ != 0 && now < card_us_ + kCardKeptUs) return card_;
  card_.clear();
  MediaLink link(session_.link);
  if (!link.open(port).empty()) return card_;
  MediaClient client(link, kCardPatienceUs);
  for (const MediaKind kind : {MediaKind::kPhoto, MediaKind::kVideo}) {
    std::vector<std::string> names;
    if (client.list(kind, &names) != MediaResult::kDone) break;
    card_.insert(card_.end(), names.begin(), names.end());
  }
  card_us_ = base::monotonic_us();
  return card_;
}

ExitCode Shell::run_terminal() {
  session_.out.note("help lists the commands, quit ends; the Tab key completes.");
  const CardNames card = [this](uint16_t port) { return card_names(port); };
  editor_.emplace(
      "camera> ", history_path(), [card](std::string_view line) { return completions(line, card); },
      [this] { return take_input(); });
  bool go_on = true;
  while (go_on) {
    std::string line;
    switch (editor_->read(&line)) {
      case LineEditor::End::kLine:
        go_on = run_line(line);
        break;
      case LineEditor::End::kEndOfInput:
        go_on = false;
        break;
      case LineEditor::End::kInterrupted:
        clear_interrupt();
        go_on = !terminating();
        break;
    }
  }
  editor_.reset();
  session_.out.note("");
  return ExitCode::kDone;
}

ExitCode Shell::run() {
  session_.link.observe([this](const CameraEvent& event) { show(event); });
  const ExitCode code = terminal_ ? run_terminal() : run_lines();
  session_.link.observe({});
  return code;
}

constexpr const char* kShellMore = R"(
On a terminal: Tab completes, the arrows and Ctrl-R find earlier lines, Ctrl-C
clears the line or ends a command, Ctrl-D or quit ends the shell. The lines are
kept in ~/.local/state/groundstation/history ($XDG_STATE_HOME, if set).

Lines may also come from a pipe; the exit status is then that of the last
command that failed. Empty lines and lines that begin with # are skipped.
)";

}  // namespace

ShellLine::ShellLine() {
  app.description("Commands of the camera. quit ends the shell.");
  app.formatter(std::make_shared<HelpFormatter>());
  app.get_help_ptr()->description("Help of this command");
  app.fallthrough();
  app.require_subcommand(1);
  takes_seconds(app.add_option("--timeout", timeout_s, "How long to wait for the camera"), false);
  app.add_flag("--json", json, "Print JSON");
  add_camera_commands(app, &action);
}

void add_shell_command(CLI::App& app, Action* chosen) {
  CLI::App* command = app.add_subcommand(
      "shell",
      "Interactive: the same commands line by line on one link. The camera's reports are shown as "
      "they come.");
  command->footer(kShellMore);
  command->callback([chosen] { *chosen = [](Session& session) { return Shell(session).run(); }; });
}

}  // namespace groundstation
