// What the application may ask of the camera: COMMAND_LONG 2 and 203, with their rules of refusal.
// Link threads. All return 0 when the request was carried out or had nothing to do; -1 when refused,
// but 1 for the end of a recording while another recording command is unanswered; -2 when there is
// no connection to the camera service.
#pragma once

#include <cstdint>

#include "flightlink/frame/command_long.h"

namespace flightlink {

enum CameraAction : int32_t {
  kActionPhotoMode = 0,
  kActionTakePhoto = 1,
  kActionVideoMode = 2,
  kActionStartRecording = 3,
  kActionStopRecording = 4,
  kActionStreamRate = 9,
};

// One action. Refused unless the camera is ready.
int camera_action(int32_t action, int32_t value);

// COMMAND_LONG 2: param1 the action, param2 its value. Clears the throttle flag and the photo mode.
int camera_action_command(const CommandLong& command);

// COMMAND_LONG 203: by param7, 1 photo (param6 its sequence number, param5 + 1 its mode), 2 stop
// and 3 start recording on behalf of the flight controller, 4 stop the time-lapse.
int digicam_control(const CommandLong& command);

}  // namespace flightlink
