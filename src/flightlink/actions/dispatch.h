// What a received message does. Two dispatchers: the peer's takes the messages that only the UDP
// peer sends and hands the rest to the common one, which the TCP application link calls directly.
//
// Payload fields are little-endian and are read from a copy that is zero beyond the frame's length.
// Both return what came of the message: 0; -1 for a refused request or a null frame, with nothing
// sent; -2 when the camera service is not connected; 1 for the end of a recording that has to wait
// for the answer to another recording command. Callers ignore it.
// Link threads; handlers may block while a command is sent to the camera service.
#pragma once

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

int peer_dispatch(const MavlinkMessage* message);
int common_dispatch(const MavlinkMessage* message);

}  // namespace flightlink
