#include "base/thread.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <atomic>

#include "base/clock.h"

namespace {

struct Seen {
  int policy = -1;
  int priority = -1;
};

void* look_at_scheduling(void* argument) {
  auto* seen = static_cast<Seen*>(argument);
  sched_param parameters{};
  pthread_getschedparam(pthread_self(), &seen->policy, &parameters);
  seen->priority = parameters.sched_priority;
  return argument;
}

TEST(StartThread, RunsTheBodyWithItsArgument) {
  Seen seen;
  pthread_t thread{};
  ASSERT_EQ(base::start_thread(look_at_scheduling, &seen, &thread), 0);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, &seen);
  EXPECT_EQ(seen.policy, sched_getscheduler(0));
}

// A machine may refuse real-time scheduling to this user; then the worker runs all the same.
TEST(StartWorker, ThePolicyIsSetBeforeTheBodyRuns) {
  sched_param real_time{};
  real_time.sched_priority = 2;
  const int own = sched_getscheduler(0);
  const bool allowed = sched_setscheduler(0, SCHED_RR, &real_time) == 0;
  sched_param normal{};
  sched_setscheduler(0, own, &normal);
  for (int round = 0; round < 50; round++) {
    Seen seen;
    pthread_t thread{};
    ASSERT_EQ(base::start_worker(look_at_scheduling, &seen, 2, &thread), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, &seen);
    EXPECT_EQ(seen.policy, allowed ? SCHED_RR : own);
    EXPECT_EQ(seen.priority, allowed ? 2 : 0);
  }
}

std::atomic<int> detached_workers;

void* detach_and_count(void* /*argument*/) {
  base::detach_self();
  detached_workers++;
  return nullptr;
}

TEST(StartWorker, ABodyMayDetachItselfAtOnce) {
  for (int round = 0; round < 50; round++) {
    ASSERT_EQ(base::start_worker(detach_and_count, nullptr, 2), 0);
  }
  for (int tries = 0; detached_workers < 50 && tries < 500; tries++) base::sleep_ms(10);
  EXPECT_EQ(detached_workers, 50);
}

}  // namespace
