#include "base/timer.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <csignal>

#include "base/clock.h"

namespace {

std::atomic<int> expiries;
std::atomic<uint64_t> first_expiry_us;

void count(union sigval value) {
  EXPECT_EQ(value.sival_int, 0);
  if (expiries++ == 0) first_expiry_us = base::monotonic_us();
}

bool wait_for_expiries(int wanted) {
  for (int tries = 0; expiries < wanted && tries < 500; tries++) base::sleep_ms(10);
  return expiries >= wanted;
}

TEST(Timer, IsPeriodicUntilItIsDisarmed) {
  timer_t timer{};
  ASSERT_EQ(base::create_timer(&timer, count), 0);
  base::sleep_ms(30);
  EXPECT_EQ(expiries, 0);  // created disarmed

  const uint64_t begin = base::monotonic_us();
  ASSERT_EQ(base::arm_timer(timer, 20), 0);
  ASSERT_TRUE(wait_for_expiries(3));
  EXPECT_GE(first_expiry_us - begin, 19000U);  // two clocks, one period
  EXPECT_GE(base::monotonic_us() - begin, 59000U);

  ASSERT_EQ(base::arm_timer(timer, 0), 0);
  base::sleep_ms(30);  // an expiry may have been on its way
  const int counted = expiries;
  base::sleep_ms(100);
  EXPECT_EQ(expiries, counted);
}

// Under the thread sanitizer the timers are not the kernel's.
#if !defined(__SANITIZE_THREAD__)
TEST(Timer, WholeSecondsAndMillisecondsAreSplit) {
  timer_t timer{};
  ASSERT_EQ(base::create_timer(&timer, count), 0);
  ASSERT_EQ(base::arm_timer(timer, 2750), 0);
  itimerspec armed{};
  ASSERT_EQ(timer_gettime(timer, &armed), 0);
  EXPECT_EQ(armed.it_interval.tv_sec, 2);
  EXPECT_EQ(armed.it_interval.tv_nsec, 750000000);
  EXPECT_LE(armed.it_value.tv_sec, 2);
  timer_delete(timer);
}

TEST(Timer, ThatIsNotThereCannotBeArmed) {
  timer_t timer{};
  ASSERT_EQ(base::create_signal_timer(&timer, SIGUSR2), 0);
  base::delete_signal_timer(timer);
  EXPECT_EQ(base::arm_timer(timer, 1000), -1);
}

TEST(Timer, ThatCannotBeMadeIsAnError) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_SIGPENDING, &before), 0);
  const rlimit none{0, before.rlim_max};  // a timer takes one of them
  ASSERT_EQ(setrlimit(RLIMIT_SIGPENDING, &none), 0);
  timer_t timer{};
  EXPECT_EQ(base::create_timer(&timer, count), -1);
  ASSERT_EQ(setrlimit(RLIMIT_SIGPENDING, &before), 0);
}
#endif

TEST(SignalTimer, SendsItsSignalOnceWhenItsTimeIsOver) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR2);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, nullptr), 0);
  timer_t timer{};
  ASSERT_EQ(base::create_signal_timer(&timer, SIGUSR2), 0);

  const uint64_t begin = base::monotonic_us();
  ASSERT_EQ(base::arm_timer_once_us(timer, 20000), 0);
  const timespec limit{20, 0};
  EXPECT_EQ(sigtimedwait(&signals, nullptr, &limit), SIGUSR2);
  EXPECT_GE(base::monotonic_us() - begin, 19000U);  // two clocks
  itimerspec armed{};
  ASSERT_EQ(timer_gettime(timer, &armed), 0);
  EXPECT_EQ(armed.it_value.tv_sec + armed.it_value.tv_nsec, 0);

  const uint64_t again = base::monotonic_us();
  ASSERT_EQ(base::arm_timer_once_us(timer, 100750000), 0);
  ASSERT_EQ(timer_gettime(timer, &armed), 0);
  const auto left =
      static_cast<uint64_t>(armed.it_value.tv_sec * 1000000 + armed.it_value.tv_nsec / 1000);
  EXPECT_LE(left, 100750000U);
  EXPECT_GE(left + (base::monotonic_us() - again), 100740000U);  // two clocks
  EXPECT_EQ(armed.it_interval.tv_sec + armed.it_interval.tv_nsec, 0);
  ASSERT_EQ(base::arm_timer_once_us(timer, 0), 0);
  ASSERT_EQ(timer_gettime(timer, &armed), 0);
  EXPECT_EQ(armed.it_value.tv_sec + armed.it_value.tv_nsec, 0);

  base::delete_signal_timer(timer);
  EXPECT_EQ(timer_gettime(timer, &armed), -1);
  EXPECT_EQ(base::arm_timer_once_us(timer, 20000), -1);
}

TEST(SignalTimer, ThatCannotBeMadeIsAnError) {
  timer_t timer{};
  EXPECT_EQ(base::create_signal_timer(&timer, -1), -1);
}

}  // namespace
