// Whether the camera may be asked to act.
#pragma once

#include <cstdint>

namespace camera {

// 0 while no live video flows, while a recording command, a mode switch, a setting or a photo waits
// for its answer, or while an operation code is set; otherwise 1. Any thread.
[[nodiscard]] int32_t camera_ready();

}  // namespace camera
