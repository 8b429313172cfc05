// Telemetry of the peer as CSV lines in the data logs. Peer thread.
#pragma once

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

// Message 105: u64 time stamp @0, 13 f32 @8, u16 @60, to the gimbal's log with five decimals.
// Returns the result of data_log_write; -1 for a null message.
int flight_log_105(const MavlinkMessage* message);
// Message 107: the same with u32 @60, to the flight controller's log with three decimals. Message
// 90 is not decoded and adds nothing.
int flight_log_107_90(const MavlinkMessage* message);

}  // namespace flightlink
