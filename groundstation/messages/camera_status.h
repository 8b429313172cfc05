// The camera's status record: settings, mode and card in 33 bytes, sent every 300 ms
// (little-endian).
//
//  offset  bits    field
//       0   0..3   resolution index
//           4..7   colour style
//           8..11  white balance
//          12..15  manual exposure mode
//          16..19  camera mode: 0 photo, 1 video
//          20..23  SD report code
//          24..31  time-lapse state
//       4   0..15  ISO (0 automatic), 16..31 exposure (0 automatic)
//       8   f32    card size, MB
//      12   f32    free space, MB
//      16   0..7   saturation, 8..15 contrast, 16..23 sharpness, 24..28 shutter index,
//                  29 photo format (0 JPG, 1 RAW), 30 low light
//      20   0..5   maximum gain, 7 raw mode, 8 stamp off
//      24   f32    1.0
//      28   u16    2
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace groundstation {

inline constexpr size_t kStatusRecordLength = 33;

enum CameraMode : uint32_t { kModePhoto, kModeVideo };
inline constexpr uint32_t kPhotoFormatRaw = 1;
enum TimelapseState : uint32_t { kTimelapseIdle, kTimelapseRunning };

// The words of the two long tables; a value is the place of its word.
inline constexpr auto kResolutionWords = std::to_array<std::string_view>(
    {"3840x2160 30P 16:9", "3840x2160 60P 16:9", "2560x1440 30P 16:9", "2560x1440 60P 16:9",
     "1920x1080 30P 16:9", "1920x1080 60P 16:9", "1280x720 30P 16:9", "1280x720 60P 16:9",
     "1280x720 120P 16:9", "1280x720 200P 16:9", "1920x1080 120P 16:9"});
inline constexpr auto kShutterWords = std::to_array<std::string_view>(
    {"1/8",    "1/10",   "1/12.5", "1/15",   "1/20",   "1/25",   "1/30",   "1/40",
     "1/50",   "1/60",   "1/80",   "1/100",  "1/120",  "1/160",  "1/200",  "1/240",
     "1/320",  "1/400",  "1/500",  "1/640",  "1/800",  "1/1000", "1/1250", "1/1600",
     "1/2000", "1/2500", "1/3200", "1/4000", "1/5000", "1/6400", "1/8000"});

struct CameraStatus {
  uint32_t mode;
  uint32_t resolution;
  uint32_t iso;
  uint32_t exposure;
  uint32_t exposure_mode;
  uint32_t shutter;
  uint32_t white_balance;
  uint32_t color_style;
  uint32_t saturation;
  uint32_t contrast;
  uint32_t sharpness;
  uint32_t photo_format;
  uint32_t raw_mode;
  uint32_t low_light;
  uint32_t max_gain;
  uint32_t stamp_off;
  uint32_t timelapse;
  uint32_t sd_code;
  float total_mb;
  float free_mb;

  bool operator==(const CameraStatus&) const = default;
};

// One integer field of the record: where it lies and how it is shown. `text` gives the words for a
// value; fields without it are settings.
struct StatusField {
  std::string_view key;    // JSON member
  std::string_view label;  // for a person
  uint32_t CameraStatus::*member;
  uint8_t offset;  // of the 32-bit word
  uint8_t shift;
  uint8_t bits;
  std::string (*text)(uint32_t value);
};

// Every integer field, in the order in which it is shown.
[[nodiscard]] std::span<const StatusField> status_fields();

// The value as it is shown; that of a setting as `set` takes it and `get` shows it.
[[nodiscard]] std::string status_text(const StatusField& field, uint32_t value);

// Nothing when there are fewer than 33 bytes. Any value of any field decodes.
[[nodiscard]] std::optional<CameraStatus> decode_camera_status(const uint8_t* bytes, size_t length);

// Words for an SD report code, for example "ready" (0) or "no card" (1).
[[nodiscard]] std::string sd_code_text(uint32_t code);
[[nodiscard]] std::string mode_text(uint32_t mode);

// All fields under their keys; choices as text, numbers as numbers (0: automatic, where there is
// such a thing); "sd_code" as well.
[[nodiscard]] nlohmann::json status_json(const CameraStatus& status);

}  // namespace groundstation
