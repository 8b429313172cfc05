// The running program for a test: on a free port, with a card and a control socket of its own.
#pragma once

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "camera_service/folder_text.h"

namespace camera_service_test {

using nlohmann::json;

// Output of a shell command, and its exit status.
struct CommandResult {
  int status;
  std::string output;
};
CommandResult run_command(const std::string& command);

class ServiceProgram {
 public:
  // Waits until the program answers on its control socket; throws std::runtime_error when it does
  // not. `wrapper` goes before the program's name in a shell command; "CARD" in it stands for the
  // card.
  explicit ServiceProgram(const std::string& options = {}, const std::string& wrapper = {});
  // Ends the program if terminate() has not; the test fails, with the program's output, unless it
  // ends with status 0. So a complaint of a sanitizer fails the test as well.
  ~ServiceProgram();
  ServiceProgram(const ServiceProgram&) = delete;
  ServiceProgram& operator=(const ServiceProgram&) = delete;

  // Answer of a control command: status 0 and its lines, 1 and the error, 2 when nobody answers.
  [[nodiscard]] CommandResult ctl(const std::string& line) const;
  [[nodiscard]] json state() const;
  [[nodiscard]] bool alive() const;
  // SIGTERM; returns the exit status.
  int terminate();

  [[nodiscard]] std::string card() const { return folder_.path("SD0"); }
  [[nodiscard]] std::string control() const { return folder_.path("ctl"); }
  [[nodiscard]] const std::string& folder() const { return folder_.folder(); }
  [[nodiscard]] uint16_t port() const { return port_; }
  [[nodiscard]] pid_t pid() const { return pid_; }

 private:
  TemporaryFolder folder_;
  pid_t pid_ = -1;
  uint16_t port_ = 0;
};

// A client of the command protocol.
class JsonClient {
 public:
  explicit JsonClient(const ServiceProgram& program);

  void send(const std::string& text) const;
  // The bytes of one read; empty when the connection was closed or nothing came in time.
  [[nodiscard]] std::string read_some(int timeout_ms = 5000) const;
  // The next object; null when none came in time.
  [[nodiscard]] json receive(int timeout_ms = 5000);
  // Sends {"msg_id":N,"token":T} with the members added, and returns the next object.
  json command(int msg_id, const json& members = json::object());
  // Begins a session; later commands carry its token.
  void begin_session();
  // In video mode: stops the preview, sets the resolution and starts the preview again.
  void set_resolution(const std::string& resolution);
  [[nodiscard]] int token() const { return token_; }

 private:
  base::Descriptor fd_;
  std::string pending_;
  int token_ = 0;
};

}  // namespace camera_service_test
