// A TCP application on the peer's side of the board's network, 192.168.31.111, or on another
// station; port 8866 of the board.
#pragma once

#include <span>
#include <vector>

#include "base/descriptor.h"
#include "support/mavlink.h"
#include "support/patience.h"
#include "support/station.h"

namespace support {

// One connection. One owner thread.
class AppClient {
 public:
  enum class Until { kConnected, kServed, kServedIfPossible };
  // Connects; kServed: until the first bytes have come. The server opens its port anew at each
  // reset and turns away who waits there, so all try again within the limit. `receive_buffer` is
  // the size of the socket's buffer; 0 leaves it to the system. The test fails when the limit
  // passes, but for kServedIfPossible.
  explicit AppClient(Until until = Until::kServed, int receive_buffer = 0,
                     milliseconds limit = seconds(10), const Station& from = peer_station());

  // Whether there is a connection, as far as this side knows.
  [[nodiscard]] bool connected() const { return !ended_; }
  // A good frame; false when the connection has ended.
  bool send(const Frame& frame) { return send_bytes(encode(frame)); }
  bool send_bytes(std::span<const uint8_t> bytes);

  // Takes what arrives until the text is there as a whole (an empty one: any byte). Returns whether
  // it came in time; what was received before is kept and counts.
  bool wait_for_bytes(std::span<const uint8_t> wanted, milliseconds limit);
  // Forgets what has been received so far.
  void forget() { received_.clear(); }
  // Waits until the camera side ends the connection.
  bool wait_for_end(milliseconds limit);
  // Ends the connection; a reset instead of an orderly end.
  void hang_up(bool reset = false);

 private:
  // Takes what arrives within the limit. False at the end of the connection.
  bool receive(milliseconds limit);

  base::Descriptor socket_;
  std::vector<uint8_t> received_;
  bool ended_ = false;
};

}  // namespace support
