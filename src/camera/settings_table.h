// CameraSettings: what has been asked of the camera and what it has confirmed, and the tables that
// turn the application's small integers into the camera service's strings and back.
//
// A command function stores the requested value just before it sends, and keeps it whether or not
// it is sent or granted: a reply with rval 0 copies it to the confirmed one. Whether an answer is
// still awaited is another matter, and has a mark of its own. All words are relaxed atomics. Those
// marked `guarded` in the table are in addition written and read under StateLock, so that a status
// record never mixes two states.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/waiting.h"

namespace camera {

// In the order in which a reply's "type" is looked for.
enum Setting : int {
  kClock,
  kColorStyle,
  kWhiteBalance,
  kVideoQuality,
  kResolution,
  kIso,       // 0: Auto
  kExposure,  // 0: Auto
  kAeMode,    // 0 off, 1 on, 2 shutter priority
  kDefaultSetting,
  kSaturation,
  kContrast,
  kSharpness,
  kPivFormat,  // 0 JPG, 1 RAW
  kTimelapseInterval,
  kTimelapseTime,
  kShutter,  // index into the shutter table
  kLowLight,
  kRawMode,
  kMaxAgc,
  kStampOff,
  kTypedSettings,
  kStreamRate = kTypedSettings,  // the last two have messages of their own
  kCameraMode,                   // 0 photo, 1 video
  kSettingCount,
};

inline constexpr uint32_t kNoOp = 0;

struct SettingRow {
  Setting setting;
  const char* type;   // "type" in the messages of the camera service; null: none
  int32_t type_code;  // 1 to 20
  uint32_t set_op;    // operation code of a set, kNoOp: none
  uint32_t query_op;  // of a query
  uint8_t subject;    // of the acknowledgement to the application, 0: none of its own
  int32_t confirmed_default;
  bool guarded;
};

[[nodiscard]] const SettingRow& setting_row(Setting setting);
// Null for a code that no setting has.
[[nodiscard]] const SettingRow* setting_of_type(int32_t type_code);

inline constexpr int32_t kModePhoto = 0;
inline constexpr int32_t kModeVideo = 1;

struct CameraSettings {
  std::atomic<int32_t> requested[kSettingCount];
  std::atomic<int32_t> confirmed[kSettingCount];
  // The msg_id whose answer a marked setting waits for, or kMarkTaken: it is about to be sent.
  base::Waiting unanswered[kSettingCount];
};

extern CameraSettings camera_settings;

// Requested and confirmed values to their defaults, nothing unanswered.
void cam_settings_init();

[[nodiscard]] int32_t requested(Setting setting);
void request(Setting setting, int32_t value);
// Both take StateLock when the setting is guarded: never while holding SendLock.
[[nodiscard]] int32_t confirmed(Setting setting);
void confirm(Setting setting, int32_t value);

// The marks: of the colour style (one set), of the resolution (260, the set, 259: a chain) and of
// the default settings (260, the set). Set when a text leaves (send.h); cleared by any answer
// to it, by a send that found no connection, and by the end of the connection.
inline constexpr Setting kMarkedSettings[] = {kColorStyle, kResolution, kDefaultSetting};
inline constexpr int32_t kMarkTaken = -1;
[[nodiscard]] int32_t unanswered(Setting setting);
// By base::monotonic_us; 0 when nothing is awaited.
[[nodiscard]] uint64_t unanswered_since_us(Setting setting);
// Takes a free mark before a set is made; the send then makes it wait or frees it. False: not free.
[[nodiscard]] bool take_mark(Setting setting);
// For the send: null for a setting without a mark.
[[nodiscard]] base::Waiting* mark_of(Setting setting);
void answered(Setting setting);
// The connection is gone, and with it every answer. A mark that is only taken stays its sender's.
void forget_unanswered();

// For the dispatch.
[[nodiscard]] int32_t cam_get_stream_bitrate();
[[nodiscard]] int32_t cam_get_piv_format();
[[nodiscard]] int32_t cam_get_mode();

// Video resolutions by index, 0 to 10; null outside.
inline constexpr int kResolutions = 11;
[[nodiscard]] const char* cam_resolution_text(int32_t index);
// Index of the first resolution, in the service's order of preference, whose text occurs in `text`;
// 0 when none does.
[[nodiscard]] int32_t cam_parse_resolution(const char* text);

// Families of resolutions.
[[nodiscard]] bool is_30p(int32_t resolution);
[[nodiscard]] bool is_60p(int32_t resolution);
[[nodiscard]] bool is_high_rate(int32_t resolution);

// Shutter times by index, 0 to 30; null outside.
inline constexpr int kShutterTimes = 31;
[[nodiscard]] const char* cam_shutter_text(int32_t index);
// Index of the shutter time that equals `text`; 31 for null or no match.
[[nodiscard]] int32_t cam_shutter_index(const char* text);

// Type code 1 to 20 of a reply's "type", by substring; 21 for null or no match.
inline constexpr int32_t kTypeUnknown = 21;
[[nodiscard]] int32_t cam_setting_type_code(const char* type);

// Readers of a reply's "param" text.
[[nodiscard]] int32_t cam_param_is_on(const char* text);
[[nodiscard]] int32_t cam_param_is_not_on(const char* text);
[[nodiscard]] int32_t cam_param_int_or_off(const char* text);
// The decimal value a text starts with, saturated; 0 when it starts with none.
[[nodiscard]] int32_t cam_param_int(const char* text);

}  // namespace camera
