// The camera's end of a road on 127.0.0.1: a socket, who spoke to it last, and the thread that
// serves both.
#pragma once

#include <netinet/in.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/descriptor.h"
#include "flightlink/frame/mavlink_frame.h"

namespace groundstation_test {

class FakeEndpoint {
 public:
  [[nodiscard]] uint16_t port() const { return port_; }

 protected:
  FakeEndpoint();

  // Starts the thread, with default scheduling, and joins it: who derives stops it before anything
  // of its own is gone. The body ends when `stopping` says so.
  void start(void* (*body)(void*), void* self);
  void stop();
  [[nodiscard]] bool stopping() const { return stop_; }

  // The rest is the thread's. The good frames of one datagram, whose sender is the peer from then
  // on; nothing when none comes within that time.
  std::optional<std::vector<flightlink::MavlinkMessage>> receive(int wait_ms);
  [[nodiscard]] bool has_peer() const { return has_peer_; }
  // One datagram to the peer, at that port of its if it is not 0. What cannot be sent is lost.
  void send_to_peer(std::span<const uint8_t> bytes, uint16_t port = 0);

  // Bytes that wait in the socket. Any thread.
  [[nodiscard]] int waiting() const;

 private:
  uint16_t port_ = 0;  // before socket_, whose making sets it
  base::Descriptor socket_;
  sockaddr_in peer_{};
  bool has_peer_ = false;
  std::atomic<bool> stop_ = false;
  pthread_t thread_{};
};

}  // namespace groundstation_test
