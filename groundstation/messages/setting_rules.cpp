#include "groundstation/messages/setting_rules.h"

#include <fmt/format.h>

namespace groundstation {
namespace {

enum class Rate { k30, k60, kHigh };

constexpr uint32_t kFirstHighRate = 8;        // of the resolutions
constexpr uint32_t kTimelapseResolution = 4;  // 1920x1080 30P
constexpr uint32_t kShutterPriority = 2;
constexpr uint32_t kAeOff = 0;
constexpr int32_t kShutter60 = 9;          // 1/60
constexpr int32_t kShutterHigh = 14;       // 1/200
constexpr uint32_t kShutterTimelapse = 6;  // 1/30
constexpr int32_t kExposureHigh = 5000;

Rate rate_of(uint32_t resolution) {
  if (resolution >= kFirstHighRate) return Rate::kHigh;
  return resolution % 2 == 1 ? Rate::k60 : Rate::k30;
}

// A setting as it is, by the field of the record that shows it.
std::string is_now(const CameraStatus& status, uint32_t CameraStatus::*field) {
  for (const Setting& setting : settings()) {
    if (setting.field != field) continue;
    return fmt::format("{} is {}", setting.alias, setting_text(setting, status.*field));
  }
  return "";
}

std::string resolution_refusal(const CameraStatus& status, bool recording, int32_t value) {
  if (recording) return "the camera is recording (first: record stop)";
  if (status.mode != kModeVideo) return "the camera is in photo mode (first: mode video)";
  const Rate wanted = rate_of(static_cast<uint32_t>(value));
  if (wanted == Rate::k30) return "";
  if (status.low_light != 0) {
    return is_now(status, &CameraStatus::low_light) + " (first: set low_light OFF)";
  }
  if (wanted == Rate::k60) {
    const bool slow = status.exposure_mode == kShutterPriority &&
                      status.shutter < static_cast<uint32_t>(kShutter60);
    return slow ? is_now(status, &CameraStatus::shutter) +
                      " in shutter priority (first: set shutter 1/60, or shorter)"
                : "";
  }
  if (status.exposure_mode != kAeOff) {
    return is_now(status, &CameraStatus::exposure_mode) + " (first: set exposure_mode off)";
  }
  if (status.photo_format == kPhotoFormatRaw) {
    return is_now(status, &CameraStatus::photo_format) + " (first: set photo_format JPG)";
  }
  return "";
}

std::string shutter_refusal(const CameraStatus& status, int32_t value) {
  const Rate rate = rate_of(status.resolution);
  if (rate == Rate::k30) return "";
  const int32_t first = rate == Rate::k60 ? kShutter60 : kShutterHigh;
  if (value >= first) return "";
  return fmt::format("{}, where the shutter is {} or shorter",
                     is_now(status, &CameraStatus::resolution),
                     kShutterWords[static_cast<size_t>(first)]);
}

std::string high_rate_refusal(const CameraStatus& status, const char* what) {
  if (rate_of(status.resolution) != Rate::kHigh) return "";
  return fmt::format("{}, where {}", is_now(status, &CameraStatus::resolution), what);
}

std::string low_light_refusal(const CameraStatus& status) {
  if (rate_of(status.resolution) != Rate::k30) {
    return is_now(status, &CameraStatus::resolution) + ", not one at 30P";
  }
  if (status.exposure_mode == kAeOff) return "";
  return is_now(status, &CameraStatus::exposure_mode) + " (first: set exposure_mode off)";
}

}  // namespace

std::string setting_refusal(const CameraStatus& status, bool recording, const Setting& setting,
                            int32_t value) {
  if (status.timelapse != kTimelapseIdle) {
    return "a time-lapse is under way (first: timelapse stop)";
  }
  using S = CameraStatus;
  if (setting.field == &S::resolution) return resolution_refusal(status, recording, value);
  if (setting.field == &S::shutter) return shutter_refusal(status, value);
  if (setting.field == &S::low_light) return low_light_refusal(status);
  if (setting.field == &S::exposure_mode) {
    return high_rate_refusal(status, "the exposure mode stays as it is");
  }
  if (setting.field == &S::exposure && value < kExposureHigh) {
    return high_rate_refusal(status, "the exposure is 5000 or more");
  }
  if (setting.field == &S::photo_format && value == static_cast<int32_t>(kPhotoFormatRaw)) {
    return high_rate_refusal(status, "photos are JPG");
  }
  if (setting.field == &S::max_gain && status.low_light == 0) {
    return is_now(status, &S::low_light) + " (first: set low_light ON)";
  }
  return "";
}

std::string timelapse_refusal(const CameraStatus& status) {
  if (status.timelapse != kTimelapseIdle) return "a time-lapse is under way already";
  if (status.resolution != kTimelapseResolution) {
    return fmt::format(
        "{}, and the camera makes time-lapses at 1920x1080-30P only (first: set resolution "
        "1920x1080-30P)",
        is_now(status, &CameraStatus::resolution));
  }
  if (status.exposure_mode == kShutterPriority && status.shutter < kShutterTimelapse) {
    return is_now(status, &CameraStatus::shutter) +
           " in shutter priority (first: set shutter 1/30, or shorter)";
  }
  return "";
}

}  // namespace groundstation
