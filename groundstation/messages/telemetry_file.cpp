#include "groundstation/messages/telemetry_file.h"

#include <fmt/format.h>

#include <string_view>

#include "groundstation/messages/whole_number.h"

namespace groundstation {
namespace {

constexpr size_t kFullFields = 16;

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

std::vector<std::string_view> fields_of(std::string_view line) {
  std::vector<std::string_view> fields;
  while (true) {
    const size_t comma = line.find(',');
    fields.push_back(trimmed(line.substr(0, comma)));
    if (comma == std::string_view::npos) return fields;
    line.remove_prefix(comma + 1);
  }
}

template <typename Number>
bool number_field(std::string_view text, Number* number) {
  const auto given = whole_number<Number>(text);
  if (given.has_value()) *number = *given;
  return given.has_value();
}

// The last field, whose range depends on the message.
bool value_field(std::string_view text, Telemetry* message) {
  if (message->msgid == 105) {
    uint16_t value = 0;
    if (!number_field(text, &value)) return false;
    message->value = value;
    return true;
  }
  int32_t value = 0;
  if (!number_field(text, &value)) return false;
  message->value = static_cast<uint32_t>(value);
  return true;
}

// Empty, or what is wrong with the line.
std::string read_message(std::string_view line, Telemetry* message) {
  const std::vector<std::string_view> fields = fields_of(line);
  const bool known = number_field(fields[0], &message->msgid) &&
                     (message->msgid == 90 || message->msgid == 105 || message->msgid == 107);
  if (!known) return fmt::format("it begins with \"{}\", not with 90, 105 or 107", fields[0]);
  if (message->msgid == 90 && fields.size() == 1) return "";
  const size_t wanted = message->msgid == 90 ? 2 : kFullFields;
  if (fields.size() != wanted) return fmt::format("{} fields, not {}", fields.size(), wanted);
  if (!number_field(fields[1], &message->time)) {
    return fmt::format("\"{}\" is no time", fields[1]);
  }
  if (message->msgid == 90) return "";
  for (size_t i = 0; i < message->values.size(); i++) {
    if (!number_field(fields[i + 2], &message->values[i])) {
      return fmt::format("\"{}\" is no number", fields[i + 2]);
    }
  }
  return value_field(fields.back(), message)
             ? ""
             : fmt::format("\"{}\" is out of range for message {}", fields.back(), message->msgid);
}

}  // namespace

TelemetryFile read_telemetry(std::istream& input) {
  TelemetryFile file;
  std::string line;
  for (size_t number = 1; std::getline(input, line); number++) {
    const std::string_view text = trimmed(line);
    if (text.empty() || text.front() == '#') continue;
    Telemetry message{};
    if (const std::string error = read_message(text, &message); !error.empty()) {
      file.error = fmt::format("line {}: {}", number, error);
      return file;
    }
    file.messages.push_back(message);
  }
  if (input.bad()) file.error = "it cannot be read";
  return file;
}

}  // namespace groundstation
