// How fast something grows at the moment: over the last second at least, so that the figure does not
// jump with every piece that comes.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace groundstation {

// One thread per object.
class Rate {
 public:
  explicit Rate(uint64_t window_us = 1'000'000) : window_us_(window_us) {}

  // How much there is at that time (monotonic). Less than before begins anew.
  void note(uint64_t now_us, uint64_t total);
  // Per second; nothing has been noted, or only at one time: 0.
  [[nodiscard]] double per_second() const;

 private:
  struct Point {
    uint64_t at_us;
    uint64_t total;
  };
  uint64_t window_us_;
  std::deque<Point> points_;  // the first is the newest that is a window old, if one is
};

// "0:07", "12:34", "1:02:03"
[[nodiscard]] std::string time_text(double seconds);

}  // namespace groundstation
