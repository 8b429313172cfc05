// Time and sleep. Every wait of the program that is not a wait for input goes through here, so that
// unit tests can replace it by a clock that moves by itself (tests/fake_base). Safe from any
// thread.
#pragma once

#include <cstdint>

namespace base {

// Microseconds since the epoch, by the settable clock.
[[nodiscard]] uint64_t wall_clock_us();

// Microseconds since some fixed point; never jumps.
[[nodiscard]] uint64_t monotonic_us();

// Sets the settable clock to whole seconds since the epoch. Returns 0, or -1 with errno set.
int set_wall_clock(int64_t seconds);

// Sleeps at least that long, signals or not.
void sleep_us(uint64_t us);
inline void sleep_ms(uint64_t ms) { sleep_us(ms * 1000); }
inline void sleep_s(uint64_t s) { sleep_us(s * 1000000); }

}  // namespace base
