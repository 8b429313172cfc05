// The server of the TCP application on port 8866: one session at a time, MAVLink 1 both ways.
//
// A session begins with the accept (link state 1) and is confirmed by the application's first
// HEARTBEAT (link state 2); without one it is cut after 10 s. In either state it ends when the
// application has acknowledged nothing for 10 s. While MAC binding is enabled, the filter is up
// from the accept until the next reset.
#pragma once

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

// Starts MavlinkRecvThread with default scheduling. The program applink calls it behind the
// services, after link_context_init therefore; maintask does not. Returns 0 or an errno number.
int app_link_start();

// Detaches itself and serves one application after the other for ever. `argument` is null.
void* MavlinkRecvThread(void* argument);

// The parts of that loop; application thread and tests only.
// Creates the session's three timers, disarmed.
void app_timers_create();
// Lifts the MAC filter if binding is enabled, and ends what is left of a session.
void app_session_reset();
// Opens TCP 8866 for listening, in place of an older listening socket. Returns 0, or -1.
int app_server_open();
// Waits for an application and opens its session. Returns 0; -1 after printing "accept fail !".
int app_session_accept();
// Waits up to 2 s for bytes of the application and routes their frames. Returns 0; -1 when the
// session is over.
int app_session_serve();
// What one frame of the application does: system ids with the low nibble 5 go to the UDP peer as
// they are, all others are dispatched.
void app_link_route(const MavlinkMessage* message);

}  // namespace flightlink
