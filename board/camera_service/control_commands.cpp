// The commands of the control socket and of script files.
#include <algorithm>
#include <climits>
#include <optional>
#include <string>
#include <utility>

#include "camera_service/control.h"
#include "camera_service/picture.h"
#include "camera_service/say.h"

namespace camera_service {
namespace {

// What is left of a command line; words are taken from its front.
class Arguments {
 public:
  explicit Arguments(std::string_view rest) : rest_(rest) {}

  // The next word; empty when there is none.
  std::string_view word() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
    const std::string_view result = rest_.substr(0, rest_.find(' '));
    rest_.remove_prefix(result.size());
    return result;
  }
  // The next word as a number from 0 (or `low`) up; `otherwise` when there is no word.
  std::optional<int> number(std::optional<int> otherwise = std::nullopt, int low = 0) {
    const std::string_view text = word();
    if (text.empty()) return otherwise;
    const auto value = whole_number(text);
    return value && *value >= low ? value : std::nullopt;
  }
  // Everything behind the one blank that ends the last word, as it is.
  [[nodiscard]] std::string text() const {
    return std::string(rest_.substr(rest_.empty() ? 0 : 1));
  }

 private:
  std::string_view rest_;
};

ControlAnswer usage_error() { return {{}, "wrong arguments; see help"}; }
ControlAnswer done_if(bool done, const char* error) { return {{}, done ? "" : error}; }

// MSGID, then for most faults a value, then how often.
ControlAnswer add_fault(Service& service, Fault fault, Arguments arguments,
                        std::optional<int> default_value, int low) {
  const std::string_view id = arguments.word();
  const auto msg_id = whole_number(id);
  if (!msg_id && id != "all") return usage_error();
  FaultRule rule{fault, msg_id, 0, {}, kAlways};
  if (fault == Fault::kAnswer) {
    rule.text = arguments.text();
    rule.times = 1;
    if (rule.text.empty()) return usage_error();
  } else {
    const auto value = fault == Fault::kMute ? 0 : arguments.number(default_value, low);
    const auto times = arguments.number(kAlways);
    if (!value || !times) return usage_error();
    rule.value = *value;
    rule.times = *times;
  }
  service.faults().add(std::move(rule));
  return {};
}

ControlAnswer rval(Service& service, Arguments arguments) {
  return add_fault(service, Fault::kRval, arguments, {}, INT_MIN);
}
ControlAnswer answer(Service& service, Arguments arguments) {
  return add_fault(service, Fault::kAnswer, arguments, {}, 0);
}
ControlAnswer delay(Service& service, Arguments arguments) {
  return add_fault(service, Fault::kDelay, arguments, {}, 0);
}
ControlAnswer split(Service& service, Arguments arguments) {
  return add_fault(service, Fault::kSplit, arguments, 100, 1);
}
ControlAnswer mute(Service& service, Arguments arguments) {
  return add_fault(service, Fault::kMute, arguments, {}, 0);
}
// TYPE, then the rval, then how often.
ControlAnswer refuse(Service& service, Arguments arguments) {
  const std::string_view type = arguments.word();
  const auto value = arguments.number(kRefused, INT_MIN);
  const auto times = arguments.number(kAlways);
  if (!Settings::known(type) || !value || !times) return usage_error();
  service.faults().add({Fault::kRefuse, kSetSetting, *value, {}, *times, std::string(type)});
  return {};
}
ControlAnswer clear(Service& service, Arguments /*arguments*/) {
  service.faults().clear();
  return {};
}

ControlAnswer raw(Service& service, Arguments arguments) {
  service.send(arguments.text());
  return done_if(service.server().connected(), "no client");
}

ControlAnswer hex(Service& service, Arguments arguments) {
  std::string bytes;
  int high = -1;
  for (const char c : arguments.text()) {
    if (c == ' ') continue;
    const std::string_view digits = "0123456789abcdef";
    const size_t digit = digits.find(static_cast<char>(c | 0x20));
    if (digit == std::string_view::npos) return usage_error();
    if (high < 0) {
      high = static_cast<int>(digit);
    } else {
      bytes += static_cast<char>(std::exchange(high, -1) * 16 + static_cast<int>(digit));
    }
  }
  if (high >= 0) return usage_error();
  service.send(bytes);
  return done_if(service.server().connected(), "no client");
}

ControlAnswer garbage(Service& service, Arguments arguments) {
  const auto count = arguments.number(256);
  if (!count || *count > (1 << 20)) return usage_error();
  Noise noise(0xBADF00D);
  std::string bytes;
  for (int i = 0; i < *count; i++) bytes += static_cast<char>(noise.next() >> 24);
  service.send(bytes);
  return done_if(service.server().connected(), "no client");
}

ControlAnswer notify(Service& service, Arguments arguments) {
  const auto id = arguments.number({}, INT_MIN);
  if (!id) return usage_error();
  service.notify(*id, arguments.text());
  return done_if(service.server().connected(), "no client");
}

ControlAnswer drop(Service& service, Arguments /*arguments*/) {
  const bool connected = service.server().connected();
  service.server().drop();
  return done_if(connected, "no client");
}

ControlAnswer restart(Service& service, Arguments arguments) {
  const auto ms = arguments.number();
  if (!ms) return usage_error();
  service.server().restart(static_cast<uint64_t>(*ms));
  return {};
}

ControlAnswer fill(Service& service, Arguments arguments) {
  const auto kb = arguments.number(0);
  if (!kb) return usage_error();
  return done_if(service.camera().fill_card(*kb), "the card cannot be filled");
}
ControlAnswer unfill(Service& service, Arguments /*arguments*/) {
  service.card().unfill();
  return {};
}
ControlAnswer take_out(Service& service, Arguments /*arguments*/) {
  return done_if(service.camera().take_card_out(), "there is no card to take out");
}
ControlAnswer insert(Service& service, Arguments /*arguments*/) {
  return done_if(service.camera().put_card_in(), "there is a card already");
}
ControlAnswer unformat(Service& service, Arguments /*arguments*/) {
  service.camera().unformat_card();
  return {};
}

ControlAnswer card(Service& service, Arguments arguments) {
  return service.camera().report_card(arguments.word()) ? ControlAnswer{} : usage_error();
}

// By hand, as somebody at the camera would. The client is not told.
ControlAnswer mode(Service& service, Arguments arguments) {
  const std::string_view wanted = arguments.word();
  if (wanted != "photo" && wanted != "video") return usage_error();
  return done_if(service.camera().turn_to_mode(wanted == "video"), "the camera is busy");
}

ControlAnswer end_sequence(Service& service, Arguments /*arguments*/) {
  return done_if(service.camera().end_sequence_by_hand(), "no time-lapse runs");
}

ControlAnswer photo_exif(Service& service, Arguments arguments) {
  static constexpr std::pair<std::string_view, ExifMode> kModes[] = {
      {"ok", ExifMode::kOk},     {"motorola", ExifMode::kMotorola}, {"gps", ExifMode::kGps},
      {"none", ExifMode::kNone}, {"broken", ExifMode::kBroken},     {"cut", ExifMode::kTruncated},
  };
  const std::string_view wanted = arguments.word();
  for (const auto& [name, mode] : kModes) {
    if (name != wanted) continue;
    service.camera().exif_mode = mode;
    return {};
  }
  return usage_error();
}

ControlAnswer photo_text(Service& service, Arguments arguments) {
  constexpr size_t kLongest = 2000;
  ExifFields& fields = service.camera().exif_fields;
  const std::pair<std::string_view, std::string*> table[] = {{"description", &fields.description},
                                                             {"make", &fields.make},
                                                             {"model", &fields.model},
                                                             {"artist", &fields.artist}};
  const std::string_view wanted = arguments.word();
  for (const auto& [name, field] : table) {
    if (name != wanted) continue;
    *field = arguments.text().substr(0, kLongest);
    return {};
  }
  return usage_error();
}

ControlAnswer slice(Service& service, Arguments arguments) {
  const auto ms = arguments.number();
  if (!ms) return usage_error();
  service.camera().slice_ms = static_cast<uint64_t>(*ms);
  return {};
}

ControlAnswer after(Service& service, Arguments arguments) {
  const auto ms = arguments.number();
  std::string line = arguments.text();
  if (!ms || line.empty()) return usage_error();
  service.loop().after_ms(static_cast<uint64_t>(*ms), [&service, line = std::move(line)] {
    const ControlAnswer result = run_control_line(service, line);
    say("control: {}: {}", line, result.error.empty() ? "ok" : result.error);
  });
  return {};
}

ControlAnswer log(Service& service, Arguments arguments) {
  if (arguments.word() == "clear") {
    service.clear_log();
    return {};
  }
  std::string lines;
  for (const Service::LogEntry& entry : service.log())
    lines += fmt::format("{} {}\n", entry.at_us, entry.text);
  return {lines, {}};
}

ControlAnswer state(Service& service, Arguments /*arguments*/) {
  return {service.state().dump(-1, ' ', false, Json::error_handler_t::replace) + "\n", {}};
}

ControlAnswer help(Service& service, Arguments arguments);

struct ControlCommand {
  std::string_view name;
  const char* arguments;
  const char* what;
  ControlAnswer (*run)(Service& service, Arguments arguments);
};

// MSGID is a command number or "all". A fault applies until "clear", or as many TIMES as given.
constexpr ControlCommand kCommands[] = {
    {"help", "", "this list", help},
    {"rval", "MSGID N [TIMES]", "do not carry out the command, answer with this rval", rval},
    {"answer", "MSGID TEXT", "do not carry out the next such command, answer with TEXT", answer},
    {"delay", "MSGID MS [TIMES]", "answer that much later", delay},
    {"split", "MSGID [MS] [TIMES]", "answer in two writes, MS apart (100)", split},
    {"mute", "MSGID [TIMES]", "carry out the command, do not answer", mute},
    {"refuse", "TYPE [N] [TIMES]", "do not set that setting, answer with rval N (-1)", refuse},
    {"clear", "", "forget all faults", clear},
    {"raw", "TEXT", "send the text to the client as it is", raw},
    {"hex", "BYTES", "send bytes given as hexadecimal digits", hex},
    {"garbage", "[COUNT]", "send that many random bytes, the same each time (256)", garbage},
    {"notify", "N [PARAM]", "send a notification", notify},
    {"drop", "", "close the client's connection", drop},
    {"restart", "MS", "close connection and port, come back that much later", restart},
    {"fill", "[KB]", "fill the card until KB are free (0), SD_NO_SPACE", fill},
    {"unfill", "", "give the space back", unfill},
    {"remove", "", "take the card out, SD_CARD_REMOVED", take_out},
    {"insert", "", "put it back with all that was on it, SD_CARD_INSERTED", insert},
    {"unformat", "", "the card has an unknown format until command 4", unformat},
    {"card", "checking|speed-ok|slow|error|exfat|fat32", "what the camera finds out about the card",
     card},
    {"mode", "photo|video", "turn the camera to that mode, the client is not told", mode},
    {"end-sequence", "", "end the time-lapse", end_sequence},
    {"photo-exif", "ok|motorola|gps|none|broken|cut", "the EXIF block of the next photos",
     photo_exif},
    {"photo-text", "description|make|model|artist TEXT",
     "a text of that block (empty artist: none)", photo_text},
    {"slice", "MS", "length of a slice of a time-lapse (10000)", slice},
    {"after", "MS COMMAND...", "carry out a control command that much later", after},
    {"log", "[clear]", "texts of the clients so far: monotonic microseconds, text", log},
    {"state", "", "everything that is set, as one JSON object", state},
};

ControlAnswer help(Service& /*service*/, Arguments /*arguments*/) {
  std::string lines;
  for (const ControlCommand& command : kCommands)
    lines += fmt::format("{:<46} {}\n", fmt::format("{} {}", command.name, command.arguments),
                         command.what);
  return {lines, {}};
}

}  // namespace

ControlAnswer run_control_line(Service& service, std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  Arguments arguments(line);
  const std::string_view name = arguments.word();
  if (name.empty() || name.front() == '#') return {};
  for (const ControlCommand& command : kCommands) {
    if (command.name == name) return command.run(service, arguments);
  }
  return {{}, fmt::format("there is no command \"{}\"; see help", name)};
}

}  // namespace camera_service
