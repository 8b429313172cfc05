#include "groundstation/link/trace.h"

#include <sys/socket.h>

#include "base/clock.h"
#include "base/descriptor.h"

namespace groundstation {

std::string Trace::open(const std::string& path, bool replace) {
  epoch_us_ = base::wall_clock_us() - base::monotonic_us();
  return file_.open(path, replace);
}

void Trace::add(uint64_t at_us, const sockaddr_in& from, const sockaddr_in& to,
                std::span<const uint8_t> bytes) {
  file_.datagram(epoch_us_ + at_us, from, to, bytes);
}

sockaddr_in address_towards(const sockaddr_in& camera, const sockaddr_in& local) {
  sockaddr_in own = local;
  if (own.sin_addr.s_addr != htonl(INADDR_ANY)) return own;
  const base::Descriptor probe(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in found{};
  socklen_t length = sizeof found;
  if (::connect(probe.get(), reinterpret_cast<const sockaddr*>(&camera), sizeof camera) == 0 &&
      ::getsockname(probe.get(), reinterpret_cast<sockaddr*>(&found), &length) == 0) {
    own.sin_addr = found.sin_addr;
  }
  return own;
}

}  // namespace groundstation
