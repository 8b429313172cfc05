#include "groundstation/terminal/output.h"

#include <fmt/format.h>

#include <utility>

namespace groundstation {

std::string json_line(const nlohmann::json& object) {
  return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Output::line(std::string_view text) const {
  fmt::print(stream_, "{}\n", text);
  std::fflush(stream_);
}

void Output::note(std::string_view text) const {
  if (!json_) line(text);
}

void Output::event(std::string_view text, nlohmann::json object) const {
  if (!json_) return line(text);
  object.emplace("command", command_);
  object.emplace("ok", true);
  line(json_line(object));
}

ExitCode Output::done(std::string_view command, std::string_view text,
                      nlohmann::json fields) const {
  if (json_) {
    fields["command"] = command;
    fields["ok"] = true;
    line(json_line(fields));
  } else {
    line(text);
  }
  return ExitCode::kDone;
}

ExitCode Output::fail(std::string_view command, ExitCode code, std::string_view sentence,
                      nlohmann::json fields) const {
  if (json_) {
    fields["command"] = command;
    fields["ok"] = false;
    fields["error"] = sentence;
    fields["exit_code"] = static_cast<int>(code);
    line(json_line(fields));
  } else {
    std::fflush(stream_);
    fmt::print(stderr, "{}: {}\n", command, sentence);
  }
  return code;
}

}  // namespace groundstation
