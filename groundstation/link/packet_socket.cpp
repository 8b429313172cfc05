#include "groundstation/link/packet_socket.h"

#include <linux/sockios.h>
#include <net/if_arp.h>
#include <netinet/if_ether.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstring>

#include "base/clock.h"

namespace groundstation {
namespace {

constexpr int kPacketBuffer = 32 << 20;
constexpr size_t kShortestHeader = 20;

// When the last packet passed the system, however late it is read. The first call makes the system
// note that.
uint64_t passed_us(int socket) {
  timeval at{};
  if (::ioctl(socket, SIOCGSTAMP, &at) != 0) return base::wall_clock_us();
  return static_cast<uint64_t>(at.tv_sec) * 1'000'000 + static_cast<uint64_t>(at.tv_usec);
}

}  // namespace

bool PacketSocket::open(const in_addr& address) {
  address_ = address;
  // The kind of socket that also sees what leaves this machine sees every protocol.
  socket_.reset(::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, htons(ETH_P_ALL)));
  if (!socket_.open()) return false;
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kPacketBuffer, sizeof kPacketBuffer);
  passed_us(socket_.get());
  return true;
}

PacketSocket::Packet PacketSocket::next() {
  while (true) {
    sockaddr_ll from{};
    socklen_t length = sizeof from;
    const ssize_t size = ::recvfrom(socket_.get(), buffer_.data(), buffer_.size(), 0,
                                    reinterpret_cast<sockaddr*>(&from), &length);
    if (size < 0) return {};
    if (from.sll_protocol != htons(ETH_P_IP) || static_cast<size_t>(size) < kShortestHeader)
      continue;
    // On the loopback every packet comes twice.
    if (from.sll_hatype == ARPHRD_LOOPBACK && from.sll_pkttype == PACKET_OUTGOING) continue;
    const bool from_address = std::memcmp(buffer_.data() + 12, &address_, 4) == 0;
    const bool to_address = std::memcmp(buffer_.data() + 16, &address_, 4) == 0;
    if (from_address || to_address) {
      return {passed_us(socket_.get()), std::span(buffer_).first(static_cast<size_t>(size)),
              from_address};
    }
  }
}

}  // namespace groundstation
