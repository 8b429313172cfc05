// The clock: set from the peer's message 111 and passed on to the camera service.
#pragma once

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

// Message 111: u64 ms since the epoch @0, i32 hour offset @8. Sets this machine's clock to the
// shifted time and sends the same time, formatted as if it were UTC, as "camera_clock". Once the
// camera service has confirmed a clock, later ones only get the reply 0, until the connection to it
// ends. A clock that cannot be set gets the reply 4. Returns 0; -1 for a null message. Link
// threads.
int set_camera_clock(const MavlinkMessage* message);

}  // namespace flightlink
