#include "support/peer_socket.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "support/loopback.h"
#include "support/station.h"

namespace support {
namespace {

int open_in_peer_namespace(uint16_t port) {
  base::Descriptor socket = peer_station().open_socket(SOCK_DGRAM);
  if (!socket.open()) return -1;
  const int buffer = 8 << 20;
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof(buffer));
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUFFORCE, &buffer, sizeof(buffer));
  const sockaddr_in own = host_address("192.168.31.111", port);
  if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&own), sizeof(own)) != 0) return -1;
  return socket.release();
}

}  // namespace

PeerSocket::PeerSocket(uint16_t port) : stop_(eventfd(0, EFD_CLOEXEC)) {
  socket_.reset(open_in_peer_namespace(port));
  if (!socket_.open()) {
    ADD_FAILURE() << "no socket on the peer's side (is this running in a board?): "
                  << std::strerror(errno);
    return;
  }
  receiver_ = std::thread([this] { receive(); });
}

PeerSocket::~PeerSocket() {
  const uint64_t one = 1;
  if (receiver_.joinable() && write(stop_.get(), &one, sizeof(one)) == sizeof(one)) {
    receiver_.join();
  }
}

bool PeerSocket::send(std::span<const uint8_t> bytes, uint16_t port) {
  const sockaddr_in board = host_address("192.168.31.1", port);
  return sendto(socket_.get(), bytes.data(), bytes.size(), 0,
                reinterpret_cast<const sockaddr*>(&board),
                sizeof(board)) == static_cast<ssize_t>(bytes.size());
}

void PeerSocket::receive() {
  Bytes buffer(65536);
  while (true) {
    std::array<pollfd, 2> inputs{pollfd{socket_.get(), POLLIN, 0}, pollfd{stop_.get(), POLLIN, 0}};
    poll(inputs.data(), inputs.size(), -1);
    if (inputs[1].revents != 0) return;
    // An error here is an ICMP message: nobody listens on the other side at the moment.
    const ssize_t got = recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (got < 0) continue;
    const std::lock_guard lock(mutex_);
    datagrams_.push_back({Bytes(buffer.begin(), buffer.begin() + got), Clock::now()});
    arrived_.notify_all();
  }
}

std::vector<Datagram> PeerSocket::received() const {
  const std::lock_guard lock(mutex_);
  return datagrams_;
}

size_t PeerSocket::count() const {
  const std::lock_guard lock(mutex_);
  return datagrams_.size();
}

std::optional<Datagram> PeerSocket::wait_for(const std::function<bool(const Datagram&)>& wanted,
                                             milliseconds limit, size_t from) {
  return wait_for_item<Datagram>(mutex_, arrived_, datagrams_, wanted, limit, from);
}

}  // namespace support
