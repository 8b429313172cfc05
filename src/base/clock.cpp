#include "base/clock.h"

#include <sys/time.h>

#include <cerrno>
#include <ctime>

namespace base {
namespace {

uint64_t now_us(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace

uint64_t wall_clock_us() { return now_us(CLOCK_REALTIME); }

uint64_t monotonic_us() { return now_us(CLOCK_MONOTONIC); }

int set_wall_clock(int64_t seconds) {
  timeval now{};
  now.tv_sec = static_cast<time_t>(seconds);
  return settimeofday(&now, nullptr);
}

void sleep_us(uint64_t us) {
  timespec left{};
  left.tv_sec = static_cast<time_t>(us / 1000000);
  left.tv_nsec = static_cast<long>(us % 1000000) * 1000;
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
  }
}

}  // namespace base
