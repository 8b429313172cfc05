#include "groundstation/media/link.h"

#include <utility>

#include "base/clock.h"

namespace groundstation {
namespace {

constexpr uint64_t kCameraTurnUs = 100'000;

}  // namespace

std::string MediaLink::open(uint16_t port) {
  endpoint_ = camera_.options().camera;
  endpoint_.sin_port = htons(port);
  std::string trouble = receiver_.open(camera_.options().local.sin_addr, endpoint_);
  own_ = camera_.own_address(receiver_.port());
  return trouble;
}

void MediaLink::send(flightlink::MavlinkMessage message) {
  flightlink::mavlink_frame_seal(&message, kOwnSystemId, sequence_++, message.len,
                                 flightlink::mavlink_crc_extra(message.msgid), message.compid);
  uint8_t wire[flightlink::kMavlinkMaxFrame];
  const uint16_t length = flightlink::mavlink_frame_to_buffer(wire, &message);
  trace(own_, endpoint_, {wire, length});
  receiver_.send({wire, length});
}

void MediaLink::trace(const sockaddr_in& from, const sockaddr_in& to,
                      std::span<const uint8_t> bytes) const {
  Trace* trace = camera_.options().trace;
  if (trace != nullptr) trace->add(base::monotonic_us(), from, to, bytes);
}

bool MediaLink::take(MediaEvent* event) {
  while (true) {
    if (std::exchange(holds_front_, false)) receiver_.pop();
    const std::span<const uint8_t> datagram = receiver_.front();
    if (datagram.data() == nullptr) return false;
    holds_front_ = true;
    trace(endpoint_, own_, datagram);
    if (std::optional<MediaEvent> decoded = decode_media_datagram(datagram)) {
      *event = std::move(*decoded);
      return true;
    }
  }
}

Wait MediaLink::run_camera_link(uint64_t until_us, int extra_fd) {
  return camera_.wait(
      until_us, [](const CameraEvent&) { return false; }, extra_fd);
}

Wait MediaLink::next(uint64_t deadline_us, MediaEvent* event) {
  while (true) {
    uint64_t now = base::monotonic_us();
    if (now >= next_turn_us_) {
      next_turn_us_ = now + kCameraTurnUs;
      camera_.drain();
      if (run_camera_link(0, -1) == Wait::kInterrupted) return Wait::kInterrupted;
    }
    if (take(event)) return Wait::kMatched;
    if (now >= deadline_us) return Wait::kTimeout;
    if (!receiver_.prepare_wait()) continue;
    if (run_camera_link(deadline_us, receiver_.wake_fd()) == Wait::kInterrupted) {
      return Wait::kInterrupted;
    }
  }
}

}  // namespace groundstation
