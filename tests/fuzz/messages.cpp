#include "fuzz/messages.h"

#include <algorithm>
#include <iterator>

#include "flightlink/frame/messages.h"

namespace fuzz {

flightlink::MavlinkMessage take_message(Input& input) {
  flightlink::MavlinkMessage message{};
  message.magic = flightlink::kMavlinkStart;
  const uint8_t choice = input.byte();
  // Mostly one that means something.
  constexpr size_t kTypes = std::size(flightlink::kMessageTypes);
  message.msgid = choice < 200 ? flightlink::kMessageTypes[choice % kTypes]->id : input.byte();
  message.sysid = input.byte();
  message.compid = input.byte();
  const auto payload = input.piece(input.byte());
  message.len = static_cast<uint8_t>(payload.size());
  std::copy(payload.begin(), payload.end(), message.payload);
  seal(message);
  return message;
}

std::string wire_bytes(const flightlink::MavlinkMessage& message) {
  uint8_t wire[flightlink::kMavlinkMaxFrame];
  const size_t size = flightlink::mavlink_frame_to_buffer(wire, &message);
  return std::string(text_of({wire, size}));
}

void seal(flightlink::MavlinkMessage& message) {
  flightlink::mavlink_frame_seal(&message, message.sysid, message.seq, message.len,
                                 flightlink::mavlink_crc_extra(message.msgid), message.compid);
}

}  // namespace fuzz
