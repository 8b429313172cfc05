#include "ambanetfifo/control.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

namespace ambanetfifo {
namespace {

// Written by open, before any exit handler can need it.
char bound_path[sizeof(sockaddr_un::sun_path)];

}  // namespace

void Control::open(const char* path) {
  socket_.reset();
  bound_path[0] = '\0';
  if (path == nullptr) return;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const size_t length = std::strlen(path);
  if (length == 0 || length >= sizeof address.sun_path) {
    std::fprintf(stderr, "ambanetfifo: control path \"%s\" is empty or too long\n", path);
    return;
  }
  std::memcpy(address.sun_path, path, length);
  struct stat there = {};
  if (lstat(path, &there) == 0 && S_ISSOCK(there.st_mode)) unlink(path);
  base::Descriptor made(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!made.open() ||
      bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    std::fprintf(stderr, "ambanetfifo: control path \"%s\": %s\n", path, std::strerror(errno));
    return;
  }
  socket_ = std::move(made);
  std::memcpy(bound_path, address.sun_path, sizeof bound_path);
}

bool Control::receive(Message& message) {
  if (!socket_.open()) return false;
  char text[4096];
  message.from_size = sizeof message.from;
  const ssize_t size = recvfrom(socket_.get(), text, sizeof text, 0,
                                reinterpret_cast<sockaddr*>(&message.from), &message.from_size);
  if (size < 0) return false;
  message.text.assign(text, static_cast<size_t>(size));
  return true;
}

void Control::answer(const Message& message, const std::string& text) const {
  if (message.from_size <= offsetof(sockaddr_un, sun_path)) return;
  sendto(socket_.get(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&message.from), message.from_size);
}

void remove_control_path() {
  if (bound_path[0] != '\0') unlink(bound_path);
}

}  // namespace ambanetfifo
