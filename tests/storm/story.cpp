#include "storm/story.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "groundstation/messages/camera_status.h"

namespace storm {

using nlohmann::json;

namespace {

constexpr const char* kResolution = "video_resolution";
constexpr int kSet = 2;
constexpr int kGet = 1;
constexpr int kPreviewReset = 259;
constexpr int kModeSwitch = 772;
// So many lines of a connection's end may be unread.
constexpr int kUnreadLines = 30;

// The place of a word; -1 when it is none of them.
template <typename Words>
int64_t place(const Words& words, const std::string& value) {
  const auto found = std::find(std::begin(words), std::end(words), value);
  return found == std::end(words) ? -1 : found - std::begin(words);
}

int64_t number(std::string_view text) {
  int64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// Settings that the program reads from its own file.
bool kept_by_program(const std::string& type) {
  return type == "color_style" || type == "scene_white_balance";
}

json parsed(std::string_view text) { return json::parse(text, nullptr, false); }

std::string text_of(const json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

int number_of(const json& object, const char* name, int otherwise) {
  const auto found = object.find(name);
  return found != object.end() && found->is_number_integer() ? found->get<int>() : otherwise;
}

}  // namespace

int64_t record_value(const std::string& type, const std::string& value) {
  using Words = std::vector<std::string>;
  static const std::map<std::string, Words> kWords = {
      {"color_style", {"Auto", "BlackAndWhite", "VIVID", "70FILM"}},
      {"scene_white_balance", {"Auto", "Day", "Cloudy"}},
      {"set_manual_ae_mode", {"off", "on", "shutter_priority"}},
      {"piv_format", {"JPG", "RAW"}},
      {"low_light_mode", {"OFF", "ON"}},
      {"raw_mode", {"OFF", "ON"}},
      {"sec_stream_stamp", {"ON", "OFF"}},
  };
  if (type == kResolution) return place(groundstation::kResolutionWords, value);
  if (type == "shutter_time") return place(groundstation::kShutterWords, value);
  if (const auto words = kWords.find(type); words != kWords.end()) {
    return place(words->second, value);
  }
  static const std::set<std::string> kNumbers = {"fix_iso_value", "fix_exposure", "saturation",
                                                 "contrast",      "sharpness",    "Max_Agc"};
  return kNumbers.contains(type) ? number(value) : -1;
}

void Story::program_started() {
  shown_ = {{"color_style", {0}},     {"scene_white_balance", {0}},
            {kResolution, {1}},       {"fix_iso_value", {0}},
            {"fix_exposure", {0}},    {"set_manual_ae_mode", {0}},
            {"saturation", {60}},     {"contrast", {60}},
            {"sharpness", {3}},       {"piv_format", {0}},
            {"shutter_time", {6}},    {"low_light_mode", {0}},
            {"raw_mode", {0}},        {"Max_Agc", {25}},
            {"sec_stream_stamp", {0}}};
  before_.clear();
  requested_ = {{kResolution, "3840x2160 60P 16:9"}};
  mode_known_ = false;
}

void Story::service_started() {
  connection_ended();
  mode_known_ = false;
}

void Story::may_show(const std::string& type, int64_t value) { shown_[type].insert(value); }

const std::set<int64_t>& Story::shown(const std::string& type) const {
  static const std::set<int64_t> kNothing;
  const auto found = shown_.find(type);
  return found == shown_.end() ? kNothing : found->second;
}

void Story::line(std::string_view text) {
  lines_since_switch_++;
  if (text.starts_with("< ")) return asked(text.substr(2));
  if (text.starts_with("> ")) return answered(text.substr(2));
  if (text.starts_with("muted: ")) {
    if (text.find("\"msg_id\":772") != std::string_view::npos) mode_known_ = false;
  } else if (text.starts_with("client ") && text.ends_with(" gone")) {
    connection_ended();
  } else if (text.starts_with("photo ")) {
    std::istringstream words{std::string(text)};
    std::string skip, name, picture, sum;
    words >> skip >> name >> picture >> sum;
    if (picture == "picture" && sum.find_first_not_of('0') != sum.npos) photos_[name] = sum;
  } else if (text.starts_with("video ")) {
    std::istringstream words{std::string(text)};
    std::string skip, name, of;
    uint64_t bytes = 0;
    if (words >> skip >> name >> of >> bytes && of == "of") recordings_[name] = bytes;
  } else if (text == "card formatted" || text == "card cannot be formatted") {
    photos_.clear();
    recordings_.clear();
    formatted_ = true;
  }
}

void Story::asked(std::string_view text) {
  const json request = parsed(text);
  if (!request.is_object()) return;
  const int msg_id = number_of(request, "msg_id", 0);
  if (msg_id == kModeSwitch) {
    if (switches_waiting_++ > 0) mode_known_ = false;
    lines_since_switch_ = 0;
  }
  if (msg_id != kSet) return;
  const std::string type = text_of(request, "type");
  requested_[type] = text_of(request, "param");
  const int64_t value = record_value(type, requested_[type]);
  if (kept_by_program(type) && value >= 0) may_show(type, value);
}

void Story::answered(std::string_view text) {
  const json answer = parsed(text);
  if (!answer.is_object()) {
    damaged_ = true;
    if (switches_waiting_ > 0) mode_known_ = false;
    return;
  }
  const int msg_id = number_of(answer, "msg_id", 0);
  if (msg_id == kModeSwitch) {
    switches_waiting_ = std::max(0, switches_waiting_ - 1);
    if (damaged_) mode_known_ = false;
  }
  if (number_of(answer, "rval", -1) != 0) return;
  if (msg_id == kSet) set_answered(answer);
  if (msg_id == kGet) get_answered(answer);
  // The answer to a resolution only begins it; the preview's confirms.
  if (msg_id == kPreviewReset) {
    confirm(kResolution, record_value(kResolution, requested_[kResolution]));
  }
}

void Story::set_answered(const json& answer) {
  const std::string type = text_of(answer, "type");
  if (type != kResolution) confirm(type, record_value(type, requested_[type]));
}

void Story::get_answered(const json& answer) {
  const std::string type = text_of(answer, "type");
  static const std::set<std::string> kRead = {kResolution,     "shutter_time", "low_light_mode",
                                              "Max_Agc",       "raw_mode",     "sec_stream_stamp",
                                              "fix_iso_value", "fix_exposure"};
  if (!kRead.contains(type)) return;
  int64_t value = record_value(type, text_of(answer, "param"));
  // "Automatic" is shown as the lowest manual value while the exposure is set by hand.
  const bool by_hand = !shown_["set_manual_ae_mode"].contains(0);
  if (value == 0 && by_hand && type == "fix_iso_value") value = 100;
  if (value == 0 && by_hand && type == "fix_exposure") value = 1;
  confirm(type, value);
}

void Story::confirm(const std::string& type, int64_t value) {
  if (value < 0) return;
  std::set<int64_t>& now = shown_[type];
  before_[type].insert(now.begin(), now.end());
  before_[type].insert(value);
  if (!damaged_ && !kept_by_program(type)) now.clear();
  now.insert(value);
}

void Story::connection_ended() {
  for (const auto& [type, values] : before_) shown_[type].insert(values.begin(), values.end());
  before_.clear();
  if (switches_waiting_ > 0 || lines_since_switch_ < kUnreadLines) mode_known_ = false;
  switches_waiting_ = 0;
  damaged_ = false;
}

}  // namespace storm
