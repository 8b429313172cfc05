#include "support/peer_capture.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "flightlink/wire/link_context.h"

namespace link_test {

base::Descriptor open_loopback(sockaddr_in* address) {
  base::Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  *address = {};
  address->sin_family = AF_INET;
  address->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(*address);
  EXPECT_EQ(bind(fd.get(), reinterpret_cast<const sockaddr*>(address), size), 0);
  EXPECT_EQ(getsockname(fd.get(), reinterpret_cast<sockaddr*>(address), &size), 0);
  return fd;
}

PeerCapture::PeerCapture() : sender_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  flightlink::link_context_init();
  receiver_ = open_loopback(&flightlink::mavlink_context.peer_address);
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
