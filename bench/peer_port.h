// A UDP port on the peer's side of the radio whose datagrams are stamped by the kernel as they
// arrive: when a thread of the bench gets round to them does not count. Keeps the beginning of each
// only, so that it costs little beside what is measured.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string_view>
#include <thread>
#include <vector>

#include "base/descriptor.h"
#include "support/patience.h"

namespace bench {

struct Arrival {
  double at_s;  // only good for differences
  size_t size;
  std::array<uint8_t, 64> head;  // its first bytes

  // Whether the text stands there.
  [[nodiscard]] bool holds(size_t offset, std::string_view text) const;
};

class PeerPort {
 public:
  // Ends the bench when there is no such port (is it running in a board?).
  explicit PeerPort(uint16_t port);
  ~PeerPort();

  void send(std::span<const uint8_t> bytes, uint16_t port);

  [[nodiscard]] size_t count() const;
  // What has arrived since number `from`.
  [[nodiscard]] std::vector<Arrival> since(size_t from) const;
  // Waits for one that is wanted, from number `from` on. Returns whether it came.
  bool wait_for(const std::function<bool(const Arrival&)>& wanted, support::milliseconds limit,
                size_t from);
  // Waits until nothing has arrived for that long.
  void wait_for_silence(support::milliseconds silence);

 private:
  void receive();

  base::Descriptor socket_;
  mutable std::mutex mutex_;  // guards arrivals_
  std::vector<Arrival> arrivals_;
  std::atomic<bool> stop_ = false;
  std::thread receiver_;
};

}  // namespace bench
