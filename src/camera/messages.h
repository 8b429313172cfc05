// The msg_id of every message that is asked or answered.
#pragma once

#include <cstdint>

namespace camera {

inline constexpr int32_t kMsgGet = 1;
inline constexpr int32_t kMsgSet = 2;
inline constexpr int32_t kMsgFormat = 4;
inline constexpr int32_t kMsgSpace = 5;
inline constexpr int32_t kMsgStreamRate = 16;
inline constexpr int32_t kMsgSession = 257;
inline constexpr int32_t kMsgResetPreview = 259;
inline constexpr int32_t kMsgStopPreview = 260;
inline constexpr int32_t kMsgStartRecord = 513;
inline constexpr int32_t kMsgStopRecord = 514;
inline constexpr int32_t kMsgTakePhoto = 769;
inline constexpr int32_t kMsgSwitchMode = 772;
inline constexpr int32_t kMsgSdQuery = 4097;
inline constexpr int32_t kMsgTimelapseStart = 4098;
inline constexpr int32_t kMsgTimelapsePause = 4099;
inline constexpr int32_t kMsgTimelapseStop = 4100;

}  // namespace camera
