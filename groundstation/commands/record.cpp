// record start|stop and mode photo|video.
#include <fmt/format.h>

#include <memory>
#include <string>

#include "base/clock.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/commands/new_file.h"

namespace groundstation {
namespace {

constexpr double kRecordTimeoutS = 10;
constexpr double kModeTimeoutS = 10;

struct RecordStep {
  const char* command;
  CameraAction action;
  uint16_t ack;
  bool recording;  // what the camera does afterwards
  const char* done;
  const char* already;
  const char* failed;
};

constexpr RecordStep kStart{"record start",
                            CameraAction::kStartRecording,
                            kAckRecordStart,
                            true,
                            "recording",
                            "the camera is recording already",
                            "the camera could not start recording"};
constexpr RecordStep kStop{"record stop",
                           CameraAction::kStopRecording,
                           kAckRecordStop,
                           false,
                           "recording stopped",
                           "the camera is not recording",
                           "the camera could not stop the recording"};

ExitCode record(Session& session, const RecordStep& step, const NewFileRequest& request) {
  uint64_t deadline = session.deadline(kRecordTimeoutS);
  if (Failure failure = meet_camera(session, step.command, deadline)) return *failure;
  const CameraState& state = session.link.state();
  if (state.recording == step.recording) {
    return session.out.fail(step.command, ExitCode::kNotNow, step.already);
  }
  if (step.recording) {
    if (Failure failure = enter_mode(session, step.command, kModeVideo, deadline)) return *failure;
  }
  NewFile file(session, step.command, request, MediaKind::kVideo);
  if (!step.recording) {
    if (Failure failure = file.look_before()) return *failure;
    deadline = session.deadline(kRecordTimeoutS);  // the list does not cost the stop its time
  }
  session.link.drain();
  const uint32_t seconds = state.record_seconds;
  std::optional<uint8_t> result;
  // A lost acknowledgement shows in the next heartbeat; a command that arrives twice is refused.
  const auto match = [&](const CameraEvent& event) {
    const auto* ack = std::get_if<CommandAck>(&event);
    if (ack != nullptr && ack->command == step.ack) result = ack->result;
    return result.has_value() || state.recording == step.recording;
  };
  const Wait wait = exchange(session.link, action_message(step.action), match, deadline);
  if (wait != Wait::kMatched) {
    return no_answer(session, step.command, wait, "the command was not acknowledged");
  }
  if (result.value_or(kResultDone) != kResultDone) {
    return session.out.fail(
        step.command, ExitCode::kRefused,
        fmt::format("{} (card: {})", step.failed, sd_code_text(state.status->sd_code)),
        {{"result", *result}});
  }
  const std::string text = step.recording || seconds == 0
                               ? std::string(step.done)
                               : fmt::format("{} after {} s", step.done, seconds);
  if (step.recording) return session.out.done(step.command, text, {{"recording", true}});
  nlohmann::json fields{{"recording", false}};
  if (seconds > 0) fields["seconds"] = seconds;
  return file.done(text, fields);
}

ExitCode set_mode(Session& session, uint32_t mode) {
  const uint64_t deadline = session.deadline(kModeTimeoutS);
  if (Failure failure = meet_camera(session, "mode", deadline)) return *failure;
  const bool already = session.link.state().status->mode == mode;
  if (Failure failure = enter_mode(session, "mode", mode, deadline)) return *failure;
  return session.out.done("mode",
                          fmt::format("{}{} mode", already ? "already in " : "", mode_text(mode)),
                          {{"mode", mode_text(mode)}, {"switched", !already}});
}

}  // namespace

void add_record_commands(CLI::App& app, Action* chosen) {
  CLI::App* record_app =
      app.add_subcommand("record",
                         "Start or stop a recording. Waits for the acknowledgement.\n"
                         "Starting switches to video mode first if needed.")
          ->require_subcommand(1);
  record_app->add_subcommand("start", "Start recording")->callback([chosen] {
    *chosen = [](Session& session) { return record(session, kStart, {}); };
  });
  const auto [stop, request] = add_command<NewFileRequest>(
      *record_app, "stop",
      "Stop recording and tell the name of the new video.\n"
      "Asking the camera's list for it makes the camera delete videos of 1 MiB or less, as every\n"
      "list does; --no-name leaves a very short recording on the card.");
  add_new_file_options(stop, request.get());
  run_with(stop, request, chosen, [](Session& session, const NewFileRequest& given) {
    return record(session, kStop, given);
  });

  const auto [mode_app, mode] =
      add_command<uint32_t>(app, "mode", "Switch the camera to photo or video mode.");
  takes_choice(mode_app->add_option("MODE", *mode, "photo or video"),
               {{"photo", std::to_string(kModePhoto)}, {"video", std::to_string(kModeVideo)}})
      ->required();
  run_with(mode_app, mode, chosen, set_mode);
}

}  // namespace groundstation
