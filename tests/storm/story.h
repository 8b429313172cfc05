// What the camera service's own account of itself (its lines on standard output) says must be true
// of the program and of the card: the settings that it confirmed, the photos and recordings that it
// wrote. One owner thread.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <string>
#include <string_view>

namespace storm {

class Story {
 public:
  Story() { program_started(); }

  // A new program shows its defaults, and knows nothing of the camera's mode.
  void program_started();
  // A new service is in photo mode and has its defaults; the program is not told.
  void service_started();
  // A line of the service.
  void line(std::string_view text);
  // A value that the program may show from now on by itself: it takes the settings in its own file
  // for confirmed before the service has been asked.
  void may_show(const std::string& type, int64_t value);

  // The values that the record may show for a setting, by the service's name for it. One, unless it
  // cannot be known from here which answers the program has read: those behind which the connection
  // ended, those in a stream that a fault has damaged, and of the two settings of the program's own
  // file every one that was asked for.
  [[nodiscard]] const std::set<int64_t>& shown(const std::string& type) const;
  // Whether program and service must have the same mode. The link has no question for it: a switch
  // means "to the other one", so it is lost with any answer to one.
  [[nodiscard]] bool mode_known() const { return mode_known_; }
  // The two have been brought together by hand.
  void mode_agreed() { mode_known_ = true; }

  // Photos with the checksum of their picture, and recordings with their size, since the last
  // format. Also those whose answer never left.
  [[nodiscard]] const std::map<std::string, std::string>& photos() const { return photos_; }
  [[nodiscard]] const std::map<std::string, uint64_t>& recordings() const { return recordings_; }
  // Whether a format has been tried, which erases everything on the card.
  [[nodiscard]] bool formatted() const { return formatted_; }

 private:
  void asked(std::string_view text);
  void answered(std::string_view text);
  void set_answered(const nlohmann::json& answer);
  void get_answered(const nlohmann::json& answer);
  void confirm(const std::string& type, int64_t value);
  void connection_ended();

  std::map<std::string, std::set<int64_t>> shown_;
  std::map<std::string, std::set<int64_t>> before_;  // of this connection: what it replaced
  std::map<std::string, std::string> requested_;
  bool damaged_ = false;  // answers of this connection may be lost in garbage
  bool mode_known_ = true;
  int switches_waiting_ = 0;
  int lines_since_switch_ = 1000;
  std::map<std::string, std::string> photos_;
  std::map<std::string, uint64_t> recordings_;
  bool formatted_ = false;
};

// The number in the status record for a value of the service; -1 when the record does not show it.
[[nodiscard]] int64_t record_value(const std::string& type, const std::string& value);

}  // namespace storm
