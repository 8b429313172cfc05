#include "camera_service/stream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace camera_service {
namespace {

constexpr size_t kOutputLimit = 8U << 20;
constexpr size_t kReadSize = 65536;

}  // namespace

Stream::Stream(Loop& loop, base::Descriptor fd, OnBytes on_bytes, OnClosed on_closed)
    : loop_(loop),
      fd_(std::move(fd)),
      on_bytes_(std::move(on_bytes)),
      on_closed_(std::move(on_closed)) {
  ::fcntl(fd_.get(), F_SETFL, O_NONBLOCK);
  loop_.watch(fd_.get(), POLLIN, [this](short revents) { ready(revents); });
}

Stream::~Stream() {
  loop_.cancel(pause_timer_);
  if (!failed_) loop_.unwatch(fd_.get());
}

void Stream::send(std::string_view bytes, uint32_t pause_ms) {
  if (failed_ || bytes.empty()) return;
  queued_ += bytes.size();
  if (queued_ > kOutputLimit) {
    fail();
    return;
  }
  output_.push_back({std::string(bytes), pause_ms});
  flush();
}

void Stream::ready(short revents) {
  const std::weak_ptr<int> alive = alive_;
  if ((revents & POLLOUT) != 0) flush();
  if ((revents & (POLLIN | POLLHUP | POLLERR)) != 0 && !alive.expired() && !failed_) read_input();
}

void Stream::read_input() {
  std::array<char, kReadSize> buffer;
  const ssize_t got = ::recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (got > 0) {
    on_bytes_({buffer.data(), static_cast<size_t>(got)});
  } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
    fail();
  }
}

void Stream::flush() {
  if (failed_ || pause_timer_ != 0) return;
  while (!output_.empty()) {
    Piece& piece = output_.front();
    if (piece.pause_ms > 0) {
      pause_timer_ = loop_.after_ms(std::exchange(piece.pause_ms, 0), [this] {
        pause_timer_ = 0;
        flush();
      });
      return;
    }
    const ssize_t put =
        ::send(fd_.get(), piece.bytes.data(), piece.bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (put < 0) {
      if (errno != EAGAIN && errno != EINTR) {
        fail();
        return;
      }
      break;
    }
    queued_ -= static_cast<size_t>(put);
    piece.bytes.erase(0, static_cast<size_t>(put));
    if (!piece.bytes.empty()) break;
    output_.pop_front();
  }
  loop_.change(fd_.get(), output_.empty() ? POLLIN : POLLIN | POLLOUT);
}

void Stream::fail() {
  if (std::exchange(failed_, true)) return;
  loop_.unwatch(fd_.get());
  loop_.post([this, alive = std::weak_ptr<int>(alive_)] {
    if (alive.expired()) return;
    const OnClosed closed = on_closed_;
    closed();
  });
}

}  // namespace camera_service
