// Every IPv4 packet that this machine and one address exchange, whichever programs they belong to.
// Needs root or CAP_NET_RAW.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/descriptor.h"

namespace groundstation {

// One thread at a time.
class PacketSocket {
 public:
  // False when this user may not, or the system cannot.
  [[nodiscard]] bool open(const in_addr& address);
  // Readable when a packet waits.
  [[nodiscard]] int fd() const { return socket_.get(); }

  struct Packet {
    uint64_t at_us;                  // when it passed, since the epoch
    std::span<const uint8_t> bytes;  // from the IPv4 header on; until the next call
    bool from_address;               // and not towards it
  };
  // The next one of that address; nothing (no data pointer) when none waits.
  [[nodiscard]] Packet next();

 private:
  base::Descriptor socket_;
  in_addr address_{};
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(65536);
};

}  // namespace groundstation
