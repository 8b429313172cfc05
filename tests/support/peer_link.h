// The peer of the MAVLink link: UDP port 8888 on 192.168.31.111.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "support/mavlink.h"
#include "support/peer_socket.h"

namespace support {

// Keeps the link up with one heartbeat every 500 ms while `keep_alive` is on. One owner thread.
class PeerLink {
 public:
  PeerLink();
  ~PeerLink();

  // Starts (or changes) the heartbeats; the first one leaves at once. In system_status the low
  // nibble asks for live video when it is 2, the high one is the peer nibble.
  void keep_alive(uint8_t system_status = 0);
  void fall_silent();

  void send(Frame frame);
  void send_bytes(std::span<const uint8_t> bytes) { socket_.send(bytes, 8888); }

  // How many datagrams have arrived; the mark from which a wait looks.
  [[nodiscard]] size_t mark() const { return socket_.count(); }
  // Every frame from the mark on. A datagram that is not one good frame fails the test.
  [[nodiscard]] std::vector<Frame> frames(size_t mark = 0) const;
  std::optional<Frame> wait_for(const std::function<bool(const Frame&)>& wanted, milliseconds limit,
                                size_t mark);
  // The next frame of that message id.
  std::optional<Frame> wait_for_id(uint8_t id, milliseconds limit, size_t mark);
  // COMMAND_ACK: the next one for that command.
  std::optional<Frame> wait_for_ack(uint16_t command, milliseconds limit, size_t mark);
  // The status record that the camera side sends every 300 ms (message 76, system id 36, command
  // 2).
  std::optional<Frame> wait_for_status(const std::function<bool(const Frame&)>& wanted,
                                       milliseconds limit, size_t mark);
  // Camera report (message 76, system id 35, command 100) with that code.
  std::optional<Frame> wait_for_report(float code, milliseconds limit, size_t mark);

  PeerSocket& socket() { return socket_; }

 private:
  PeerSocket socket_;
  uint8_t sequence_ = 0;
  std::atomic<int> heartbeat_status_ = -1;  // -1: silent
  std::atomic<bool> stop_ = false;
  std::thread heartbeats_;
};

}  // namespace support
