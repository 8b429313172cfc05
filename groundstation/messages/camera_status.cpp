#include "groundstation/messages/camera_status.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/bytes.h"
#include "groundstation/messages/setting_table.h"

namespace groundstation {
namespace {

template <size_t Count>
std::string word(const std::array<std::string_view, Count>& words, uint32_t value) {
  if (value < Count && !words[value].empty()) return std::string(words[value]);
  return fmt::format("unknown ({})", value);
}

std::string timelapse_text(uint32_t value) {
  return word(
      std::to_array<std::string_view>({"none", "running", "paused", "stopping", "finished"}),
      value);
}

using S = CameraStatus;
// Those without words of their own are settings, and written as these are set.
constexpr StatusField kFields[] = {
    {"mode", "mode", &S::mode, 0, 16, 4, mode_text},
    {"resolution", "resolution", &S::resolution, 0, 0, 4, nullptr},
    {"iso", "ISO", &S::iso, 4, 0, 16, nullptr},
    {"exposure", "exposure", &S::exposure, 4, 16, 16, nullptr},
    {"exposure_mode", "exposure mode", &S::exposure_mode, 0, 12, 4, nullptr},
    {"shutter", "shutter", &S::shutter, 16, 24, 5, nullptr},
    {"white_balance", "white balance", &S::white_balance, 0, 8, 4, nullptr},
    {"color_style", "color style", &S::color_style, 0, 4, 4, nullptr},
    {"saturation", "saturation", &S::saturation, 16, 0, 8, nullptr},
    {"contrast", "contrast", &S::contrast, 16, 8, 8, nullptr},
    {"sharpness", "sharpness", &S::sharpness, 16, 16, 8, nullptr},
    {"photo_format", "photo format", &S::photo_format, 16, 29, 1, nullptr},
    {"raw_mode", "raw mode", &S::raw_mode, 20, 7, 1, nullptr},
    {"low_light", "low light", &S::low_light, 16, 30, 1, nullptr},
    {"max_gain", "max gain", &S::max_gain, 20, 0, 6, nullptr},
    {"stamp", "stamp", &S::stamp_off, 20, 8, 1, nullptr},
    {"timelapse", "time-lapse", &S::timelapse, 0, 24, 8, timelapse_text},
    {"sd_card", "SD card", &S::sd_code, 0, 20, 4, sd_code_text},
};

// The setting that the field shows; null for another.
const Setting* setting_of(const StatusField& field) {
  const auto all = settings();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Setting& setting) {
    return setting.field == field.member;
  });
  return found == all.end() ? nullptr : &*found;
}

// Numbers, of which "Auto" stands for 0.
bool mostly_number(const Setting& setting) {
  return setting.words.size() <= static_cast<size_t>(setting.high);
}

}  // namespace

std::span<const StatusField> status_fields() { return kFields; }

std::string status_text(const StatusField& field, uint32_t value) {
  if (field.text != nullptr) return field.text(value);
  return setting_text(*setting_of(field), value);
}

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
    const Setting* setting = setting_of(field);
    if (setting != nullptr && mostly_number(*setting)) {
      object[field.key] = value;
    } else {
      object[field.key] = status_text(field, value);
    }
  }
  object["sd_code"] = status.sd_code;
  object["total_mb"] = status.total_mb;
  object["free_mb"] = status.free_mb;
  return object;
}

}  // namespace groundstation
