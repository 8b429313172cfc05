#include "flightlink/actions/camera_clock.h"

#include <ctime>

#include "base/bytes.h"
#include "base/clock.h"
#include "camera/commands.h"
#include "flightlink/frame/payload.h"
#include "flightlink/wire/link_context.h"
#include "flightlink/wire/reports.h"
#include "supervisor/state/camera_flags.h"

namespace flightlink {
namespace {

void tell_camera(int64_t seconds) {
  const auto time = static_cast<time_t>(seconds);
  tm utc{};
  if (gmtime_r(&time, &utc) == nullptr) return;
  char text[50];
  if (std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &utc) == 0) return;
  camera::cam_set_clock(text);
}

}  // namespace

int set_camera_clock(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  if (supervisor::get_clock_set_ok() == 1) {
    report_clock(kResultOk);
    return 0;
  }
  const Payload payload(*message);
  const auto whole_seconds = static_cast<int64_t>(base::load_u64le(payload.bytes) / 1000);
  const auto hours = static_cast<int32_t>(base::load_u32le(payload.bytes + 8));
  const int64_t seconds = whole_seconds + int64_t{hours} * 3600;
  if (base::set_wall_clock(seconds) == 0) {
    tell_camera(seconds);
  } else {
    report_clock(kResultFailed);
  }
  mavlink_context.last_clock.store(static_cast<uint32_t>(seconds), std::memory_order_relaxed);
  return 0;
}

}  // namespace flightlink
