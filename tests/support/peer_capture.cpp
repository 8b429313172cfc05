#include "support/peer_capture.h"

#include "flightlink/wire/link_context.h"

namespace link_test {

PeerCapture::PeerCapture() : sender_(support::open_socket(SOCK_DGRAM)) {
  flightlink::link_context_init();
  flightlink::mavlink_context.peer_address = address();
  flightlink::mavlink_context.peer_socket.store(sender_.get());
}

PeerCapture::~PeerCapture() { flightlink::mavlink_context.peer_socket.store(0); }

}  // namespace link_test
