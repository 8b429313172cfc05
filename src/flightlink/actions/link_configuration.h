// The Wi-Fi link configuration on the card, pushed to the peer once.
//
// Message 59, 44 bytes, CRC extra 24, system id 37, one per file that exists:
//   0: 0   1: kind (2 destination MAC, 0 channel, 1 bandwidth)
//   2: the file's first line without its newline, NUL-terminated, at most 29 characters   32: 12 x
//   0
#pragma once

namespace flightlink {

// After each HEARTBEAT from the peer. Returns 0 once everything has been pushed and ever after; -1
// when a file held nothing: then the push starts again at the next HEARTBEAT. Peer thread only.
int link_configuration_push();

}  // namespace flightlink
