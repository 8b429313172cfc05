// Firmware messages as the dispatch hands them on. Link threads; none of them waits, but for the
// pauses between the chunks that a board has asked for. All return 0, or -1 for a refused request.
#pragma once

#include "flightlink/frame/command_long.h"
#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

// Message 110: start and chunks of this board's own image. Ignored while another board's image is
// pending.
int firmware_message(const MavlinkMessage* message);

// COMMAND_LONG 4. The high nibble of the system id names the sender: the application announces this
// board's image while no other one is pending; the board whose turn it is reports on its own.
int firmware_command(const CommandLong& command, uint8_t sysid);

}  // namespace flightlink
