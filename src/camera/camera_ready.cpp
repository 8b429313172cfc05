#include "camera/camera_ready.h"

#include "camera/connection.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/switches.h"

namespace camera {

int32_t camera_ready() {
  if (supervisor::get_video_flowing() == 0) return 0;
  if (supervisor::get_record_cmd_pending() != 0 || supervisor::get_mode_switch_pending() != 0 ||
      supervisor::get_setting_pending() != 0 || supervisor::get_photo_pending() != 0) {
    return 0;
  }
  return cam_get_op_state() == kCamOpIdle ? 1 : 0;
}

}  // namespace camera
