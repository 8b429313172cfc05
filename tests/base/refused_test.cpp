// Threads that cannot be started, and the settable clock, which no test may set.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/time.h>

#include <cerrno>
#include <vector>

#include "base/clock.h"
#include "base/thread.h"

namespace {

bool no_threads = false;
bool clock_is_refused = false;
std::vector<timeval> clock_sets;

void* run_nothing(void* argument) { return argument; }

}  // namespace

extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
  return no_threads ? EAGAIN : __real_pthread_create(thread, attributes, body, argument);
}
int __wrap_settimeofday(const timeval* time, const void* zone) {
  EXPECT_EQ(zone, nullptr);
  clock_sets.push_back(*time);
  if (!clock_is_refused) return 0;
  errno = EPERM;
  return -1;
}
}

namespace {

TEST(ThreadThatCannotBeStarted, IsAnErrorNumberAndNoHandle) {
  no_threads = true;
  pthread_t thread{};
  EXPECT_EQ(base::start_thread(run_nothing, nullptr, &thread), EAGAIN);
  EXPECT_EQ(base::start_worker(run_nothing, nullptr, 2, &thread), EAGAIN);
  EXPECT_TRUE(pthread_equal(thread, pthread_t{}));
  no_threads = false;
  EXPECT_EQ(base::start_worker(run_nothing, nullptr, 2, &thread), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
}

TEST(SetWallClock, IsToldTheSecondsAndTellsWhetherTheyAreTaken) {
  EXPECT_EQ(base::set_wall_clock(1600000000), 0);
  ASSERT_EQ(clock_sets.size(), 1U);
  EXPECT_EQ(clock_sets[0].tv_sec, 1600000000);
  EXPECT_EQ(clock_sets[0].tv_usec, 0);
  clock_is_refused = true;
  EXPECT_EQ(base::set_wall_clock(1600000000), -1);
  EXPECT_EQ(errno, EPERM);
}

}  // namespace
