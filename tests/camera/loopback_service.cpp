#include "camera/loopback_service.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>

#include "support/loopback.h"

namespace camera_test {
namespace {

using Clock = std::chrono::steady_clock;

bool readable_within(int descriptor, milliseconds limit) {
  pollfd readable{descriptor, POLLIN, 0};
  return poll(&readable, 1, static_cast<int>(limit.count())) == 1;
}

milliseconds left_of(Clock::time_point end) {
  return std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(end - Clock::now()));
}

}  // namespace

void LoopbackService::listen(int receive_buffer) {
  listener_ = support::open_socket(SOCK_STREAM);
  const int on = 1;
  setsockopt(listener_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  if (receive_buffer != 0) {
    setsockopt(listener_.get(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof(receive_buffer));
  }
  support::bind_to(listener_, support::loopback_address(7878));
  ASSERT_EQ(::listen(listener_.get(), 4), 0);
}

bool LoopbackService::accept_within(milliseconds limit) {
  if (!readable_within(listener_.get(), limit)) return false;
  connection_.reset(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  heard_.clear();
  return connection_.open();
}

std::string LoopbackService::read_within(milliseconds limit) {
  std::array<char, 65536> text{};
  if (!readable_within(connection_.get(), limit)) return {};
  const ssize_t size = recv(connection_.get(), text.data(), text.size(), MSG_DONTWAIT);
  return size < 1 ? std::string() : std::string(text.data(), static_cast<size_t>(size));
}

bool LoopbackService::wait_for(std::string_view part, milliseconds limit) {
  const auto end = Clock::now() + limit;
  for (;;) {
    const size_t at = heard_.find(part);
    if (at != std::string::npos) {
      heard_.erase(0, at + part.size());
      return true;
    }
    const std::string more = read_within(left_of(end));
    if (more.empty()) return false;
    heard_ += more;
  }
}

bool LoopbackService::ends_within(milliseconds limit) {
  const auto end = Clock::now() + limit;
  while (readable_within(connection_.get(), left_of(end))) {
    if (read_within(milliseconds(0)).empty()) return true;
  }
  return false;
}

void LoopbackService::say(std::string_view bytes) const {
  EXPECT_EQ(send(connection_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(bytes.size()));
}

void LoopbackService::reset_connection() {
  const linger at_once{1, 0};
  setsockopt(connection_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
  connection_.reset();
}

}  // namespace camera_test
