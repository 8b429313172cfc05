// A listening socket in the loop. Loop thread only.
#pragma once

#include <functional>

#include "base/descriptor.h"
#include "camera_service/loop.h"

namespace camera_service {

class Listener {
 public:
  using Accepted = std::function<void(base::Descriptor client)>;

  explicit Listener(Loop& loop) : loop_(loop) {}
  ~Listener() { close(); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // Listens on a socket that is bound and hands over every client; their descriptors are
  // non-blocking and closed on exec. False, with errno set.
  [[nodiscard]] bool open(base::Descriptor bound, int backlog, Accepted accepted);
  [[nodiscard]] bool is_open() const { return socket_.open(); }
  void close();

 private:
  Loop& loop_;
  base::Descriptor socket_;
};

}  // namespace camera_service
