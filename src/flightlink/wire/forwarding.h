// Frames that the camera side passes on to the flight side by way of the UDP peer. For integrators:
// nothing in this system feeds either road.
#pragma once

#include <cstddef>
#include <cstdint>

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

// Repacks a COMMAND_LONG (33 payload bytes, those that a short frame lacks are zero) with system id
// 35 and the explicit finaliser's sequence number, and sends it. Returns the result of
// peer_udp_send; -1 for a null message. Any thread.
int forward_command_long(const MavlinkMessage* message);

// Feeds bytes of a stream to parser channel 1 and sends every good frame on unchanged, message 36
// excepted. One thread at a time.
void forward_stream(const uint8_t* bytes, size_t length);

}  // namespace flightlink
