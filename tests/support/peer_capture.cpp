#include "support/peer_capture.h"

#include <sys/socket.h>

#include "flightlink/wire/link_context.h"
#include "support/loopback.h"

namespace link_test {

PeerCapture::PeerCapture() : sender_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  flightlink::link_context_init();
  receiver_ = support::open_loopback(&flightlink::mavlink_context.peer_address);
  flightlink::mavlink_context.peer_socket.store(sender_.get());
}

PeerCapture::~PeerCapture() { flightlink::mavlink_context.peer_socket.store(0); }

Bytes PeerCapture::next() {
  Bytes bytes(70000);
  const ssize_t size = recv(receiver_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
  return bytes;
}

std::vector<Bytes> PeerCapture::all() {
  std::vector<Bytes> datagrams;
  for (Bytes bytes = next(); !bytes.empty(); bytes = next()) datagrams.push_back(bytes);
  return datagrams;
}

}  // namespace link_test
