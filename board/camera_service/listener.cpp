#include "camera_service/listener.h"

#include <poll.h>
#include <sys/socket.h>

#include <utility>

namespace camera_service {

bool Listener::open(base::Descriptor bound, int backlog, Accepted accepted) {
  if (::listen(bound.get(), backlog) != 0) return false;
  socket_ = std::move(bound);
  loop_.watch(socket_.get(), POLLIN, [this, accepted = std::move(accepted)](short) {
    base::Descriptor client(
        ::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (client.open()) accepted(std::move(client));
  });
  return true;
}

void Listener::close() {
  if (!socket_.open()) return;
  loop_.unwatch(socket_.get());
  socket_.reset();
}

}  // namespace camera_service
