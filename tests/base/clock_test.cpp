#include "base/clock.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>
#include <ctime>

namespace {

TEST(Clock, WallClockCountsFromTheEpoch) {
  const auto before = static_cast<uint64_t>(std::time(nullptr));
  const uint64_t now = base::wall_clock_us();
  const auto after = static_cast<uint64_t>(std::time(nullptr));
  EXPECT_GE(now / 1000000 + 1, before);  // time() may lag the fine clock by a tick, never lead it
  EXPECT_LE(now / 1000000, after + 1);
}

TEST(Clock, SleepTakesAtLeastItsTime) {
  const uint64_t begin = base::monotonic_us();
  base::sleep_us(20000);
  EXPECT_GE(base::monotonic_us() - begin, 20000U);
}

TEST(Clock, UnitsAreMilliseconds) {
  const uint64_t begin = base::monotonic_us();
  base::sleep_ms(3);
  const uint64_t slept = base::monotonic_us() - begin;
  EXPECT_GE(slept, 3000U);
  EXPECT_LT(slept, 1000000U);
}

volatile std::sig_atomic_t alarms = 0;

TEST(Clock, SignalsDoNotShortenASleep) {
  struct sigaction action = {};
  action.sa_handler = [](int) { alarms = alarms + 1; };
  struct sigaction old = {};
  ASSERT_EQ(sigaction(SIGALRM, &action, &old), 0);
  const itimerval every_5_ms{{0, 5000}, {0, 5000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &every_5_ms, nullptr), 0);
  const uint64_t begin = base::monotonic_us();
  base::sleep_us(50000);
  const uint64_t slept = base::monotonic_us() - begin;
  const itimerval off{};
  setitimer(ITIMER_REAL, &off, nullptr);
  sigaction(SIGALRM, &old, nullptr);
  EXPECT_GE(slept, 50000U);
  EXPECT_GE(alarms, 1);
}

}  // namespace
