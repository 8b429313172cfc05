// The signal timers of timer.h.
#include "base/timer.h"

namespace base {

int create_signal_timer(timer_t* timer, int signal) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = signal;
  return timer_create(CLOCK_REALTIME, &event, timer);
}

int arm_timer_once_us(timer_t timer, uint64_t us) {
  itimerspec once{};
  once.it_value.tv_sec = static_cast<time_t>(us / 1000000);
  once.it_value.tv_nsec = static_cast<long>(us % 1000000) * 1000;
  return timer_settime(timer, 0, &once, nullptr);
}

void delete_signal_timer(timer_t timer) { timer_delete(timer); }

}  // namespace base
