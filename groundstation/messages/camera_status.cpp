#include "groundstation/messages/camera_status.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/bytes.h"

namespace groundstation {
namespace {

template <size_t Count>
std::string word(const std::array<std::string_view, Count>& words, uint32_t value) {
  if (value < Count && !words[value].empty()) return std::string(words[value]);
  return fmt::format("unknown ({})", value);
}

std::string resolution_text(uint32_t value) { return word(kResolutionWords, value); }

std::string shutter_text(uint32_t value) { return word(kShutterWords, value); }

std::string color_style_text(uint32_t value) {
  return word(
      std::to_array<std::string_view>({"automatic", "black and white", "vivid", "70s film"}),
      value);
}

std::string white_balance_text(uint32_t value) {
  return word(std::to_array<std::string_view>({"automatic", "day", "cloudy"}), value);
}

std::string exposure_mode_text(uint32_t value) {
  return word(std::to_array<std::string_view>({"automatic", "manual", "shutter priority"}), value);
}

std::string timelapse_text(uint32_t value) {
  return word(
      std::to_array<std::string_view>({"none", "running", "paused", "stopping", "finished"}),
      value);
}

std::string photo_format_text(uint32_t value) { return value == kPhotoFormatRaw ? "RAW" : "JPG"; }

std::string switch_text(uint32_t value) { return value != 0 ? "on" : "off"; }

std::string stamp_text(uint32_t value) { return value != 0 ? "off" : "on"; }

// The record's 0 stands for automatic.
std::string automatic_or_number(uint32_t value) {
  return value == 0 ? "automatic" : fmt::format("{}", value);
}

using S = CameraStatus;
constexpr StatusField kFields[] = {
    {"mode", "mode", &S::mode, 0, 16, 4, mode_text},
    {"resolution", "resolution", &S::resolution, 0, 0, 4, resolution_text},
    {"iso", "ISO", &S::iso, 4, 0, 16, automatic_or_number},
    {"exposure", "exposure", &S::exposure, 4, 16, 16, automatic_or_number},
    {"exposure_mode", "exposure mode", &S::exposure_mode, 0, 12, 4, exposure_mode_text},
    {"shutter", "shutter", &S::shutter, 16, 24, 5, shutter_text},
    {"white_balance", "white balance", &S::white_balance, 0, 8, 4, white_balance_text},
    {"color_style", "colour style", &S::color_style, 0, 4, 4, color_style_text},
    {"saturation", "saturation", &S::saturation, 16, 0, 8, nullptr},
    {"contrast", "contrast", &S::contrast, 16, 8, 8, nullptr},
    {"sharpness", "sharpness", &S::sharpness, 16, 16, 8, nullptr},
    {"photo_format", "photo format", &S::photo_format, 16, 29, 1, photo_format_text},
    {"raw_mode", "raw mode", &S::raw_mode, 20, 7, 1, switch_text},
    {"low_light", "low light", &S::low_light, 16, 30, 1, switch_text},
    {"max_gain", "maximum gain", &S::max_gain, 20, 0, 6, nullptr},
    {"stamp", "time stamp", &S::stamp_off, 20, 8, 1, stamp_text},
    {"timelapse", "time-lapse", &S::timelapse, 0, 24, 8, timelapse_text},
    {"sd_card", "SD card", &S::sd_code, 0, 20, 4, sd_code_text},
};

}  // namespace

std::span<const StatusField> status_fields() { return kFields; }

std::optional<CameraStatus> decode_camera_status(const uint8_t* bytes, size_t length) {
  if (length < kStatusRecordLength) return std::nullopt;
  CameraStatus status{};
  for (const StatusField& field : kFields) {
    const uint32_t mask = (uint32_t{1} << field.bits) - 1;
    status.*field.member = (base::load_u32le(bytes + field.offset) >> field.shift) & mask;
  }
  status.total_mb = base::load_f32le(bytes + 8);
  status.free_mb = base::load_f32le(bytes + 12);
  return status;
}

std::string sd_code_text(uint32_t code) {
  static constexpr auto kWords = std::to_array<std::string_view>(
      {"ready", "no card", "not known yet", "", "speed check running", "too slow", "speed good",
       "full", "error", "format unknown", "", "", "exFAT", "FAT32"});
  return word(kWords, code);
}

std::string mode_text(uint32_t mode) {
  return word(std::to_array<std::string_view>({"photo", "video"}), mode);
}

nlohmann::json status_json(const CameraStatus& status) {
  nlohmann::json object;
  for (const StatusField& field : kFields) {
    const uint32_t value = status.*field.member;
    // A number stays a number for a program, 0 included.
    if (field.text != nullptr && field.text != automatic_or_number) {
      object[field.key] = field.text(value);
    } else {
      object[field.key] = value;
    }
  }
  object["sd_code"] = status.sd_code;
  object["total_mb"] = status.total_mb;
  object["free_mb"] = status.free_mb;
  return object;
}

}  // namespace groundstation
