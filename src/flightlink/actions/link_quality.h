// COMMAND_LONG 203 with target_component 14: the stream rate follows the quality of the link.
#pragma once

#include "flightlink/frame/command_long.h"

namespace flightlink {

// Does nothing while the throttle flag is set. Returns the result of the rate setting, 0 when none
// was made. Link threads; the reports of both links are counted together.
int link_quality_control(const CommandLong& command);

}  // namespace flightlink
