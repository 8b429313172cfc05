#include "groundstation/shell/shell.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>

#include "groundstation/shell/completion.h"
#include "groundstation/shell/line_editor.h"
#include "groundstation/terminal/interrupts.h"

namespace groundstation {
namespace {

constexpr size_t kMaxLine = 4096;
constexpr uint32_t kTickShownEvery = 10;

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

  Session& session_;
  bool terminal_;
  bool json_;
  std::optional<LineEditor> editor_;  // on a terminal
  std::string input_;
  ExitCode result_ = ExitCode::kDone;
};

// Heartbeats and status records come all the time and are shown by `status`; of the record ticks
// every tenth is enough.
void Shell::show(const CameraEvent& event) {
  if (std::holds_alternative<CameraHeartbeat>(event)) return;
  if (std::holds_alternative<CameraStatus>(event)) return;
  const auto* tick = std::get_if<RecordTick>(&event);
  if (tick != nullptr && tick->seconds % kTickShownEvery != 0) return;
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
  CLI::App app("Commands of the camera. Also: help, quit.", "");
  Action action;
  double timeout_s = session_.timeout_s;
  bool json = json_;
  app.fallthrough();
  app.require_subcommand(1);
  app.add_option("--timeout", timeout_s, "Seconds to wait for the camera")
      ->check(CLI::PositiveNumber);
  app.add_flag("--json", json, "Print JSON");
  add_camera_commands(app, &action);
  try {
    app.parse(line == "help" ? "--help" : line);
  } catch (const CLI::ParseError& error) {
    if (app.exit(error) != 0) result_ = ExitCode::kUsage;
    std::fflush(stdout);
    return;
  }
  session_.out.set_json(json);
  Session session{session_.link, session_.out, timeout_s};
  const ExitCode code = action(session);
  session_.out.set_json(json_);
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

// The editor has the terminal only while it waits for a line, so that a command prints as usual.
ExitCode Shell::run_terminal() {
  session_.out.note("help lists the commands, quit ends; the Tab key completes.");
  bool go_on = true;
  while (go_on) {
    editor_.emplace("camera> ", completions);
    while (!editor_->ended() && take_input()) editor_->read();
    const std::optional<std::string> line = editor_->line();
    editor_.reset();
    go_on = line.has_value() && run_line(*line);
  }
  session_.out.note("");
  return ExitCode::kDone;
}

ExitCode Shell::run() {
  session_.link.observe([this](const CameraEvent& event) { show(event); });
  const ExitCode code = terminal_ ? run_terminal() : run_lines();
  session_.link.observe({});
  return code;
}

}  // namespace

void add_shell_command(CLI::App& app, Action* chosen) {
  app.add_subcommand("shell",
                     "Interactive: the same commands line by line on one link, and the camera's\n"
                     "reports as they come. Lines may also come from a pipe.")
      ->callback([chosen] { *chosen = [](Session& session) { return Shell(session).run(); }; });
}

}  // namespace groundstation
