#include "groundstation/fake_endpoint.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstdlib>

#include "base/thread.h"
#include "support/loopback.h"

namespace groundstation_test {

using flightlink::MavlinkMessage;

FakeEndpoint::FakeEndpoint() : socket_(support::open_loopback(&port_)) {}

void FakeEndpoint::start(void* (*body)(void*), void* self) {
  if (base::start_thread(body, self, &thread_) != 0) std::abort();
}

void FakeEndpoint::stop() {
  stop_ = true;
  pthread_join(thread_, nullptr);
}

std::optional<std::vector<MavlinkMessage>> FakeEndpoint::receive(int wait_ms) {
  pollfd input{socket_.get(), POLLIN, 0};
  if (::poll(&input, 1, wait_ms) <= 0) return std::nullopt;
  uint8_t buffer[2048];
  socklen_t length = sizeof peer_;
  const ssize_t size = ::recvfrom(socket_.get(), buffer, sizeof buffer, 0,
                                  reinterpret_cast<sockaddr*>(&peer_), &length);
  has_peer_ = true;
  std::vector<MavlinkMessage> frames;
  flightlink::MavlinkParser parser{};
  MavlinkMessage message{};
  flightlink::MavlinkParseStatus status{};
  for (ssize_t i = 0; i < size; i++) {
    if (flightlink::mavlink_parser_feed(&parser, buffer[i], &message, &status) == 1) {
      frames.push_back(message);
    }
  }
  return frames;
}

void FakeEndpoint::send_to_peer(std::span<const uint8_t> bytes, uint16_t port) {
  sockaddr_in to = peer_;
  if (port != 0) to.sin_port = htons(port);
  ::sendto(socket_.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&to),
           sizeof to);
}

int FakeEndpoint::waiting() const {
  int bytes = 0;
  EXPECT_EQ(::ioctl(socket_.get(), FIONREAD, &bytes), 0);
  return bytes;
}

}  // namespace groundstation_test
