// The control socket: a Unix datagram socket that takes the lines of a script while the library
// runs.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

#include "base/descriptor.h"

namespace ambanetfifo {

class Control {
 public:
  // Binds `path`, replacing a socket that was left there; closes what was open. Null leaves it
  // closed. A failure is a line on standard error.
  void open(const char* path);
  [[nodiscard]] int descriptor() const { return socket_.get(); }

  // One datagram and where an answer goes.
  struct Message {
    std::string text;
    sockaddr_un from = {};
    socklen_t from_size = 0;
  };
  // False when nothing waits. Never blocks.
  [[nodiscard]] bool receive(Message& message);
  // Sends `text` back, if the sender has an address. Never blocks; an answer that fails is lost.
  void answer(const Message& message, const std::string& text) const;

 private:
  base::Descriptor socket_;
};

// Removes the bound path. Async-signal-safe.
void remove_control_path();

}  // namespace ambanetfifo
