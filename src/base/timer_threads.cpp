// Another implementation of the periodic timers, for the ThreadSanitizer build only: that tool does
// not know the threads which the C library starts for SIGEV_THREAD and crashes in them. Here each
// timer has a thread of its own. The signal timer is the real one.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "base/timer.h"

namespace base {
namespace {

struct ThreadTimer {
  explicit ThreadTimer(TimerCallback wanted) : callback(wanted) {}
  const TimerCallback callback;
  std::mutex mutex;
  std::condition_variable changed;
  uint32_t period_ms = 0;
  uint64_t armed = 0;  // counts the settings, so that a new period starts anew
};

void run(ThreadTimer& timer) {
  std::unique_lock lock(timer.mutex);
  for (;;) {
    const uint64_t seen = timer.armed;
    const auto is_changed = [&] { return timer.armed != seen; };
    if (timer.period_ms == 0) {
      timer.changed.wait(lock, is_changed);
    } else if (!timer.changed.wait_for(lock, std::chrono::milliseconds(timer.period_ms),
                                       is_changed)) {
      lock.unlock();
      timer.callback(sigval{});
      lock.lock();
    }
  }
}

}  // namespace

// The timers of this program live as long as the process.
int create_timer(timer_t* timer, TimerCallback callback) {
  auto* made = new ThreadTimer(callback);
  std::thread([made] { run(*made); }).detach();
  *timer = made;
  return 0;
}

int arm_timer(timer_t timer, uint32_t ms) {
  auto* made = static_cast<ThreadTimer*>(timer);
  if (made == nullptr) {
    errno = EINVAL;
    return -1;
  }
  const std::lock_guard lock(made->mutex);
  made->period_ms = ms;
  made->armed++;
  made->changed.notify_all();
  return 0;
}

}  // namespace base
