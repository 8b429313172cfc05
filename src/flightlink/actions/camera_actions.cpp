#include "flightlink/actions/camera_actions.h"

#include "base/relaxed.h"
#include "camera/camera_ready.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/send.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "flightlink/wire/link_context.h"
#include "supervisor/state/camera_flags.h"

namespace flightlink {
namespace {

using base::kRelaxed;
constexpr int32_t kPivRaw = 1;

// Recording, and a time-lapse or another operation in flight, keep the mode as it is.
int switch_mode(int32_t mode) {
  if (camera::cam_get_mode() == mode) return 0;
  if (supervisor::get_recording() != 0 || camera::cam_get_op_state() != camera::kCamOpIdle) {
    return -1;
  }
  supervisor::set_mode_switch_pending(1);
  const int32_t result = camera::cam_switch_mode(mode);
  if (result == camera::kNotConnected) supervisor::set_mode_switch_pending(0);
  return result;
}

int take_photo() {
  if (supervisor::get_mode_switch_pending() != 0 || supervisor::get_recording() != 0 ||
      camera::cam_get_mode() != camera::kModePhoto ||
      camera::cam_get_op_state() != camera::kCamOpIdle) {
    return -1;
  }
  supervisor::set_photo_pending(1);
  const int32_t result = camera::cam_take_photo();
  if (result == camera::kNotConnected) supervisor::set_photo_pending(0);
  return result;
}

int start_recording() {
  if (camera::cam_get_mode() != camera::kModeVideo || supervisor::get_recording() != 0 ||
      camera::cam_get_op_state() != camera::kCamOpIdle) {
    return -1;
  }
  return camera::cam_start_record();
}

int stop_recording() {
  if (camera::cam_get_op_state() != camera::kCamOpIdle) return -1;
  return camera::cam_stop_record();
}

// Stream rate by the signal that the application sees, in percent.
int stream_rate(int32_t signal) {
  mavlink_context.throttle_flag.store(1, kRelaxed);
  if (signal > 100 || signal < 2) {
    mavlink_context.throttle_flag.store(0, kRelaxed);
    return 0;
  }
  const int32_t rate = signal < 40 ? 512 : signal < 70 ? 1024 : 2048;
  return camera::cam_set_stream_bitrate(rate);
}

}  // namespace

int camera_action(int32_t action, int32_t value) {
  if (camera::camera_ready() == 0) return -1;
  switch (action) {
    case kActionPhotoMode:
      return switch_mode(camera::kModePhoto);
    case kActionTakePhoto:
      return take_photo();
    case kActionVideoMode:
      return switch_mode(camera::kModeVideo);
    case kActionStartRecording:
      return start_recording();
    case kActionStopRecording:
      return stop_recording();
    case kActionStreamRate:
      return stream_rate(value);
    default:
      return -1;
  }
}

int camera_action_command(const CommandLong& command) {
  mavlink_context.throttle_flag.store(0, kRelaxed);
  supervisor::set_photo_mode(0);
  return camera_action(parameter(command.param[0]), parameter(command.param[1]));
}

int digicam_control(const CommandLong& command) {
  switch (parameter(command.param[6])) {
    case 1: {
      if (camera::cam_get_piv_format() == kPivRaw) return -1;
      supervisor::set_photo_sequence(parameter(command.param[5]));
      // One above the mode asked for; the setter keeps the low byte.
      const int64_t mode = parameter(command.param[4]);
      supervisor::set_photo_mode(static_cast<int32_t>(mode + 1));
      return camera_action(kActionTakePhoto, 0);
    }
    case 2:
      supervisor::set_record_ack_via_uart(0);
      return supervisor::get_recording() != 0 ? camera::cam_stop_record() : 0;
    case 3:
      supervisor::set_record_ack_via_uart(1);
      return camera::cam_record_request();
    case 4:
      return camera::cam_stop_timelapse();
    default:
      return 0;
  }
}

}  // namespace flightlink
