#include "flightlink/wire/forwarding.h"

#include <algorithm>

#include "flightlink/frame/payload.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

constexpr uint8_t kCommandLong = 76;
constexpr uint8_t kCommandLongSize = 33;
constexpr uint8_t kServoOutputs = 36;

}  // namespace

int forward_command_long(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  const Payload payload(*message);
  MavlinkMessage repacked{};
  repacked.msgid = kCommandLong;
  std::copy_n(payload.bytes, kCommandLongSize, repacked.payload);
  mavlink_frame_finalize(&repacked, kSystemFlightController, kCommandLongSize,
                         mavlink_crc_extra(kCommandLong));
  return peer_udp_send(&repacked);
}

void forward_stream(const uint8_t* bytes, size_t length) {
  MavlinkMessage message;
  MavlinkParseStatus status;
  for (size_t i = 0; i < length; i++) {
    if (mavlink_frame_parse(MAVLINK_CHANNEL_FORWARD, bytes[i], &message, &status) == 1 &&
        message.msgid != kServoOutputs) {
      peer_udp_send(&message);
    }
  }
}

}  // namespace flightlink
