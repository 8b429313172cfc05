// The client's end of the media channel. There is no thread that the caller sees: the camera's own
// link, if it is open, lives on while next() runs, so a long download keeps the heartbeats going.
// One thread at a time.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <span>
#include <string>

#include "groundstation/link/camera_link.h"
#include "groundstation/media/messages.h"
#include "groundstation/media/receiver.h"

namespace groundstation {

class MediaLink {
 public:
  explicit MediaLink(CameraLink& camera) : camera_(camera) {}

  // The channel at the camera's address. Returns an empty text, or why it cannot be done.
  [[nodiscard]] std::string open(uint16_t port);

  // Finishes the frame and sends it.
  void send(flightlink::MavlinkMessage message);

  // The next event before the deadline (base::monotonic_us): kMatched with `event`, kTimeout or
  // kInterrupted. Data in the event is valid until the next call.
  Wait next(uint64_t deadline_us, MediaEvent* event);

  [[nodiscard]] const sockaddr_in& endpoint() const { return endpoint_; }

 private:
  [[nodiscard]] bool take(MediaEvent* event);
  void trace(const sockaddr_in& from, const sockaddr_in& to, std::span<const uint8_t> bytes) const;
  Wait run_camera_link(uint64_t until_us, int extra_fd);

  CameraLink& camera_;
  sockaddr_in endpoint_{};
  sockaddr_in own_{};
  MediaReceiver receiver_;
  uint8_t sequence_ = 0;
  bool holds_front_ = false;
  uint64_t next_turn_us_ = 0;  // of the camera's link, however much comes here
};

}  // namespace groundstation
