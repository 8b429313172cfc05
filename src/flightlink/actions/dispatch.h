// What a received message does. Two dispatchers: the peer's takes the messages that only the UDP
// peer sends and hands the rest to the common one, which the TCP application link calls directly.
//
// Payload fields are little-endian and are read from a copy that is zero beyond the frame's length.
// Both return 0, or -1 for a refused request or a null frame; nothing is sent for a refusal.
// Link threads; handlers may block while a command is sent to the camera service.
#pragma once

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

int peer_dispatch(const MavlinkMessage* message);
int common_dispatch(const MavlinkMessage* message);

}  // namespace flightlink
