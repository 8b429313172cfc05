// The camera's own HEARTBEATs and the two watchdogs of the TCP session: timer callbacks.
// Each runs on a thread of its own; state is shared through MavlinkContext's relaxed words.
#pragma once

#include <csignal>

namespace flightlink {

// HEARTBEAT to the UDP peer, once a second (MAVLink 1, message 0, 9 bytes, system id 37):
//   0: u32 custom_mode 0   4: type 0   5: autopilot 0   6: base_mode 0
//   7: system_status: bit 0 stream on, bit 1 test mode, bit 2 recording   8: mavlink_version 3
void peer_heartbeat_tick(union sigval);

// HEARTBEAT to the TCP application, every 300 ms (system id 36):
//   0: u32 custom_mode: camera MAC bytes 0 to 3, the first one highest   4: MAC byte 4   5: MAC
//   byte 5 6: base_mode 2 while MAC binding is enabled, else 0   7: recording flag AND 7   8: 3
void app_heartbeat_tick(union sigval);

// 10 s after the accept: cuts a session that is still in link state 1.
void MavlinkTimeoutNormal(union sigval);
// Cuts the session; nothing arms its timer.
void MavlinkTimeoutDisconn(union sigval);

}  // namespace flightlink
