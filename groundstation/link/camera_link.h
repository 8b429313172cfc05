// The peer's end of the link to the camera: one UDP socket, a HEARTBEAT a second, the camera's
// messages decoded, and the state they add up to. There is no thread: the link lives while wait()
// runs, so a command that waits for an answer keeps the heartbeats going. One thread at a time.
#pragma once

#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "base/descriptor.h"
#include "groundstation/link/trace.h"
#include "groundstation/messages/camera_messages.h"
#include "groundstation/messages/peer_messages.h"

namespace groundstation {

inline constexpr uint16_t kPeerPort = 8888;
// The camera reads board numbers out of the upper four bits of a system id; 1 names no board.
inline constexpr uint8_t kOwnSystemId = 1;

struct LinkOptions {
  sockaddr_in camera;
  sockaddr_in local;
  uint8_t link_level;      // 0 to 15, upper four bits of our system_status
  Trace* trace = nullptr;  // gets everything that this program and the camera exchange; not owned
};

// What is known of the camera, from everything received so far.
struct CameraState {
  std::optional<CameraHeartbeat> heartbeat;
  uint64_t heartbeat_us = 0;  // monotonic time of the last one
  std::optional<CameraStatus> status;
  uint64_t status_us = 0;
  bool recording = false;  // from heartbeats, ticks, reports and acknowledgements, the latest holds
  uint32_t record_seconds = 0;
  // Frames of the camera's main stream (system id 36, which also carries the acknowledgements) that
  // did not arrive, by their sequence numbers.
  uint32_t missed_frames = 0;
};

enum class Wait {
  kMatched,      // the match said yes
  kTimeout,      //
  kInterrupted,  // Ctrl-C or SIGTERM
  kExtra,        // the extra descriptor is readable
};

class CameraLink {
 public:
  // Says yes to the event that is waited for.
  using Match = std::function<bool(const CameraEvent& event)>;
  using FrameMatch = std::function<bool(const flightlink::MavlinkMessage& frame)>;

  explicit CameraLink(const LinkOptions& options)
      : options_(options), own_(address_towards(options.camera, options.local)) {}

  // Binds the socket and sends the first HEARTBEAT. Returns an empty text, or why it cannot be
  // done.
  [[nodiscard]] std::string open();

  // Sends one message at once. A send error is ignored: the camera's silence tells.
  void send(const PeerMessage& message, uint8_t sysid = kOwnSystemId);

  // What our HEARTBEATs ask for from now on; the first one leaves at once.
  void want_live_video(bool on);

  // Runs the link until `match` says yes to an event, the deadline (base::monotonic_us) passes, a
  // signal comes or `extra_fd` (if not -1) is readable. Events come to `match` in order; those it
  // does not take go to the observer.
  Wait wait(uint64_t deadline_us, const Match& match, int extra_fd = -1);

  // Handles what has arrived already, so that old answers are not taken for new ones.
  void drain();

  // Gets the events that nobody waits for. Empty: they are dropped.
  void observe(std::function<void(const CameraEvent&)> observer) {
    observer_ = std::move(observer);
  }

  // Gets every good frame as it arrives, whatever becomes of it else; a yes ends the wait with
  // kMatched. It may send. Empty: nobody does.
  void watch_frames(FrameMatch watcher) { watcher_ = std::move(watcher); }

  [[nodiscard]] const CameraState& state() const { return state_; }
  [[nodiscard]] const LinkOptions& options() const { return options_; }

  // Our own address, as the camera sees it, and that port.
  [[nodiscard]] sockaddr_in own_address(uint16_t port) const;

 private:
  void send_heartbeat_if_due(uint64_t now_us);
  void receive();
  void handle_frame(const flightlink::MavlinkMessage& message);
  void note(const CameraEvent& event);
  void note_sequence(const flightlink::MavlinkMessage& message);
  bool deliver(const Match& match);

  LinkOptions options_;
  sockaddr_in own_;
  base::Descriptor socket_;
  uint8_t sequence_ = 0;
  bool wants_live_video_ = false;
  uint64_t next_heartbeat_us_ = 0;
  std::optional<uint8_t> last_sequence_;
  CameraState state_;
  std::deque<CameraEvent> events_;
  std::function<void(const CameraEvent&)> observer_;
  FrameMatch watcher_;
  bool frame_matched_ = false;
  std::array<uint8_t, 65536> buffer_{};
};

}  // namespace groundstation
