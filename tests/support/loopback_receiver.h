// A loopback socket that hears what the code under test sends to `address()`.
#pragma once

#include <cstdint>
#include <vector>

#include "support/loopback.h"

namespace support {

class LoopbackReceiver {
 public:
  [[nodiscard]] const sockaddr_in& address() const { return address_; }
  [[nodiscard]] int fd() const { return fd_.get(); }

  // The next datagram; empty when there is none.
  std::vector<uint8_t> next() {
    std::vector<uint8_t> bytes(70000);
    const ssize_t size = recv(fd_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return bytes;
  }
  // All datagrams that wait.
  std::vector<std::vector<uint8_t>> all() {
    std::vector<std::vector<uint8_t>> datagrams;
    for (auto bytes = next(); !bytes.empty(); bytes = next()) datagrams.push_back(bytes);
    return datagrams;
  }

 private:
  sockaddr_in address_{};
  base::Descriptor fd_ = open_loopback(&address_);
};

}  // namespace support
