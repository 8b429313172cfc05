// The parser channels' lock, with real threads: who pays what, and that it excludes.
#include "flightlink/frame/biased_mutex.h"

#include <gtest/gtest.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace flightlink {
namespace {

// Without the system call there is no bias, and the lock is a plain mutex.
bool kernel_has_the_barrier() {
  const long commands = syscall(SYS_membarrier, MEMBARRIER_CMD_QUERY, 0, 0);
  return commands > 0 && (commands & MEMBARRIER_CMD_PRIVATE_EXPEDITED) != 0;
}

void lock_once(BiasedMutex& mutex) { const std::lock_guard lock(mutex); }

// As the parser uses it.
template <typename Work>
void locked(BiasedMutex& mutex, const Work& work) {
  if (mutex.enter_by_bias()) {
    work();
    mutex.leave_by_bias();
    return;
  }
  const std::lock_guard lock(mutex);
  work();
}

TEST(BiasedMutex, TheFirstThreadThatLocksOwnsTheBiasWhereTheKernelHasTheBarrier) {
  BiasedMutex mutex;
  EXPECT_FALSE(mutex.enter_by_bias());
  lock_once(mutex);
  for (int i = 0; i < 3; i++) {
    const bool entered = mutex.enter_by_bias();
    EXPECT_EQ(entered, kernel_has_the_barrier());
    if (entered) mutex.leave_by_bias();
  }
}

TEST(BiasedMutex, AnotherThreadWithdrawsTheBiasForGood) {
  BiasedMutex mutex;
  lock_once(mutex);
  std::thread([&mutex] {
    EXPECT_FALSE(mutex.enter_by_bias());
    lock_once(mutex);
    EXPECT_FALSE(mutex.enter_by_bias());
  }).join();
  EXPECT_FALSE(mutex.enter_by_bias());
  lock_once(mutex);
  EXPECT_FALSE(mutex.enter_by_bias());
}

TEST(BiasedMutex, AnotherThreadWaitsWhileTheOwnerIsInside) {
  if (!kernel_has_the_barrier()) return;  // nobody is ever inside by bias then
  BiasedMutex mutex;
  lock_once(mutex);
  ASSERT_TRUE(mutex.enter_by_bias());
  std::atomic<bool> came{false};
  std::atomic<bool> entered{false};
  std::thread other([&] {
    came = true;
    const std::lock_guard lock(mutex);
    entered = true;
  });
  while (!came) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(entered);
  mutex.leave_by_bias();
  other.join();
  EXPECT_TRUE(entered);
}

TEST(BiasedMutex, TheOwnerWaitsWhileAnotherThreadIsInside) {
  BiasedMutex mutex;
  lock_once(mutex);
  std::atomic<bool> inside{false};
  std::atomic<bool> leave{false};
  std::thread other([&] {
    const std::lock_guard lock(mutex);
    inside = true;
    while (!leave) std::this_thread::yield();
    inside = false;
  });
  while (!inside) std::this_thread::yield();
  EXPECT_FALSE(mutex.enter_by_bias());
  leave = true;
  lock_once(mutex);
  EXPECT_FALSE(inside);
  other.join();
}

TEST(BiasedMutex, NoTwoThreadsAreInsideAtOnce) {
  // Many short rounds: the withdrawal happens once in each.
  for (int round = 0; round < 60; round++) {
    BiasedMutex mutex;
    int64_t total = 0;  // unprotected but for the lock
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; i++) {
      threads.emplace_back([&] {
        for (int k = 0; k < 500; k++) locked(mutex, [&total] { total++; });
      });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(total, 1500) << "round " << round;
  }
}

}  // namespace
}  // namespace flightlink
