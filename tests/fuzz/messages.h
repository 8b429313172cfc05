// Messages with the right checksum, out of an input: finding one is not what is searched for.
#pragma once

#include <string>

#include "flightlink/frame/mavlink_frame.h"
#include "fuzz/support.h"

namespace fuzz {

// With a header of its own and a payload of up to 255 bytes, as a parser gives it.
[[nodiscard]] flightlink::MavlinkMessage take_message(Input& input);
// Its bytes on the wire.
[[nodiscard]] std::string wire_bytes(const flightlink::MavlinkMessage& message);
// Makes the checksum right, for the header and the payload that it has.
void seal(flightlink::MavlinkMessage& message);

}  // namespace fuzz
