#include "camera/settings_table.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "base/bytes.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "camera/connection.h"

namespace camera {

CameraSettings camera_settings{};

namespace {

using base::kRelaxed;

constexpr SettingRow kRows[kSettingCount] = {
    // setting, type, code, set op, query op, subject, default, guarded
    {kClock, "camera_clock", 1, kNoOp, kNoOp, 0, 0, false},
    {kColorStyle, "color_style", 3, 7, kNoOp, 3, 0, false},
    {kWhiteBalance, "scene_white_balance", 5, 5, kNoOp, 5, 0, false},
    {kVideoQuality, "video_quality", 4, kNoOp, kNoOp, 0, 0, false},
    {kResolution, "video_resolution", 2, kNoOp, kNoOp, 2, 1, false},
    {kIso, "fix_iso_value", 6, 1, 2, 6, 0, true},
    {kExposure, "fix_exposure", 8, 3, 4, 7, 0, true},
    {kAeMode, "set_manual_ae_mode", 7, kNoOp, kNoOp, 8, 0, false},
    {kDefaultSetting, "default_setting", 9, kNoOp, kNoOp, 9, 0, false},
    {kSaturation, "saturation", 10, 11, kNoOp, 11, 60, true},
    {kContrast, "contrast", 11, 12, kNoOp, 12, 60, true},
    {kSharpness, "sharpness", 12, 13, kNoOp, 13, 3, true},
    {kPivFormat, "piv_format", 13, 17, kNoOp, 15, 0, true},
    {kTimelapseInterval, "time_lapse_interval", 14, kNoOp, kNoOp, 0, 0, false},
    {kTimelapseTime, "time_lapse_time", 15, kNoOp, kNoOp, 0, 0, false},
    {kShutter, "shutter_time", 16, 14, 15, 17, 6, false},
    {kLowLight, "low_light_mode", 17, 18, 19, 18, 0, true},
    {kRawMode, "raw_mode", 19, 23, 24, 20, 0, true},
    {kMaxAgc, "Max_Agc", 18, 20, 21, 19, 25, true},
    {kStampOff, "sec_stream_stamp", 20, 25, 26, 21, 0, true},
    {kStreamRate, nullptr, 0, kNoOp, kNoOp, 0, 2048, false},
    {kCameraMode, nullptr, 0, kNoOp, kNoOp, 10, kModePhoto, true},
};

constexpr bool rows_in_order() {
  for (int i = 0; i < kSettingCount; i++) {
    if (kRows[i].setting != i) return false;
  }
  return true;
}
static_assert(rows_in_order());

constexpr const char* kResolutionTexts[kResolutions] = {
    "3840x2160 30P 16:9", "3840x2160 60P 16:9", "2560x1440 30P 16:9",  "2560x1440 60P 16:9",
    "1920x1080 30P 16:9", "1920x1080 60P 16:9", "1280x720 30P 16:9",   "1280x720 60P 16:9",
    "1280x720 120P 16:9", "1280x720 200P 16:9", "1920x1080 120P 16:9",
};

struct TextCode {
  const char* text;
  int32_t code;
};

// Tested in this order.
constexpr TextCode kResolutionCodes[] = {
    {"3840x2160 60P", 1},   {"3840x2160 30P", 0}, {"2560x1440 60P", 3}, {"2560x1440 30P", 2},
    {"1920x1080 120P", 10}, {"1920x1080 60P", 5}, {"1920x1080 30P", 4}, {"1280x720 200P", 9},
    {"1280x720 120P", 8},   {"1280x720 60P", 7},  {"1280x720 30P", 6},
};

// Fixed slots of 7 bytes; an empty slot ends the table.
constexpr char kShutterTexts[kShutterTimes + 1][7] = {
    "1/8",    "1/10",   "1/12.5", "1/15",   "1/20",   "1/25",   "1/30",   "1/40",
    "1/50",   "1/60",   "1/80",   "1/100",  "1/120",  "1/160",  "1/200",  "1/240",
    "1/320",  "1/400",  "1/500",  "1/640",  "1/800",  "1/1000", "1/1250", "1/1600",
    "1/2000", "1/2500", "1/3200", "1/4000", "1/5000", "1/6400", "1/8000", "",
};

}  // namespace

const SettingRow& setting_row(Setting setting) { return kRows[setting]; }

const SettingRow* setting_of_type(int32_t type_code) {
  for (const SettingRow& row : kRows) {
    if (row.type != nullptr && row.type_code == type_code) return &row;
  }
  return nullptr;
}

void cam_settings_init() {
  for (const SettingRow& row : kRows) {
    camera_settings.requested[row.setting].store(row.confirmed_default, kRelaxed);
    camera_settings.confirmed[row.setting].store(row.confirmed_default, kRelaxed);
    answered(row.setting);
  }
}

int32_t requested(Setting setting) { return camera_settings.requested[setting].load(kRelaxed); }

void request(Setting setting, int32_t value) {
  camera_settings.requested[setting].store(value, kRelaxed);
}

int32_t confirmed(Setting setting) {
  const std::atomic<int32_t>& value = camera_settings.confirmed[setting];
  if (!kRows[setting].guarded) return value.load(kRelaxed);
  const base::Lock lock(cam_json_context.StateLock);
  return value.load(kRelaxed);
}

void confirm(Setting setting, int32_t value) {
  std::atomic<int32_t>& word = camera_settings.confirmed[setting];
  if (!kRows[setting].guarded) return word.store(value, kRelaxed);
  const base::Lock lock(cam_json_context.StateLock);
  word.store(value, kRelaxed);
}

int32_t unanswered(Setting setting) {
  return camera_settings.unanswered[setting].what.load(kRelaxed);
}

uint64_t unanswered_since_us(Setting setting) {
  return base::waiting_since(camera_settings.unanswered[setting]);
}

bool take_mark(Setting setting) {
  int32_t free = 0;
  base::Waiting& mark = camera_settings.unanswered[setting];
  if (!mark.what.compare_exchange_strong(free, kMarkTaken, kRelaxed)) return false;
  mark.since_us.store(0, kRelaxed);  // a look that met the end of the last wait may have left one
  return true;
}

base::Waiting* mark_of(Setting setting) {
  const bool marked = std::ranges::find(kMarkedSettings, setting) != std::end(kMarkedSettings);
  return marked ? &camera_settings.unanswered[setting] : nullptr;
}

void answered(Setting setting) { base::set_waiting(camera_settings.unanswered[setting], 0); }

void forget_unanswered() {
  for (const Setting setting : kMarkedSettings) {
    if (unanswered(setting) > 0) answered(setting);
  }
}

int32_t cam_get_stream_bitrate() { return confirmed(kStreamRate); }

int32_t cam_get_piv_format() { return confirmed(kPivFormat); }

int32_t cam_get_mode() { return confirmed(kCameraMode); }

const char* cam_resolution_text(int32_t index) {
  return index >= 0 && index < kResolutions ? kResolutionTexts[index] : nullptr;
}

int32_t cam_parse_resolution(const char* text) {
  if (text == nullptr) return 0;
  for (const TextCode& row : kResolutionCodes) {
    if (std::strstr(text, row.text) != nullptr) return row.code;
  }
  return 0;
}

bool is_30p(int32_t resolution) {
  return resolution == 0 || resolution == 2 || resolution == 4 || resolution == 6;
}

bool is_60p(int32_t resolution) {
  return resolution == 1 || resolution == 3 || resolution == 5 || resolution == 7;
}

bool is_high_rate(int32_t resolution) { return resolution >= 8 && resolution <= 10; }

const char* cam_shutter_text(int32_t index) {
  return index >= 0 && index < kShutterTimes ? kShutterTexts[index] : nullptr;
}

int32_t cam_shutter_index(const char* text) {
  if (text == nullptr) return kShutterTimes;
  for (int32_t i = 0; kShutterTexts[i][0] != '\0'; i++) {
    if (std::strcmp(text, kShutterTexts[i]) == 0) return i;
  }
  return kShutterTimes;
}

int32_t cam_setting_type_code(const char* type) {
  if (type == nullptr) return kTypeUnknown;
  for (const SettingRow& row : kRows) {
    if (row.type != nullptr && std::strstr(type, row.type) != nullptr) return row.type_code;
  }
  return kTypeUnknown;
}

int32_t cam_param_is_on(const char* text) { return std::strstr(text, "ON") != nullptr ? 1 : 0; }

int32_t cam_param_is_not_on(const char* text) { return cam_param_is_on(text) != 0 ? 0 : 1; }

int32_t cam_param_int_or_off(const char* text) {
  return std::strstr(text, "OFF") != nullptr ? 0 : cam_param_int(text);
}

int32_t cam_param_int(const char* text) {
  return base::saturate<int32_t>(static_cast<double>(std::strtol(text, nullptr, 10)));
}

}  // namespace camera
