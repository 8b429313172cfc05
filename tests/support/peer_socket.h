// A UDP socket on the peer's side of the board's network, 192.168.31.111.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "base/descriptor.h"
#include "support/patience.h"

namespace support {

using Bytes = std::vector<uint8_t>;

struct Datagram {
  Bytes bytes;
  Time arrived;
};

// Receives on a thread of its own from construction on, so that arrival times are true whatever the
// test does meanwhile. One owner thread.
class PeerSocket {
 public:
  // Binds 192.168.31.111:port inside the peer's network namespace, which the board names in
  // BOARD_PEER_NETNS. A failure is a failure of the test; the socket then receives nothing.
  explicit PeerSocket(uint16_t port);
  ~PeerSocket();

  // One datagram to the board, 192.168.31.1. Returns whether all of it left.
  bool send(std::span<const uint8_t> bytes, uint16_t port);

  // Everything that has arrived, oldest first.
  [[nodiscard]] std::vector<Datagram> received() const;
  [[nodiscard]] size_t count() const;
  // Waits for the first datagram from number `from` on that the test is looking for.
  std::optional<Datagram> wait_for(const std::function<bool(const Datagram&)>& wanted,
                                   milliseconds limit, size_t from = 0);

 private:
  void receive();

  base::Descriptor socket_;
  base::Descriptor stop_;
  mutable std::mutex mutex_;  // guards datagrams_
  std::condition_variable arrived_;
  std::vector<Datagram> datagrams_;
  std::thread receiver_;
};

}  // namespace support
