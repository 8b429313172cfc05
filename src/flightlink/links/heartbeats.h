// The camera's own HEARTBEATs and the two watchdogs of the TCP session: timer callbacks.
// Each runs on a thread of its own; state is shared through MavlinkContext's relaxed words.
#pragma once

#include <csignal>

namespace flightlink {

// HEARTBEAT to the UDP peer, once a second (MAVLink 1, message 0, 9 bytes, system id 37):
//   offset size  field
//        0    4  custom_mode 0
//        4    1  type 0
//        5    1  autopilot 0
//        6    1  base_mode 0
//        7    1  system_status: bit 0 stream on, bit 1 test mode, bit 2 recording
//        8    1  mavlink_version 3
void peer_heartbeat_tick(union sigval);

// HEARTBEAT to the TCP application, every 300 ms (system id 36):
//   offset size  field
//        0    4  custom_mode: bytes 0 to 3 of the camera's MAC address, the first one highest
//        4    1  type: byte 4 of the MAC address
//        5    1  autopilot: byte 5
//        6    1  base_mode: 2 while MAC binding is enabled, else 0
//        7    1  system_status: recording flag AND 7
//        8    1  mavlink_version 3
void app_heartbeat_tick(union sigval);

// 10 s after the accept: cuts a session that is still in link state 1.
void MavlinkTimeoutNormal(union sigval);
// Cuts the session; nothing arms its timer.
void MavlinkTimeoutDisconn(union sigval);

}  // namespace flightlink
