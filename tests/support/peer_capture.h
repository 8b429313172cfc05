// Stands at the far end of the peer link: while it lives, peer_udp_send sends to a loopback socket
// of its own.
#pragma once

#include <vector>

#include "base/descriptor.h"
#include "support/hex.h"

namespace link_test {

class PeerCapture {
 public:
  // Clears MavlinkContext and opens the peer road.
  PeerCapture();
  ~PeerCapture();
  PeerCapture(const PeerCapture&) = delete;
  PeerCapture& operator=(const PeerCapture&) = delete;

  // The next datagram; empty when there is none.
  Bytes next();
  // All datagrams that wait.
  std::vector<Bytes> all();

 private:
  base::Descriptor receiver_;
  base::Descriptor sender_;
};

}  // namespace link_test
