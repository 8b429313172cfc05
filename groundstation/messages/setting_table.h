// Every setting of the camera that the link carries: its names, the values it takes and where it
// shows. The names are those of the camera service.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "groundstation/messages/camera_status.h"

namespace groundstation {

struct Setting {
  std::string_view name;
  std::string_view alias;  // its field in the status record
  uint8_t sub;             // target component of the command that sets it
  uint8_t subject;         // of the acknowledgement; kSubjectNone: that carries no value
  // Where the status record shows it; null: nowhere.
  uint32_t CameraStatus::*field;
  std::span<const std::string_view> words;  // of the values from 0 on
  int32_t high;                             // the values are 0 to this
  std::string_view rule;                    // when the camera refuses it, in a few words
};

// In the order in which they are shown.
[[nodiscard]] std::span<const Setting> settings();

// By either name, upper or lower case, with spaces or dashes for the low lines as well. Null when
// there is none.
[[nodiscard]] const Setting* find_setting(std::string_view name);

// A word of the setting (upper or lower case, "-" or a space between its parts, "16:9" may be left
// out) or a whole number. With `any` the number may be one that the setting does not take.
[[nodiscard]] std::optional<int32_t> parse_setting(const Setting& setting, std::string_view text,
                                                   bool any);

// The word for a value, as one word of a command line; the number when there is none.
[[nodiscard]] std::string setting_text(const Setting& setting, uint32_t value);

// The words of the setting, each as one word of a command line.
[[nodiscard]] std::vector<std::string> setting_words(const Setting& setting);

// Both names of every setting; those that are the same once.
[[nodiscard]] std::vector<std::string> setting_names();

// What parse_setting takes: "Auto, Day, Cloudy (0 to 2)", "0 to 255".
[[nodiscard]] std::string setting_values(const Setting& setting);

// Name, other name and values of every setting, a line or more each.
[[nodiscard]] std::string settings_help();

}  // namespace groundstation
