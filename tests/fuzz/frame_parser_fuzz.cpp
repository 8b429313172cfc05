// Any bytes into the frame parser. A frame that it accepts has to give the bytes it came from.
#include <cstdlib>
#include <cstring>

#include "flightlink/frame/mavlink_frame.h"

using namespace flightlink;  // NOLINT

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  MavlinkParser parser{};
  MavlinkMessage message{};
  MavlinkParseStatus status{};
  for (size_t i = 0; i < size; i++) {
    if (mavlink_parser_feed(&parser, bytes[i], &message, &status) != 1) continue;
    uint8_t wire[kMavlinkMaxFrame];
    const size_t length = mavlink_frame_to_buffer(wire, &message);
    if (length != size_t{message.len} + 8 || length > i + 1) std::abort();
    if (std::memcmp(wire, bytes + i + 1 - length, length) != 0) std::abort();
  }
  return 0;
}
