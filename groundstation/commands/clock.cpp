// clock: tell the camera the time.
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <memory>

#include "base/clock.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/messages/clock_time.h"

namespace groundstation {
namespace {

constexpr double kClockTimeoutS = 6;

struct ClockRequest {
  std::string time;
  bool now = false;
  int hours = 0;
};

ExitCode set_clock(Session& session, std::optional<uint64_t> time_ms, int hours) {
  const uint64_t deadline = session.deadline(kClockTimeoutS);
  if (Failure failure = meet_camera(session, "clock", deadline)) return *failure;
  session.link.drain();
  uint64_t sent_ms = 0;
  uint8_t result = kResultDone;
  const auto make = [&] {
    sent_ms = time_ms.value_or(base::wall_clock_us() / 1000);
    return clock_message(sent_ms, hours);
  };
  const auto match = [&](const CameraEvent& event) {
    const auto* ack = std::get_if<CameraAck>(&event);
    if (ack == nullptr || !ack->clock) return false;
    result = ack->result;
    return true;
  };
  const Wait wait = exchange(session.link, make, match, deadline);
  if (wait != Wait::kMatched) {
    return no_answer(session, "clock", wait, "the clock was not confirmed");
  }
  const std::string text = clock_text(sent_ms, hours);
  const nlohmann::json fields = {
      {"milliseconds", sent_ms}, {"offset", hours}, {"time", text}, {"result", result}};
  if (result != kResultDone) {
    return session.out.fail(
        "clock", ExitCode::kRefused,
        fmt::format("the camera could not set its clock to {} (result {})", text, result), fields);
  }
  return session.out.done(
      "clock",
      fmt::format("{}: confirmed (a camera whose clock was set before confirms and keeps it)",
                  text),
      fields);
}

}  // namespace

void add_clock_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = setting_command<ClockRequest>(
      app, "clock", "Set the camera's clock and wait for its confirmation.");
  command->footer(
      "\nOnce the camera service has confirmed a time, the camera confirms every further one and\n"
      "keeps its own; the answer does not tell the two apart. Status 1: it could not be set.\n");
  CLI::Option* time = command->add_option(
      "TIME", request->time,
      "2020-01-31T12:00:00, with Z or +HH:MM behind it (none: UTC), or milliseconds since 1970;\n"
      "without it this machine's time");
  command->add_flag("--now", request->now, "This machine's time")->excludes(time);
  takes_whole(command->add_option("--offset", request->hours, "Hours that the camera adds"), -24,
              24)
      ->capture_default_str();
  command->callback([request = request, chosen] {
    std::optional<uint64_t> time_ms;
    if (!request->time.empty()) {
      time_ms = parse_clock(request->time);
      if (!time_ms.has_value()) {
        throw CLI::ValidationError(
            "TIME", request->time + " is no time; one is 2020-01-31T12:00:00, or milliseconds");
      }
    }
    *chosen = [time_ms, hours = request->hours](Session& session) {
      return set_clock(session, time_ms, hours);
    };
  });
}

}  // namespace groundstation
