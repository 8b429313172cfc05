// Periodic timers of the link and of the camera client: POSIX timers with thread notification on
// CLOCK_REALTIME. Each expiry runs the callback on a thread of its own. Any thread may arm or
// disarm.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/mutex.h"
#include "base/timer.h"

namespace flightlink {

// Zero-initialise. A handle of 0 is a valid timer, so a flag tells whether there is one.
struct LinkTimer {
  timer_t handle;
  std::atomic<bool> created;
};

// Creates the timer, disarmed; a timer that exists already is kept. Returns 0, or -1 after printing
// "timer_create error!".
int mavlink_timer_create(LinkTimer* timer, base::TimerCallback callback);

// First expiry and interval are both `ms`; 0 disarms. A timer that was never created is left alone.
// A failure is reported through perror("timer_settime").
void mavlink_timer_set(LinkTimer* timer, uint32_t ms);

// Tries the lock every 10 ms. Returns 1 when it is held, 0 after `tries` failures; 0 or fewer tries
// retry for ever.
int mutex_lock_retry(base::Mutex* mutex, int tries) TRY_ACQUIRE(1, mutex);

}  // namespace flightlink
