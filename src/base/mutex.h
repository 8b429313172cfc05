// The mutex, the condition and the semaphore of this program. What a mutex guards is marked
// GUARDED_BY it, and clang checks that at compile time.
#pragma once

#include <semaphore.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "base/thread_safety.h"

namespace base {

class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }
  [[nodiscard]] bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  friend class Condition;
  std::mutex mutex_;
};

// Holds a mutex until the end of its block.
class SCOPED_CAPABILITY Lock {
 public:
  explicit Lock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~Lock() RELEASE() { mutex_.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex& mutex_;
};

// Waiting for a change of what a mutex guards. May wake without one: callers look again in a loop.
class Condition {
 public:
  void notify_one() { condition_.notify_one(); }
  void notify_all() { condition_.notify_all(); }

  void wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();  // the caller's block still holds it
  }
  // The same for at most that long.
  void wait_for_us(Mutex& mutex, uint64_t us) REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    condition_.wait_for(lock, std::chrono::microseconds(us));
    lock.release();
  }

 private:
  std::condition_variable condition_;
};

// A counting semaphore. Posting is safe in a signal handler (POSIX sem_post).
class Semaphore {
 public:
  explicit Semaphore(unsigned count) { sem_init(&semaphore_, 0, count); }
  ~Semaphore() { sem_destroy(&semaphore_); }
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  void post() { sem_post(&semaphore_); }
  // How many waits would succeed at this moment.
  [[nodiscard]] int count() {
    int value = 0;
    sem_getvalue(&semaphore_, &value);
    return value;
  }
  // False when the wait failed, which is when a signal interrupted it.
  [[nodiscard]] bool wait() { return sem_wait(&semaphore_) == 0; }
  // Waits on when a signal interrupts it.
  void wait_through_signals() {
    while (sem_wait(&semaphore_) != 0 && errno == EINTR) {
    }
  }

 private:
  sem_t semaphore_;
};

}  // namespace base
