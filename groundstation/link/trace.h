// The datagrams that this program exchanges with the camera, as a capture file. Main thread only.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <span>
#include <string>

#include "groundstation/link/pcap.h"

namespace groundstation {

class Trace {
 public:
  // Returns an empty text, or why it cannot be done.
  [[nodiscard]] std::string open(const std::string& path, bool replace);

  // A datagram that left or came at that time (monotonic microseconds).
  void add(uint64_t at_us, const sockaddr_in& from, const sockaddr_in& to,
           std::span<const uint8_t> bytes);

  [[nodiscard]] uint64_t datagrams() const { return file_.packets(); }
  // Empty as long as everything could be written.
  [[nodiscard]] const std::string& trouble() const { return file_.trouble(); }

 private:
  PcapWriter file_;
  uint64_t epoch_us_ = 0;  // wall clock less monotonic clock
};

// Our address as the camera sees it: `local`, or, when that is no address, what the system would
// choose; nothing is sent.
[[nodiscard]] sockaddr_in address_towards(const sockaddr_in& camera, const sockaddr_in& local);

}  // namespace groundstation
