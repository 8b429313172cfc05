#include "groundstation/messages/setting_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "groundstation/messages/camera_messages.h"
#include "groundstation/messages/whole_number.h"

namespace groundstation {
namespace {

constexpr auto kAutoWord = std::to_array<std::string_view>({"Auto"});
constexpr auto kStyleWords =
    std::to_array<std::string_view>({"Auto", "BlackAndWhite", "VIVID", "70FILM"});
constexpr auto kBalanceWords = std::to_array<std::string_view>({"Auto", "Day", "Cloudy"});
constexpr auto kQualityWords = std::to_array<std::string_view>({"sfine", "fine", "normal"});
constexpr auto kAeWords = std::to_array<std::string_view>({"off", "on", "shutter_priority"});
constexpr auto kFormatWords = std::to_array<std::string_view>({"JPG", "RAW"});
constexpr auto kSwitchWords = std::to_array<std::string_view>({"OFF", "ON"});
// The link carries whether it is off.
constexpr auto kStampWords = std::to_array<std::string_view>({"ON", "OFF"});

using C = CameraStatus;
constexpr Setting kSettings[] = {
    {"video_resolution", "resolution", 2, 2, &C::resolution, kResolutionWords, 10,
     "in video mode only; 120P and 200P without AE mode, low light and RAW; 60P without low light, "
     "and in shutter priority from 1/60"},
    {"color_style", "color_style", 3, 3, &C::color_style, kStyleWords, 3, ""},
    {"video_quality", "video_quality", 4, kSubjectNone, nullptr, kQualityWords, 2, ""},
    {"scene_white_balance", "white_balance", 5, 5, &C::white_balance, kBalanceWords, 2, ""},
    {"fix_iso_value", "iso", 6, 6, &C::iso, kAutoWord, 65535, ""},
    {"fix_exposure", "exposure", 7, 7, &C::exposure, kAutoWord, 65535,
     "from 5000 at 120P and 200P"},
    {"set_manual_ae_mode", "exposure_mode", 8, 8, &C::exposure_mode, kAeWords, 2,
     "not at 120P and 200P"},
    {"shutter_time", "shutter", 17, 17, &C::shutter, kShutterWords, 30,
     "from 1/60 at 60P, from 1/200 at 120P and 200P"},
    {"saturation", "saturation", 11, 11, &C::saturation, {}, 255, ""},
    {"contrast", "contrast", 12, 12, &C::contrast, {}, 255, ""},
    {"sharpness", "sharpness", 13, 13, &C::sharpness, {}, 255, ""},
    {"piv_format", "photo_format", 15, 15, &C::photo_format, kFormatWords, 1,
     "RAW not at 120P and 200P"},
    {"low_light_mode", "low_light", 18, 18, &C::low_light, kSwitchWords, 1,
     "at 30P with AE mode off only"},
    {"Max_Agc", "max_gain", 19, 19, &C::max_gain, {}, 63, "with low light only"},
    {"raw_mode", "raw_mode", 20, 20, &C::raw_mode, kSwitchWords, 1, ""},
    {"sec_stream_stamp", "stamp", 21, 21, &C::stamp_off, kStampWords, 1, ""},
};

// What a float carries exactly.
constexpr int32_t kMostAnyNumber = 1 << 24;
constexpr size_t kHelpWidth = 80;
constexpr size_t kHelpIndent = 38;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The form in which two words are compared.
std::string plain(std::string_view text) {
  std::string result;
  for (const char c : text) result += c == ' ' || c == '_' ? '-' : lower(c);
  constexpr std::string_view kAspect = "-16:9";
  if (result.ends_with(kAspect)) result.resize(result.size() - kAspect.size());
  return result;
}

// The form in which a word is shown.
std::string one_word(std::string_view text) {
  std::string result(text.substr(0, text.find(" 16:9")));
  std::replace(result.begin(), result.end(), ' ', '-');
  return result;
}

// The text in lines of kHelpWidth, those after the first indented.
std::string wrapped(std::string_view text) {
  std::string result;
  constexpr size_t kRoom = kHelpWidth - kHelpIndent;
  while (text.size() > kRoom) {
    const size_t space = text.rfind(' ', kRoom);
    if (space == std::string_view::npos) break;
    result += fmt::format("{}\n{:{}}", text.substr(0, space), "", kHelpIndent);
    text.remove_prefix(space + 1);
  }
  return result += text;
}

}  // namespace

std::span<const Setting> settings() { return kSettings; }

const Setting* find_setting(std::string_view name) {
  const std::string wanted = plain(name);
  const auto* found =
      std::find_if(std::begin(kSettings), std::end(kSettings), [&](const Setting& setting) {
        return plain(setting.name) == wanted || plain(setting.alias) == wanted;
      });
  return found == std::end(kSettings) ? nullptr : found;
}

std::optional<int32_t> parse_setting(const Setting& setting, std::string_view text, bool any) {
  const std::string wanted = plain(text);
  for (size_t i = 0; i < setting.words.size(); i++) {
    if (plain(setting.words[i]) == wanted) return static_cast<int32_t>(i);
  }
  const auto number = whole_number<int32_t>(text);
  if (!number.has_value()) return std::nullopt;
  const int32_t low = any ? -kMostAnyNumber : 0;
  const int32_t high = any ? kMostAnyNumber : setting.high;
  return *number >= low && *number <= high ? number : std::nullopt;
}

std::string setting_text(const Setting& setting, uint32_t value) {
  return value < setting.words.size() ? one_word(setting.words[value]) : fmt::format("{}", value);
}

std::vector<std::string> setting_words(const Setting& setting) {
  std::vector<std::string> words;
  for (const std::string_view word : setting.words) words.push_back(one_word(word));
  return words;
}

std::vector<std::string> setting_names() {
  std::vector<std::string> names;
  for (const Setting& setting : kSettings) names.emplace_back(setting.name);
  for (const Setting& setting : kSettings) {
    if (setting.alias != setting.name) names.emplace_back(setting.alias);
  }
  return names;
}

std::string setting_values(const Setting& setting) {
  if (setting.words.empty()) return fmt::format("0 to {}", setting.high);
  const std::string text = fmt::format("{}", fmt::join(setting_words(setting), ", "));
  const bool all_words = setting.words.size() > static_cast<size_t>(setting.high);
  return all_words ? fmt::format("{} (0 to {})", text, setting.high)
                   : fmt::format("{} (0) or a number to {}", text, setting.high);
}

std::string settings_help() {
  std::string text;
  for (const Setting& setting : kSettings) {
    text += fmt::format("  {:<20}{:<16}{}\n", setting.name,
                        setting.alias == setting.name ? "" : setting.alias,
                        wrapped(setting_values(setting)));
  }
  return text;
}

}  // namespace groundstation
