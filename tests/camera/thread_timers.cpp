// Timers with thread notification for builds with the thread sanitizer. The C library runs theirs
// from a thread that it starts behind the sanitizer's back, and that thread ends the process at its
// first allocation; here an ordinary thread per timer does the same. Other builds, and timers with
// another notification, use the C library's own.
#if defined(__SANITIZE_THREAD__)

#include <dlfcn.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

nanoseconds length_of(const timespec& time) {
  return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

// Lives as long as the process.
struct ThreadTimer {
  void (*callback)(union sigval);
  union sigval value;
  std::mutex mutex{};
  std::condition_variable changed{};
  bool armed = false;
  steady_clock::time_point due{};
  nanoseconds period{};

  [[noreturn]] void run() {
    std::unique_lock lock(mutex);
    for (;;) {
      if (!armed) {
        changed.wait(lock);
      } else if (steady_clock::now() < due) {
        changed.wait_until(lock, due);
      } else {
        armed = period.count() != 0;
        due += period;
        lock.unlock();
        callback(value);
        lock.lock();
      }
    }
  }
};

std::mutex registry_mutex;

std::vector<ThreadTimer*>& registry() {
  static auto& timers = *new std::vector<ThreadTimer*>;
  return timers;
}

ThreadTimer* thread_timer(timer_t handle) {
  const std::lock_guard lock(registry_mutex);
  for (ThreadTimer* timer : registry()) {
    if (timer == handle) return timer;
  }
  return nullptr;
}

template <typename Function>
Function next(Function, const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int timer_create(clockid_t clock, sigevent* event, timer_t* handle) noexcept {
  if (event == nullptr || event->sigev_notify != SIGEV_THREAD) {
    return next(timer_create, "timer_create")(clock, event, handle);
  }
  auto* timer = new ThreadTimer{event->sigev_notify_function, event->sigev_value};
  std::thread(&ThreadTimer::run, timer).detach();
  const std::lock_guard lock(registry_mutex);
  registry().push_back(timer);
  *handle = timer;
  return 0;
}

extern "C" int timer_settime(timer_t handle, int flags, const itimerspec* period,
                             itimerspec* old) noexcept {
  ThreadTimer* timer = thread_timer(handle);
  if (timer == nullptr) return next(timer_settime, "timer_settime")(handle, flags, period, old);
  const std::lock_guard lock(timer->mutex);
  timer->armed = length_of(period->it_value).count() != 0;
  timer->due = steady_clock::now() + length_of(period->it_value);
  timer->period = length_of(period->it_interval);
  timer->changed.notify_one();
  return 0;
}

#endif
