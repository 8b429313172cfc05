// The UDP peer link: 192.168.31.111 port 8888, both ways.
#pragma once

#include <cstdint>

namespace flightlink {

// Start-up: clears MavlinkContext and starts PeerUdpThread (SCHED_RR 2). Returns 0 or an errno
// number.
int peer_link_start();

// For ever: opens the peer socket and serves it; the socket is recycled after 4 s without traffic
// and after any error. `argument` is null.
void* PeerUdpThread(void* argument);

// The parts of that loop; peer thread and tests only.
// Binds UDP 8888 and aims at `address` (null: the default). Returns 0, or -1 on failure.
int peer_socket_open(const char* address);
// If the socket is open: stops the heartbeat, lamp off, 1 s pause, close.
void peer_socket_close();
// Waits up to 4 s for one datagram, parses it and dispatches its messages. Returns 0; -1 on a
// time-out or an error, after which the socket is to be recycled.
int peer_socket_serve();

}  // namespace flightlink
