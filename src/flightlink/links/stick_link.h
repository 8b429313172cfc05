// The stick relay: raw datagrams on UDP port 8867 go to the flight controller's serial line as they
// are, while the TCP application's session is confirmed (link state 2); otherwise they are dropped.
#pragma once

namespace flightlink {

// Starts MavlinkRecvStickThread with default scheduling. The program applink calls it behind the
// services, after link_context_init therefore; maintask does not. Returns 0 or an errno number.
int stick_link_start();

// Detaches itself and serves the stick socket for ever. `argument` is null.
void* MavlinkRecvStickThread(void* argument);

// The parts of that loop; stick thread and tests only.
// Binds UDP 8867. Returns 0; -1 after printing which step failed.
int stick_socket_open();
// Waits up to 2 s for one datagram and relays it. Returns 0; -1 when the wait failed and the socket
// is to be opened anew.
int stick_socket_serve();
void stick_socket_close();

}  // namespace flightlink
