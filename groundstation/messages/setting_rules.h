// What the camera refuses in the state that its status record shows. It says nothing then, so it is
// told before anything is sent.
#pragma once

#include <cstdint>
#include <string>

#include "groundstation/messages/camera_status.h"
#include "groundstation/messages/setting_table.h"

namespace groundstation {

// Empty when the camera takes the value now; otherwise why not and what to do first, as half a
// sentence: "the camera is in photo mode (first: mode video)".
[[nodiscard]] std::string setting_refusal(const CameraStatus& status, bool recording,
                                          const Setting& setting, int32_t value);

// The same for the start of a time-lapse. The mode is not looked at.
[[nodiscard]] std::string timelapse_refusal(const CameraStatus& status);

}  // namespace groundstation
