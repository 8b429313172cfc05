// Stands at the far end of the peer link: while it lives, peer_udp_send sends to a loopback socket
// of its own.
#pragma once

#include "base/descriptor.h"
#include "support/hex.h"
#include "support/loopback_receiver.h"

namespace link_test {

class PeerCapture : public support::LoopbackReceiver {
 public:
  // Clears MavlinkContext and opens the peer road.
  PeerCapture();
  ~PeerCapture();

 private:
  base::Descriptor sender_;
};

}  // namespace link_test
