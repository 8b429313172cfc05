#include "camera_service/interplay.h"

namespace camera_service {
namespace {

enum class Rate { k30, k60, kHigh };

constexpr int kSlowestAt60 = 60;  // 1/60 s
constexpr int kSlowestAtHigh = 200;
constexpr int kSlowestInTimelapse = 30;
constexpr int kShortestExposureAtHigh = 5000;

Rate rate_of(std::string_view resolution) {
  if (resolution.find(" 30P") != std::string_view::npos) return Rate::k30;
  return resolution.find(" 60P") != std::string_view::npos ? Rate::k60 : Rate::kHigh;
}

Rate rate(const Settings& settings) { return rate_of(settings.get("video_resolution")); }

bool is(const Settings& settings, std::string_view type, std::string_view value) {
  return settings.get(type) == value;
}

// Whether a shutter time "1/N" or "1/N.5" is 1/`slowest` or shorter.
bool short_enough(std::string_view shutter, int slowest) {
  const std::string_view divisor = shutter.substr(2);
  return whole_number(divisor.substr(0, divisor.find('.'))).value_or(0) >= slowest;
}

bool priority_is_short_enough(const Settings& settings, int slowest) {
  return !is(settings, "set_manual_ae_mode", "shutter_priority") ||
         short_enough(settings.get("shutter_time"), slowest);
}

bool resolution(const Settings& settings, std::string_view value) {
  const Rate wanted = rate_of(value);
  if (wanted == Rate::k30) return true;
  if (is(settings, "low_light_mode", "ON")) return false;
  if (wanted == Rate::k60) return priority_is_short_enough(settings, kSlowestAt60);
  return is(settings, "set_manual_ae_mode", "off") && is(settings, "piv_format", "JPG");
}

bool exposure(const Settings& settings, std::string_view value) {
  return rate(settings) != Rate::kHigh ||
         whole_number(value).value_or(0) >= kShortestExposureAtHigh;
}

bool shutter(const Settings& settings, std::string_view value) {
  const Rate now = rate(settings);
  if (now == Rate::k30) return true;
  return short_enough(value, now == Rate::k60 ? kSlowestAt60 : kSlowestAtHigh);
}

bool ae_mode(const Settings& settings, std::string_view value) {
  return value == "off" || rate(settings) != Rate::kHigh;
}

bool photo_format(const Settings& settings, std::string_view value) {
  return value != "RAW" || rate(settings) != Rate::kHigh;
}

bool low_light(const Settings& settings, std::string_view value) {
  return value == "OFF" ||
         (rate(settings) == Rate::k30 && is(settings, "set_manual_ae_mode", "off") &&
          is(settings, "piv_format", "JPG") && is(settings, "raw_mode", "OFF"));
}

bool raw_mode(const Settings& settings, std::string_view value) {
  return value == "OFF" || is(settings, "low_light_mode", "OFF");
}

bool max_gain(const Settings& settings, std::string_view /*value*/) {
  return is(settings, "low_light_mode", "ON");
}

bool interval(const Settings& settings, std::string_view value) {
  return value == "OFF" || (is(settings, "video_resolution", "1920x1080 30P 16:9") &&
                            priority_is_short_enough(settings, kSlowestInTimelapse));
}

struct Rule {
  std::string_view type;
  bool (*allows)(const Settings& settings, std::string_view value);
};

constexpr Rule kRules[] = {
    {"video_resolution", resolution},
    {"fix_exposure", exposure},
    {"shutter_time", shutter},
    {"set_manual_ae_mode", ae_mode},
    {"piv_format", photo_format},
    {"low_light_mode", low_light},
    {"raw_mode", raw_mode},
    {"Max_Agc", max_gain},
    {"time_lapse_interval", interval},
};

}  // namespace

bool allowed_together(const Settings& settings, std::string_view type, std::string_view value) {
  for (const Rule& rule : kRules) {
    if (rule.type == type) return rule.allows(settings, value);
  }
  return true;
}

}  // namespace camera_service
