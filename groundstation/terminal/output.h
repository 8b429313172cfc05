// How a command tells its result: plain sentences, or one JSON object per line.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

namespace groundstation {

enum class ExitCode : int {
  kDone = 0,
  kRefused = 1,       // the camera refused or failed, or a local file did
  kUsage = 2,         //
  kNoCamera = 3,      // no camera, or no answer in time
  kNotNow = 4,        // the camera's status says that it would refuse; nothing was sent
  kInterrupted = 130  // Ctrl-C before the command was through
};

// Main thread only.
class Output {
 public:
  explicit Output(bool json) : json_(json) {}

  [[nodiscard]] bool json() const { return json_; }
  void set_json(bool json) { json_ = json; }
  // Where lines go; standard output unless that carries video.
  [[nodiscard]] std::FILE* stream() const { return stream_; }
  void set_stream(std::FILE* stream) { stream_ = stream; }

  // The command that runs, for the objects of event().
  void set_command(std::string command) { command_ = std::move(command); }

  // A line on the way to the result; not in JSON.
  void note(std::string_view line) const;
  // A line that stands for itself in JSON too, such as a report that nobody waited for; there with
  // the command that runs and "ok":true.
  void event(std::string_view line, nlohmann::json object) const;

  // The end of a command: text lines, or `fields` with "command" and "ok":true.
  ExitCode done(std::string_view command, std::string_view text, nlohmann::json fields = {}) const;
  // The sentence goes to standard error, or as "error" with "ok":false and "exit_code" to the
  // stream.
  ExitCode fail(std::string_view command, ExitCode code, std::string_view sentence,
                nlohmann::json fields = {}) const;

 private:
  void line(std::string_view text) const;

  bool json_;
  std::string command_;
  std::FILE* stream_ = stdout;
};

// The object on one line. Bytes that are not UTF-8 are replaced.
[[nodiscard]] std::string json_line(const nlohmann::json& object);

}  // namespace groundstation
