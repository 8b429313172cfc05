// Watch over the answers of the camera service. One that never comes, or that was split over two
// reads and lost, must not leave the camera busy: when one has been awaited for too long the
// connection is ended, and the end of a connection frees everything (client.h).
//
// Awaited are the answers for the photo, recording, mode switch, setting and SD query flags, for
// the marks of the settings, for an operation code, and to the session request. A time-lapse (code
// 16) is not watched: it takes as long as it takes.
#pragma once

#include <cstdint>

namespace camera {

inline constexpr int kAnswerLimitS = 60;

// What has been awaited longest, by name, when that is at least kAnswerLimitS at `now_us` (by
// base::monotonic_us); otherwise null. Receive thread.
[[nodiscard]] const char* cam_overdue_answer(uint64_t now_us);

}  // namespace camera
