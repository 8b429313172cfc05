#include "peer_port.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/relaxed.h"
#include "support/loopback.h"
#include "support/station.h"

namespace bench {
namespace {

using base::kRelaxed;

base::Descriptor open_port(uint16_t port) {
  base::Descriptor socket = support::peer_station().open_socket(SOCK_DGRAM);
  const int buffer = 64 << 20;
  const int on = 1;
  const timeval patience{0, 100000};
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUFFORCE, &buffer, sizeof(buffer));
  setsockopt(socket.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof(on));
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  const sockaddr_in own = support::host_address("192.168.31.111", port);
  if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&own), sizeof(own)) == 0) return socket;
  std::printf("no port %u on the peer's side: %s\n", port, std::strerror(errno));
  std::exit(1);
}

// When the kernel got the datagram.
double stamp_of(msghdr& message) {
  for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
       part = CMSG_NXTHDR(&message, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_TIMESTAMPNS) continue;
    timespec stamp{};
    std::memcpy(&stamp, CMSG_DATA(part), sizeof(stamp));
    return static_cast<double>(stamp.tv_sec) + static_cast<double>(stamp.tv_nsec) / 1e9;
  }
  std::printf("the kernel does not stamp datagrams\n");
  std::exit(1);
}

}  // namespace

bool Arrival::holds(size_t offset, std::string_view text) const {
  return size >= offset + text.size() &&
         std::equal(text.begin(), text.end(), head.begin() + static_cast<ptrdiff_t>(offset));
}

PeerPort::PeerPort(uint16_t port) : socket_(open_port(port)), receiver_([this] { receive(); }) {}

PeerPort::~PeerPort() {
  stop_.store(true, kRelaxed);
  receiver_.join();
}

void PeerPort::send(std::span<const uint8_t> bytes, uint16_t port) {
  support::send_to(socket_, bytes, support::host_address("192.168.31.1", port));
}

void PeerPort::receive() {
  while (!stop_.load(kRelaxed)) {
    Arrival arrival{};
    std::array<char, CMSG_SPACE(sizeof(timespec))> control{};
    iovec bytes{arrival.head.data(), arrival.head.size()};
    msghdr message{};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    // The true length, also of what is cut to the head. An error is a pause without datagrams, or
    // an ICMP message: nobody listens on the other side at the moment.
    const ssize_t size = recvmsg(socket_.get(), &message, MSG_TRUNC);
    if (size < 0) continue;
    arrival.size = static_cast<size_t>(size);
    arrival.at_s = stamp_of(message);
    const std::lock_guard lock(mutex_);
    arrivals_.push_back(arrival);
  }
}

size_t PeerPort::count() const {
  const std::lock_guard lock(mutex_);
  return arrivals_.size();
}

std::vector<Arrival> PeerPort::since(size_t from) const {
  const std::lock_guard lock(mutex_);
  return {arrivals_.begin() + static_cast<ptrdiff_t>(from), arrivals_.end()};
}

bool PeerPort::wait_for(const std::function<bool(const Arrival&)>& wanted,
                        support::milliseconds limit, size_t from) {
  return support::poll_until(
      [&] {
        const std::lock_guard lock(mutex_);
        while (from < arrivals_.size()) {
          if (wanted(arrivals_[from++])) return true;
        }
        return false;
      },
      limit);
}

void PeerPort::wait_for_silence(support::milliseconds silence) {
  for (size_t seen = count() + 1; count() != seen;) {
    seen = count();
    support::let_pass(silence);
  }
}

}  // namespace bench
