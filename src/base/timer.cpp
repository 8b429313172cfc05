#include "base/timer.h"

namespace base {

int create_timer(timer_t* timer, TimerCallback callback) {
  sigevent event{};
  event.sigev_notify = SIGEV_THREAD;
  event.sigev_signo = SIGRTMIN;
  event.sigev_value.sival_int = 0;
  event.sigev_notify_function = callback;
  event.sigev_notify_attributes = nullptr;
  return timer_create(CLOCK_REALTIME, &event, timer);
}

int arm_timer(timer_t timer, uint32_t ms) {
  itimerspec period{};
  period.it_value.tv_sec = static_cast<time_t>(ms / 1000);
  period.it_value.tv_nsec = static_cast<long>(ms % 1000) * 1000000;
  period.it_interval = period.it_value;
  return timer_settime(timer, 0, &period, nullptr);
}

}  // namespace base
