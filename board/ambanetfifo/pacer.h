// Deadlines and time stamps of a steady series of entries. Both are computed from the start of the
// series, so that nothing drifts however long it runs.
#pragma once

#include <algorithm>
#include <cstdint>

namespace ambanetfifo {

inline constexpr uint64_t kTicksPerSecond = 90000;

struct Pacer {
  uint64_t rate = 30000;  // entries per 1000 s, never 0
  uint64_t start_us = 0;
  uint64_t start_ticks = 0;
  uint64_t made = 0;  // entries since the start

  [[nodiscard]] uint64_t period_us() const { return 1'000'000'000 / rate; }
  // When the next entry is due, monotonic clock.
  [[nodiscard]] uint64_t due_us() const { return start_us + made * 1'000'000'000 / rate; }
  // The next entry's time stamp.
  [[nodiscard]] uint64_t ticks() const {
    return start_ticks + made * kTicksPerSecond * 1000 / rate;
  }
  // The next entry is due at that time. Time stamps follow the clock and never run backwards.
  void restart(uint64_t at_us) {
    start_ticks = std::max(ticks(), at_us / 1000 * (kTicksPerSecond / 1000));
    start_us = at_us;
    made = 0;
  }
};

}  // namespace ambanetfifo
