// Stands at the far end of the peer link: while it lives, peer_udp_send sends to a loopback socket
// of its own.
#pragma once

#include <netinet/in.h>

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

// A loopback UDP socket on a port of its own choice; `address` gets where it listens.
base::Descriptor open_loopback(sockaddr_in* address);

}  // namespace link_test
