#include "groundstation/live/receiver.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/clock.h"
#include "base/thread.h"
#include "groundstation/link/endpoint.h"

namespace groundstation {
namespace {

// Three seconds of the fastest stream.
constexpr int kSocketBuffer = 8 << 20;
constexpr size_t kMaxQueued = size_t{64} << 20;

void signal_fd(int fd) {
  const uint64_t one = 1;
  // An eventfd takes 8 bytes or is full; full is readable, which is all that is wanted.
  if (::write(fd, &one, sizeof one) != sizeof one) return;
}

void set_options(int fd) {
  const int size = kSocketBuffer;
  // With the right to do so the limit of the system does not apply.
  if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0) {
    ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
  }
  const int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
}

}  // namespace

std::string LiveReceiver::open(const sockaddr_in& local, const in_addr& camera) {
  camera_ = camera;
  socket_.reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  wake_.reset(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  stop_.reset(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!socket_.open() || !wake_.open() || !stop_.open()) {
    return fmt::format("no socket for the live video: {}", std::strerror(errno));
  }
  set_options(socket_.get());
  if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
    const int error = errno;
    return fmt::format(
        "cannot bind {} for the live video: {}{}", endpoint_text(local), std::strerror(error),
        error == EADDRINUSE ? " (another program here receives it: end that one)" : "");
  }
  if (const int error = base::start_thread(run, this, &thread_); error != 0) {
    return fmt::format("no thread for the live video: {}", std::strerror(error));
  }
  running_ = true;
  return "";
}

LiveReceiver::~LiveReceiver() {
  if (!running_) return;
  signal_fd(stop_.get());
  pthread_join(thread_, nullptr);
}

std::vector<LiveDatagram> LiveReceiver::take() {
  uint64_t count = 0;
  if (::read(wake_.get(), &count, sizeof count) != sizeof count) count = 0;
  const std::lock_guard lock(mutex_);
  queued_bytes_ = 0;
  return std::exchange(queue_, {});
}

uint64_t LiveReceiver::dropped() const {
  return socket_dropped_.load(std::memory_order_relaxed) +
         queue_dropped_.load(std::memory_order_relaxed);
}

// Default scheduling. Owns the receive side of the socket and buffer_; shares the queue under
// mutex_. Ends when stop_ is readable; the destructor joins it.
void* LiveReceiver::run(void* self) {
  auto* receiver = static_cast<LiveReceiver*>(self);
  while (true) {
    pollfd inputs[] = {{receiver->socket_.get(), POLLIN, 0}, {receiver->stop_.get(), POLLIN, 0}};
    if (::poll(inputs, 2, -1) < 0) continue;
    if (inputs[1].revents != 0) return nullptr;
    if (inputs[0].revents != 0) receiver->receive();
  }
}

void LiveReceiver::receive() {
  sockaddr_in from{};
  iovec part{buffer_.data(), buffer_.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(uint32_t))];
  msghdr header{};
  header.msg_name = &from;
  header.msg_namelen = sizeof from;
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = control;
  header.msg_controllen = sizeof control;
  const ssize_t size = ::recvmsg(socket_.get(), &header, 0);
  if (size <= 0 || from.sin_addr.s_addr != camera_.s_addr) return;
  for (cmsghdr* c = CMSG_FIRSTHDR(&header); c != nullptr; c = CMSG_NXTHDR(&header, c)) {
    if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SO_RXQ_OVFL) continue;
    uint32_t lost = 0;
    std::memcpy(&lost, CMSG_DATA(c), sizeof lost);
    socket_dropped_.store(lost, std::memory_order_relaxed);
  }
  push(from, static_cast<size_t>(size));
}

void LiveReceiver::push(const sockaddr_in& from, size_t size) {
  LiveDatagram datagram{base::monotonic_us(), from, {buffer_.data(), buffer_.data() + size}};
  {
    const std::lock_guard lock(mutex_);
    if (queued_bytes_ + size > kMaxQueued) {
      queue_dropped_.fetch_add(1, std::memory_order_relaxed);
      return;
    }
    queued_bytes_ += size;
    queue_.push_back(std::move(datagram));
  }
  signal_fd(wake_.get());
}

}  // namespace groundstation
