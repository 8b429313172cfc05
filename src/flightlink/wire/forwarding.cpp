#include "flightlink/wire/forwarding.h"

#include <algorithm>

#include "flightlink/frame/messages.h"
#include "flightlink/frame/payload.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
int forward_command_long(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  const Payload payload(*message);
  MavlinkMessage repacked{};
  std::copy_n(payload.bytes, kCommandLong.length, repacked.payload);
  finalize(&repacked, kSystemFlightController, kCommandLong);
  return peer_udp_send(&repacked);
}

void forward_stream(const uint8_t* bytes, size_t length) {
  mavlink_frame_parse_all(MAVLINK_CHANNEL_FORWARD, {bytes, length}, [](MavlinkMessage* message) {
    if (message->msgid != kServoOutputs.id) peer_udp_send(message);
  });
}

}  // namespace flightlink
