#include "flightlink/wire/link_timer.h"

#include <cstdio>

#include "base/clock.h"
#include "base/mutex.h"

namespace flightlink {

int mavlink_timer_create(LinkTimer* timer, base::TimerCallback callback) {
  if (timer->created.load(std::memory_order_acquire)) return 0;
  timer_t handle{};
  if (base::create_timer(&handle, callback) != 0) {
    std::printf("timer_create error!\n");
    return -1;
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel's own "no timer" value
  if (handle == reinterpret_cast<timer_t>(-1)) {
    std::printf("timer_create error,id equ -1!\n");
    return -1;
  }
  timer->handle = handle;
  timer->created.store(true, std::memory_order_release);
  return 0;
}

void mavlink_timer_set(LinkTimer* timer, uint32_t ms) {
  if (!timer->created.load(std::memory_order_acquire)) return;
  if (base::arm_timer(timer->handle, ms) != 0) std::perror("timer_settime");
}

// The analysis does not follow the loop to the one return that holds the mutex.
int mutex_lock_retry(base::Mutex* mutex, int tries) NO_THREAD_SAFETY_ANALYSIS {
  for (int failures = 0;;) {
    if (mutex->try_lock()) return 1;
    failures++;
    if (tries > 0 && failures >= tries) return 0;
    base::sleep_ms(10);
  }
}

}  // namespace flightlink
