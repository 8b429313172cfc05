// timelapse start|stop. Each slice of a time-lapse is one recording of the camera.
#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

#include "groundstation/commands/exchange.h"
#include "groundstation/messages/setting_rules.h"

namespace groundstation {
namespace {

constexpr double kTimelapseTimeoutS = 15;
constexpr double kMostValue = 1e9;
ExitCode start_timelapse(Session& session, const Timelapse& timelapse) {
  constexpr const char* kCommand = "timelapse start";
  const uint64_t deadline = session.deadline(kTimelapseTimeoutS);
  if (Failure failure = meet_camera(session, kCommand, deadline)) return *failure;
  const auto refusal = [](const CameraState& state) { return timelapse_refusal(*state.status); };
  if (Failure failure = refuse_by_status(session, kCommand, "the time-lapse cannot start now",
                                         refusal, deadline)) {
    return *failure;
  }
  if (Failure failure = enter_mode(session, kCommand, kModeVideo, deadline)) return *failure;
  session.link.drain();
  bool failed = false;
  // Runs once the first slice is being recorded.
  const auto match = [&](const CameraEvent& event) {
    if (const auto* ack = std::get_if<CommandAck>(&event); ack && ack->command == kAckRecordStart) {
      failed = ack->result != kResultDone;
      return failed;
    }
    const auto* status = std::get_if<CameraStatus>(&event);
    return status != nullptr && status->timelapse == kTimelapseRunning;
  };
  const Wait wait = exchange(session.link, timelapse_start_message(timelapse), match, deadline);
  if (wait != Wait::kMatched) {
    return no_answer(session, kCommand, wait, "the time-lapse did not start");
  }
  if (failed) {
    return session.out.fail(kCommand, ExitCode::kRefused,
                            "the camera could not record the first slice");
  }
  return session.out.done(kCommand,
                          fmt::format("time-lapse runs, interval {} s", timelapse.interval),
                          {{"interval", timelapse.interval}, {"count", timelapse.count}});
}

ExitCode stop_timelapse(Session& session) {
  constexpr const char* kCommand = "timelapse stop";
  const uint64_t deadline = session.deadline(kTimelapseTimeoutS);
  if (Failure failure = meet_camera(session, kCommand, deadline)) return *failure;
  session.link.drain();
  if (session.link.state().status->timelapse == kTimelapseIdle) {
    return session.out.fail(kCommand, ExitCode::kNotNow, "no time-lapse is under way");
  }
  const auto match = [](const CameraEvent& event) {
    const auto* status = std::get_if<CameraStatus>(&event);
    return status != nullptr && status->timelapse == kTimelapseIdle;
  };
  const Wait wait = exchange(session.link, timelapse_stop_message(), match, deadline);
  if (wait != Wait::kMatched) {
    return no_answer(session, kCommand, wait, "the time-lapse did not end");
  }
  return session.out.done(kCommand, "the time-lapse has ended");
}

}  // namespace

void add_timelapse_command(CLI::App& app, Action* chosen) {
  CLI::App* command = app.add_subcommand("timelapse",
                                         "Start or stop a time-lapse. Waits until it runs or "
                                         "has ended.")
                          ->group(kSettingsGroup)
                          ->require_subcommand(1);
  auto timelapse = std::make_shared<Timelapse>();
  auto values = std::make_shared<std::vector<float>>();
  CLI::App* start = command->add_subcommand(
      "start",
      "Start. Switches to video mode first if needed; at 1920x1080 30P only. In shutter priority\n"
      "the camera wants a shutter from 1/30.");
  takes_whole(start->add_option("--interval", timelapse->interval, "Seconds"), 1, 15)
      ->capture_default_str();
  takes_whole(start->add_option("--count", timelapse->count, "Number that the camera reports back"),
              0, 1 << 24)
      ->capture_default_str();
  takes_number(
      start->add_option("--values", *values, "Up to four numbers that the camera reports back"),
      -kMostValue, kMostValue)
      ->expected(1, 4);
  start->callback([timelapse, values, chosen] {
    std::copy(values->begin(), values->end(), timelapse->values.begin());
    *chosen = [request = *timelapse](Session& session) {
      return start_timelapse(session, request);
    };
  });
  command->add_subcommand("stop", "Stop")->callback([chosen] { *chosen = stop_timelapse; });
}

}  // namespace groundstation
