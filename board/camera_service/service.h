// The service as a whole: the server, the camera behind it, and between them the fault rules and
// the log of what the client sent. Loop thread only.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "camera_service/camera.h"
#include "camera_service/card.h"
#include "camera_service/faults.h"
#include "camera_service/json_server.h"
#include "camera_service/loop.h"

namespace camera_service {

class Service {
 public:
  // Throws std::invalid_argument for a card folder that Card does not take.
  Service(Loop& loop, uint16_t port, const std::string& card_root);

  // Prepares the card and starts listening. False, with the reason said, when one cannot be done.
  [[nodiscard]] bool open();

  // To the client, as it is.
  void send(std::string_view bytes);
  // {"notify_id":N,"param":"..."}; an empty param is left out.
  void notify(int notify_id, const std::string& param);

  struct LogEntry {
    uint64_t at_us;    // monotonic, when the read that completed the text returned
    std::string text;  // printable; other bytes as \xNN
  };
  // The texts of the clients so far, oldest first; the last 20000.
  [[nodiscard]] const std::deque<LogEntry>& log() const { return log_; }
  void clear_log() { log_.clear(); }

  // The state of all parts as one object.
  [[nodiscard]] Json state() const;

  Loop& loop() { return loop_; }
  Card& card() { return card_; }
  Camera& camera() { return camera_; }
  JsonServer& server() { return server_; }
  Faults& faults() { return faults_; }

 private:
  void received(uint64_t at_us, const JsonCutter::Piece& piece);
  void reply(int msg_id, int rval, const Json& more);
  // Sends an answer as the fault rules for its command say.
  void answer(int msg_id, const std::string& text);
  void deliver(int msg_id, const std::string& text);

  Loop& loop_;
  Card card_;
  Faults faults_;
  std::deque<LogEntry> log_;
  int connections_ = 0;
  JsonServer server_;
  Camera camera_;
};

}  // namespace camera_service
