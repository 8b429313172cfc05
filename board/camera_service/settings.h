// The camera's settings: which types exist, which values each takes, and what is set. Values are
// texts, as they travel.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace camera_service {

class Settings {
 public:
  Settings() { reset(); }

  // Every setting back to its default.
  void reset();
  [[nodiscard]] static bool known(std::string_view type);
  // Whether the type is known and the value one of its values.
  [[nodiscard]] static bool takes(std::string_view type, std::string_view value);
  // The value of a known type.
  [[nodiscard]] const std::string& get(std::string_view type) const;
  // False, and nothing changes, when the type is unknown or does not take the value. Setting
  // default_setting to "on" resets everything but the clock.
  [[nodiscard]] bool set(std::string_view type, std::string_view value);
  [[nodiscard]] const std::map<std::string, std::string, std::less<>>& all() const {
    return values_;
  }

 private:
  std::map<std::string, std::string, std::less<>> values_;
};

// The whole text as a decimal integer, or nothing.
[[nodiscard]] std::optional<int> whole_number(std::string_view text);

}  // namespace camera_service
