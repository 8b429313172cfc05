// A message's payload as handlers read it.
#pragma once

#include <cstdint>
#include <cstring>

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

// A copy of the payload that is zero beyond the frame's length: a short frame reads as zeros, and
// never as bytes of an earlier one.
struct Payload {
  explicit Payload(const MavlinkMessage& message) {
    std::memcpy(bytes, message.payload, message.len);
    std::memset(bytes + message.len, 0, sizeof(bytes) - message.len);
  }
  uint8_t bytes[256];
};

}  // namespace flightlink
