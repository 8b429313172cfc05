// status: heartbeat fields and the status record as a small table, once or for as long as wanted.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/link/endpoint.h"

namespace groundstation {
namespace {

constexpr double kStatusTimeoutS = 5;
constexpr uint64_t kWatchPeriodUs = 1'000'000;

struct StatusRequest {
  bool watch = false;
  double seconds = 0;  // 0: until interrupted
};

std::string row(std::string_view label, std::string_view value) {
  return fmt::format("  {:<16}{}\n", label, value);
}

std::string recording_text(const CameraState& state) {
  if (!state.recording) return "no";
  return state.record_seconds > 0 ? fmt::format("yes, {} s", state.record_seconds) : "yes";
}

std::string status_table(const Session& session) {
  const CameraState& state = session.link.state();
  const double age = static_cast<double>(base::monotonic_us() - state.heartbeat_us) / 1e6;
  std::string text = fmt::format("Camera {}\n", endpoint_text(session.link.options().camera));
  if (state.heartbeat.has_value()) {
    text += row("heartbeat", fmt::format("{:.1f} s ago", age));
    text += row("stream switch", state.heartbeat->stream_on ? "on" : "off");
    if (state.heartbeat->test_mode) text += row("test mode", "on");
  } else {
    text += row("heartbeat", "none");
  }
  text += row("recording", recording_text(state));
  if (!state.status.has_value()) return text + row("status record", "none yet");
  for (const StatusField& field : status_fields()) {
    text += row(field.label, status_text(field, (*state.status).*field.member));
  }
  text += row("space", fmt::format("{:.0f} of {:.0f} MB free", state.status->free_mb,
                                   state.status->total_mb));
  return text;
}

nlohmann::json status_object(const Session& session) {
  const CameraState& state = session.link.state();
  nlohmann::json object = {{"camera", endpoint_text(session.link.options().camera)},
                           {"recording", state.recording},
                           {"record_seconds", state.record_seconds}};
  if (state.heartbeat.has_value()) {
    object["stream_on"] = state.heartbeat->stream_on;
    object["test_mode"] = state.heartbeat->test_mode;
    object["heartbeat_age_s"] =
        static_cast<double>(base::monotonic_us() - state.heartbeat_us) / 1e6;
  }
  if (state.status.has_value()) object["status"] = status_json(*state.status);
  return object;
}

void trim_newline(std::string* text) {
  if (!text->empty() && text->back() == '\n') text->pop_back();
}

ExitCode watch_status(Session& session, double seconds) {
  const uint64_t end =
      seconds > 0 ? base::monotonic_us() + base::saturate<uint64_t>(seconds * 1e6) : UINT64_MAX;
  const bool redraw = !session.out.json() && ::isatty(fileno(session.out.stream())) == 1;
  ptrdiff_t lines = 0;
  Wait wait = Wait::kTimeout;
  while (wait == Wait::kTimeout) {
    std::string table = status_table(session);
    if (redraw && lines > 0) fmt::print(session.out.stream(), "\x1b[{}A\x1b[J", lines);
    lines = std::count(table.begin(), table.end(), '\n');
    trim_newline(&table);
    session.out.event(table, status_object(session));
    const uint64_t now = base::monotonic_us();
    if (now >= end) break;
    wait = session.link.wait(std::min(end, now + kWatchPeriodUs),
                             [](const CameraEvent&) { return false; });
  }
  return ExitCode::kDone;
}

ExitCode show_status(Session& session, const StatusRequest& request) {
  if (Failure failure = meet_camera(session, "status", session.deadline(kStatusTimeoutS))) {
    return *failure;
  }
  if (request.watch) return watch_status(session, request.seconds);
  std::string table = status_table(session);
  trim_newline(&table);
  return session.out.done("status", table, status_object(session));
}

}  // namespace

void add_status_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = add_command<StatusRequest>(
      app, "status", "Show the camera's state: mode, recording, settings, card.");
  CLI::Option* watch =
      command->add_flag("--watch", request->watch, "Show it again every second, until Ctrl-C");
  takes_seconds(
      command->add_option("--seconds", request->seconds, "With --watch: end after so long"), true)
      ->needs(watch);
  run_with(command, request, chosen, show_status);
}

}  // namespace groundstation
