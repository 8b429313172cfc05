#include "groundstation/commands/exchange.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/clock.h"
#include "groundstation/link/endpoint.h"

namespace groundstation {
namespace {

constexpr uint64_t kCameraGoneUs = 3'000'000;

std::string where(const Session& session) { return endpoint_text(session.link.options().camera); }

bool heartbeat_is_recent(const CameraState& state) {
  return state.heartbeat.has_value() && base::monotonic_us() - state.heartbeat_us < kCameraGoneUs;
}

ExitCode interrupted_exit(Session& session, std::string_view command) {
  return session.out.fail(command, ExitCode::kInterrupted, "interrupted");
}

}  // namespace

Wait exchange(CameraLink& link, const PeerMessage& message, const CameraLink::Match& match,
              uint64_t deadline_us) {
  return exchange(
      link, [&] { return message; }, match, deadline_us);
}

Wait exchange(CameraLink& link, const std::function<PeerMessage()>& make,
              const CameraLink::Match& match, uint64_t deadline_us) {
  for (int sends = 1;; sends++) {
    link.send(make());
    const bool last = sends == kMostSends;
    const uint64_t until =
        last ? deadline_us : std::min(deadline_us, base::monotonic_us() + kResendUs);
    const Wait wait = link.wait(until, match);
    if (wait != Wait::kTimeout || last || base::monotonic_us() >= deadline_us) return wait;
  }
}

Failure confirm(Session& session, std::string_view command, const PeerMessage& message,
                const Answer& answer, uint64_t deadline_us, std::string_view what) {
  session.link.drain();
  std::optional<CameraAck> ack;
  const auto match = [&](const CameraEvent& event) {
    const auto* found = std::get_if<CameraAck>(&event);
    if (found == nullptr || found->clock || found->subject != answer.subject) return false;
    if (found->result == kResultDone && found->value != answer.value.value_or(found->value)) {
      return false;
    }
    ack = *found;
    return true;
  };
  const Wait wait = exchange(session.link, message, match, deadline_us);
  if (wait == Wait::kTimeout && answer.shown && answer.shown(session.link.state())) {
    return std::nullopt;
  }
  if (!ack.has_value()) return no_answer(session, command, wait, what);
  if (ack->result != kResultDone) {
    return session.out.fail(command, ExitCode::kRefused,
                            fmt::format("the camera reports a failure (result {})", ack->result),
                            {{"result", ack->result}});
  }
  return std::nullopt;
}

Failure meet_camera(Session& session, std::string_view command, uint64_t deadline_us) {
  const CameraState& state = session.link.state();
  session.link.drain();
  if (heartbeat_is_recent(state) && state.status.has_value()) return std::nullopt;
  const Wait wait = session.link.wait(deadline_us, [&](const CameraEvent&) {
    return heartbeat_is_recent(state) && state.status.has_value();
  });
  if (wait == Wait::kMatched) return std::nullopt;
  return no_answer(session, command, wait, "no status record came");
}

Failure refuse_by_status(Session& session, std::string_view command, std::string_view what,
                         const std::function<std::string(const CameraState&)>& refusal,
                         uint64_t deadline_us) {
  constexpr int kNewerRecords = 2;
  const CameraState& state = session.link.state();
  std::string why = refusal(state);
  for (int i = 0; i < kNewerRecords && !why.empty(); i++) {
    const Wait wait = session.link.wait(deadline_us, [](const CameraEvent& event) {
      return std::holds_alternative<CameraStatus>(event);
    });
    if (wait != Wait::kMatched) return no_answer(session, command, wait, "no status record came");
    why = refusal(state);
  }
  if (why.empty()) return std::nullopt;
  return session.out.fail(command, ExitCode::kNotNow, fmt::format("{}: {}", what, why));
}

Failure enter_mode(Session& session, std::string_view command, uint32_t mode,
                   uint64_t deadline_us) {
  CameraLink& link = session.link;
  if (link.state().status->mode == mode) return std::nullopt;
  if (link.state().recording) {
    return session.out.fail(command, ExitCode::kNotNow,
                            "the camera is recording; stop the recording first (record stop)");
  }
  session.out.note(fmt::format("switching to {} mode", mode_text(mode)));
  std::optional<CameraAck> ack;
  const auto action = mode == kModePhoto ? CameraAction::kPhotoMode : CameraAction::kVideoMode;
  const auto match = [&](const CameraEvent& event) {
    const auto* answer = std::get_if<CameraAck>(&event);
    if (answer != nullptr && !answer->clock && answer->subject == kSubjectMode) ack = *answer;
    const auto* status = std::get_if<CameraStatus>(&event);
    return ack.has_value() || (status != nullptr && status->mode == mode);
  };
  const Wait wait = exchange(link, action_message(action), match, deadline_us);
  if (wait != Wait::kMatched) {
    return no_answer(session, command, wait,
                     fmt::format("the switch to {} mode was not confirmed", mode_text(mode)));
  }
  if (ack.has_value() && (ack->result != kResultDone || ack->value != mode)) {
    return session.out.fail(command, ExitCode::kRefused,
                            fmt::format("the camera could not switch to {} mode", mode_text(mode)));
  }
  return std::nullopt;
}

ExitCode no_answer(Session& session, std::string_view command, Wait wait, std::string_view what) {
  if (wait == Wait::kInterrupted) return interrupted_exit(session, command);
  const CameraState& state = session.link.state();
  if (!heartbeat_is_recent(state)) {
    return session.out.fail(
        command, ExitCode::kNoCamera,
        fmt::format("no camera: no heartbeat from {}. Check that this machine is in the camera's "
                    "network with the address the camera sends to (192.168.31.111), and that no "
                    "firewall holds UDP port {}.",
                    where(session), ntohs(session.link.options().local.sin_port)));
  }
  if (!state.status.has_value()) {
    return session.out.fail(
        command, ExitCode::kNoCamera,
        fmt::format("{}: the camera at {} sends heartbeats but no status. Check "
                    "that the camera service on the board runs.",
                    what, where(session)));
  }
  return session.out.fail(
      command, ExitCode::kNoCamera,
      fmt::format(
          "{}: the camera is there but refuses without a word while it is not ready. Check "
          "that its encoder delivers live video, that no earlier operation (recording, mode "
          "switch, photo, card query, setting) is still under way, and that the camera "
          "service on the board answers. Card: {}; {}recording; mode: {}.",
          what, sd_code_text(state.status->sd_code), state.recording ? "" : "not ",
          mode_text(state.status->mode)));
}

}  // namespace groundstation
