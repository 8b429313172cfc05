// The steps that commands share: meeting the camera, asking until an answer comes, switching the
// mode, and saying in a plain sentence why nothing came. Each tells the user itself what went
// wrong.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "groundstation/commands/registry.h"

namespace groundstation {

inline constexpr uint64_t kResendUs = 1'000'000;
inline constexpr int kMostSends = 4;  // the first and three more

// Nothing: the step worked. Otherwise the command ends with this code; the reason has been told.
using Failure = std::optional<ExitCode>;

// Sends the message and again every second, four times at most, until `match` takes an event. Only
// for messages that do no harm when they arrive twice. Never gives Wait::kExtra.
Wait exchange(CameraLink& link, const PeerMessage& message, const CameraLink::Match& match,
              uint64_t deadline_us);

// The same with a message that is made anew for every sending.
Wait exchange(CameraLink& link, const std::function<PeerMessage()>& make,
              const CameraLink::Match& match, uint64_t deadline_us);

// Sends a message that is answered by a camera acknowledgement and waits for the one with this
// subject; with `value` only for one with that value, since other settings may cause some as well.
// When none came in time, `shown` may tell from the camera's state that it was only lost. `what`
// did not come, as in no_answer.
struct Answer {
  uint8_t subject;
  std::optional<uint8_t> value = std::nullopt;
  std::function<bool(const CameraState& state)> shown = {};
};
Failure confirm(Session& session, std::string_view command, const PeerMessage& message,
                const Answer& answer, uint64_t deadline_us, std::string_view what);

// Waits until a heartbeat and a status record have arrived.
Failure meet_camera(Session& session, std::string_view command, uint64_t deadline_us);

// Whether the camera would refuse, as `refusal` says of its status: why, or nothing. A record that
// was on its way may show an older state, so a refusal counts when two newer records say it too.
// The command then ends with kNotNow and the sentence "`what`: why".
Failure refuse_by_status(Session& session, std::string_view command, std::string_view what,
                         const std::function<std::string(const CameraState&)>& refusal,
                         uint64_t deadline_us);

// Makes kModePhoto or kModeVideo the camera's mode. Refused while it records.
Failure enter_mode(Session& session, std::string_view command, uint32_t mode, uint64_t deadline_us);

// Ends a command whose wait was not matched: an interrupt, a camera that went away, or a camera
// that is there but did not answer, with what to check. `what` is what did not come, as in "no
// answer".
ExitCode no_answer(Session& session, std::string_view command, Wait wait, std::string_view what);

}  // namespace groundstation
