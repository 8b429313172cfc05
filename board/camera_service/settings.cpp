#include "camera_service/settings.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <vector>

namespace camera_service {
namespace {

struct Row {
  std::string_view type;
  std::string_view initial;
  std::vector<std::string_view> words;  // values that are taken literally
  int low = 0;                          // and whole numbers from low to high, when low < high
  int high = 0;
  bool any_text = false;
};

constexpr size_t kLongestText = 64;

const std::vector<Row>& rows() {
  static const std::vector<Row> table = {
      {"camera_clock", "", {}, 0, 0, true},
      {"video_resolution",
       "3840x2160 60P 16:9",
       {"3840x2160 30P 16:9", "3840x2160 60P 16:9", "2560x1440 30P 16:9", "2560x1440 60P 16:9",
        "1920x1080 30P 16:9", "1920x1080 60P 16:9", "1280x720 30P 16:9", "1280x720 60P 16:9",
        "1280x720 120P 16:9", "1280x720 200P 16:9", "1920x1080 120P 16:9"}},
      {"color_style", "Auto", {"Auto", "BlackAndWhite", "VIVID", "70FILM"}},
      {"video_quality", "sfine", {"sfine", "fine", "normal"}},
      {"scene_white_balance", "Auto", {"Auto", "Day", "Cloudy"}},
      {"fix_iso_value", "Auto", {"Auto"}, 0, 102400},
      {"fix_exposure", "0", {"Auto"}, 0, 1'000'000},
      {"set_manual_ae_mode", "off", {"off", "on", "shutter_priority"}},
      {"saturation", "60", {}, 0, 255},
      {"contrast", "60", {}, 0, 255},
      {"sharpness", "3", {}, 0, 255},
      {"shutter_time",
       "1/30",
       {"1/8",    "1/10",   "1/12.5", "1/15",   "1/20",   "1/25",   "1/30",   "1/40",
        "1/50",   "1/60",   "1/80",   "1/100",  "1/120",  "1/160",  "1/200",  "1/240",
        "1/320",  "1/400",  "1/500",  "1/640",  "1/800",  "1/1000", "1/1250", "1/1600",
        "1/2000", "1/2500", "1/3200", "1/4000", "1/5000", "1/6400", "1/8000"}},
      {"piv_format", "JPG", {"JPG", "RAW"}},
      {"low_light_mode", "OFF", {"ON", "OFF"}},
      {"raw_mode", "OFF", {"ON", "OFF"}},
      {"sec_stream_stamp", "ON", {"ON", "OFF"}},
      {"Max_Agc", "25", {}, 0, 255},
      {"time_lapse_interval", "OFF", {"OFF"}, 1, 3600},
      {"time_lapse_time", "0", {"OFF"}, 0, 65535},
      {"default_setting", "off", {"on", "off"}},
  };
  return table;
}

const Row* find_row(std::string_view type) {
  const auto found = std::find_if(rows().begin(), rows().end(),
                                  [type](const Row& row) { return row.type == type; });
  return found == rows().end() ? nullptr : &*found;
}

bool row_takes(const Row& row, std::string_view value) {
  if (row.any_text) return !value.empty() && value.size() <= kLongestText;
  if (std::find(row.words.begin(), row.words.end(), value) != row.words.end()) return true;
  const auto number = whole_number(value);
  return row.low < row.high && number && *number >= row.low && *number <= row.high;
}

}  // namespace

std::optional<int> whole_number(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

void Settings::reset() {
  for (const Row& row : rows()) values_[std::string(row.type)] = row.initial;
}

bool Settings::known(std::string_view type) { return find_row(type) != nullptr; }

bool Settings::takes(std::string_view type, std::string_view value) {
  const Row* row = find_row(type);
  return row != nullptr && row_takes(*row, value);
}

const std::string& Settings::get(std::string_view type) const { return values_.find(type)->second; }

bool Settings::set(std::string_view type, std::string_view value) {
  if (!takes(type, value)) return false;
  if (type == "default_setting") {
    if (value != "on") return true;
    // The time of day is no preference.
    const std::string clock = get("camera_clock");
    reset();
    values_.find("camera_clock")->second = clock;
    return true;
  }
  values_.find(type)->second = value;
  return true;
}

}  // namespace camera_service
