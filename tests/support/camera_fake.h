// A camera service for tests that judge texts byte by byte or need a service that misbehaves: it
// records what it is sent and says only what the test tells it to say.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "support/patience.h"

namespace support {

struct CameraText {
  std::string text;  // what one read gave: one command as long as the service keeps up
  int connection;    // the first connection is 1
  Time arrived;
};

// Listens on 127.0.0.1:7878 from construction on; one connection at a time. One owner thread.
class CameraFake {
 public:
  static constexpr const char* kSessionRequest = "{\"msg_id\":257,\"token\":0}";

  CameraFake();
  ~CameraFake();
  CameraFake(const CameraFake&) = delete;
  CameraFake& operator=(const CameraFake&) = delete;

  // From now on every text that holds `request` is answered with `reply`, which may be empty. A
  // later rule replaces an earlier one for the same request.
  void answer(const std::string& request, const std::string& reply);
  void forget_answers();
  // The rules that bring a session up: token 7, a card with 8 GiB total and 4 GiB free.
  void answer_session();

  // Sends in one write. Returns false when nobody is connected.
  bool send(std::string_view bytes);
  // Closes the connection.
  void drop();
  // Refuses connections until resume.
  void pause();
  void resume();
  // Reads nothing more, or goes on with what has come in the meantime.
  void stop_reading() { reads_ = false; }
  void read_on() { reads_ = true; }

  [[nodiscard]] int connections() const;
  [[nodiscard]] std::vector<CameraText> texts() const;
  [[nodiscard]] size_t mark() const;
  // Texts of the same connection sent back to back may arrive in one read, so a wait looks for a
  // part.
  std::optional<CameraText> wait_for(std::string_view part, milliseconds limit, size_t mark = 0);
  // How many texts from the mark on hold the part.
  [[nodiscard]] size_t count(std::string_view part, size_t mark = 0) const;

 private:
  void listen_now();
  void serve();
  void take_connection();
  void take_text();

  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable arrived_;
  base::Descriptor listener_;
  base::Descriptor connection_;
  int connections_ = 0;
  std::vector<CameraText> texts_;
  std::vector<std::pair<std::string, std::string>> answers_;
  std::atomic<bool> stop_ = false;
  std::atomic<bool> reads_ = true;
  std::thread server_;
};

}  // namespace support
