#include "groundstation/media/receiver.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/clock.h"
#include "base/thread.h"
#include "groundstation/link/endpoint.h"

namespace groundstation {
namespace {

constexpr int kMediaSocketBuffer = 32 << 20;
constexpr uint64_t kRingFullUs = 500;
// Above everything with default scheduling: the socket's buffer may be small.
constexpr int kMediaReceiverPriority = 1;

void ring_bell(int fd) {
  const uint64_t one = 1;
  // An eventfd takes 8 bytes or is full; full is readable, which is all that is wanted.
  if (::write(fd, &one, sizeof one) != sizeof one) return;
}

}  // namespace

std::string MediaReceiver::open(const in_addr& local, const sockaddr_in& camera) {
  socket_.reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  wake_.reset(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  stop_.reset(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_addr = local;
  if (!socket_.open() || !wake_.open() || !stop_.open() ||
      ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
      ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&camera), sizeof camera) != 0) {
    return fmt::format("no socket towards {}: {}", endpoint_text(camera), std::strerror(errno));
  }
  // With the right to do so the limit of the system does not apply.
  if (::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kMediaSocketBuffer,
                   sizeof kMediaSocketBuffer) != 0) {
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &kMediaSocketBuffer,
                 sizeof kMediaSocketBuffer);
  }
  slots_.reset(new uint8_t[kSlots * kSlotSize]);  // not touched before it is used
  const int error = base::start_worker(run, this, kMediaReceiverPriority, &thread_);
  if (error != 0) return fmt::format("no thread for the media channel: {}", std::strerror(error));
  running_ = true;
  return "";
}

MediaReceiver::~MediaReceiver() {
  if (!running_) return;
  stopping_.store(true);
  ring_bell(stop_.get());
  pthread_join(thread_, nullptr);
}

uint16_t MediaReceiver::port() const {
  sockaddr_in own{};
  socklen_t length = sizeof own;
  ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&own), &length);
  return ntohs(own.sin_port);
}

void MediaReceiver::send(std::span<const uint8_t> bytes) {
  // While the camera opens its socket anew an earlier refusal may be reported here, once; the
  // second attempt then sends.
  for (int attempt = 0; attempt < 2; attempt++) {
    if (::send(socket_.get(), bytes.data(), bytes.size(), 0) >= 0) return;
  }
}

std::span<const uint8_t> MediaReceiver::front() const {
  const size_t head = head_.load(std::memory_order_relaxed);
  if (head == tail_.load(std::memory_order_acquire)) return {};
  return {slot(head), sizes_[head % kSlots]};
}

void MediaReceiver::pop() { head_.fetch_add(1, std::memory_order_release); }

bool MediaReceiver::prepare_wait() {
  uint64_t count = 0;
  if (::read(wake_.get(), &count, sizeof count) != sizeof count) count = 0;
  sleeping_.store(true);
  return head_.load() == tail_.load();
}

// SCHED_RR 1 where that is allowed. Owns the receive side of the socket and the free slots of the
// ring, which it hands over by tail_. Ends when the destructor says so, which joins it.
void* MediaReceiver::run(void* self) {
  auto* receiver = static_cast<MediaReceiver*>(self);
  while (!receiver->stopping_.load()) {
    if (!receiver->receive()) receiver->wait_for_input();
  }
  return nullptr;
}

void MediaReceiver::wait_for_input() const {
  pollfd inputs[] = {{socket_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
  ::poll(inputs, 2, -1);
}

// False when nothing waits in the socket.
bool MediaReceiver::receive() {
  const size_t tail = tail_.load(std::memory_order_relaxed);
  const size_t room = kSlots - (tail - head_.load(std::memory_order_acquire));
  if (room == 0) {
    base::sleep_us(kRingFullUs);
    return true;
  }
  mmsghdr headers[kBatch];
  iovec parts[kBatch];
  const size_t wanted = std::min(room, kBatch);
  for (size_t i = 0; i < wanted; i++) {
    parts[i] = {slot(tail + i), kSlotSize};
    headers[i] = {};
    headers[i].msg_hdr.msg_iov = &parts[i];
    headers[i].msg_hdr.msg_iovlen = 1;
  }
  const int received =
      ::recvmmsg(socket_.get(), headers, static_cast<unsigned>(wanted), MSG_DONTWAIT, nullptr);
  // A refused request is reported here once; then the socket goes on.
  if (received <= 0) return errno == ECONNREFUSED || errno == EINTR;
  for (size_t i = 0; i < static_cast<size_t>(received); i++) {
    sizes_[(tail + i) % kSlots] = static_cast<uint16_t>(headers[i].msg_len);
  }
  tail_.store(tail + static_cast<size_t>(received));
  if (sleeping_.exchange(false)) ring_bell(wake_.get());
  return true;
}

}  // namespace groundstation
