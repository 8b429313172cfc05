// A mutual-exclusion lock that costs its first user no atomic read-modify-write.
//
// The first thread that takes the lock owns the bias: it enters and leaves by plain loads and
// stores. When another thread comes, the bias is withdrawn for good (one membarrier system call
// makes sure that both see the same order), and from then on everybody uses the mutex inside. Meant
// for a lock that is taken very often by one thread and hardly ever by another. Without the system
// call it is a mutex. Not recursive. Never destroyed while it is in use: static instances only.
#pragma once

#include <atomic>
#include <mutex>

namespace flightlink {

class BiasedMutex {
 public:
  // Takes the lock if the caller owns the bias. True: it is held until leave_by_bias. False: it is
  // not held; use lock and unlock.
  [[nodiscard]] bool enter_by_bias() {
    if (owner_.load(std::memory_order_relaxed) != self()) return false;
    inside_.store(true, std::memory_order_relaxed);
    // The machine may still swap this store and load; whoever withdraws the bias makes sure it has
    // not.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (!withdrawn_.load(std::memory_order_acquire)) [[likely]] {
      return true;
    }
    leave_by_bias();
    return false;
  }
  void leave_by_bias() { inside_.store(false, std::memory_order_release); }

  // For a caller that enter_by_bias has refused.
  void lock();
  void unlock() { mutex_.unlock(); }

 private:
  // Tells threads apart; null is nobody.
  static const void* self() {
    static thread_local const char token = 0;
    return &token;
  }

  std::atomic<const void*> owner_{nullptr};
  std::atomic<bool> inside_{false};  // the owner of the bias holds the lock
  std::atomic<bool> withdrawn_{false};
  std::mutex mutex_;
};

}  // namespace flightlink
