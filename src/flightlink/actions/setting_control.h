// COMMAND_LONG 180: the camera's settings, selected by target_component.
#pragma once

#include "flightlink/frame/command_long.h"

namespace flightlink {

// Returns what the setting's function returns; -1 when refused: while the camera service is not
// connected, an operation is in flight, or a photo, mode switch, format, resolution change or SD
// query waits for its answer. A time-lapse command is let through while a time-lapse runs. Link
// threads.
int setting_control(const CommandLong& command);

}  // namespace flightlink
