// The TCP side of the command protocol on 127.0.0.1: one client, replaced by the next one that
// connects. Loop thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "base/descriptor.h"
#include "camera_service/json_cutter.h"
#include "camera_service/listener.h"
#include "camera_service/loop.h"
#include "camera_service/stream.h"

namespace camera_service {

class JsonServer {
 public:
  struct Events {
    // A piece of the client's stream and when it was read (monotonic us).
    std::function<void(uint64_t at_us, const JsonCutter::Piece& piece)> piece;
    std::function<void()> connected;
    std::function<void()> gone;  // closed by either side, or replaced
  };

  // Port 0 takes a free port.
  JsonServer(Loop& loop, uint16_t port, Events events);
  ~JsonServer();
  JsonServer(const JsonServer&) = delete;
  JsonServer& operator=(const JsonServer&) = delete;

  // Starts listening. False, with errno set, when the port cannot be had.
  [[nodiscard]] bool open();
  // The port, once open() has succeeded.
  [[nodiscard]] uint16_t port() const { return port_; }
  [[nodiscard]] bool connected() const { return client_ != nullptr; }

  // To the client; without one the bytes are gone. The pause is that of Stream::send.
  void send(std::string_view bytes, uint32_t pause_ms = 0);
  // Closes the client's connection.
  void drop();
  // Closes the client and the listener and listens again after that long.
  void restart(uint64_t ms);

 private:
  void take_client(base::Descriptor fd);
  void reopen();
  void received(std::string_view bytes);

  Loop& loop_;
  uint16_t port_;
  Events events_;
  Listener listener_;
  std::unique_ptr<Stream> client_;
  JsonCutter cutter_;
  uint64_t last_input_us_ = 0;
  uint64_t reopen_timer_ = 0;
};

}  // namespace camera_service
