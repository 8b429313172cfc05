// The event loop of the program: descriptors, timers, and work handed over by other threads. All
// callbacks run on the thread that calls run(); everything but post() belongs to that thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "base/descriptor.h"

namespace camera_service {

class Loop {
 public:
  using Task = std::function<void()>;
  using Ready = std::function<void(short revents)>;

  // Throws std::system_error when no event descriptor can be made.
  Loop();

  // Calls `ready` whenever poll reports `events` (or an error) for fd. One watch per descriptor;
  // the caller keeps the descriptor and calls unwatch before closing it. A callback may unwatch
  // anything.
  void watch(int fd, short events, Ready ready);
  void change(int fd, short events);
  void unwatch(int fd);

  // Runs the task once, `ms` from now. Returns an identifier for cancel(), never 0.
  uint64_t after_ms(uint64_t ms, Task task);
  // A task that has run, or 0, is no error.
  void cancel(uint64_t id);

  // Runs the task on the loop's thread soon. The one operation that any thread may call.
  void post(Task task);

  // Returns after stop(). Uses no CPU time while nothing happens.
  void run();
  void stop() { running_ = false; }

 private:
  struct Watch {
    short events;
    Ready ready;
  };
  struct Timer {
    uint64_t id;
    Task task;
  };

  [[nodiscard]] int poll_timeout_ms() const;
  void run_due_timers();
  void run_posted();

  bool running_ = true;
  uint64_t next_id_ = 1;
  base::Descriptor wake_;
  std::map<int, std::shared_ptr<Watch>> watches_;
  std::multimap<uint64_t, Timer> timers_;  // by due time, monotonic us
  std::mutex mutex_;                       // guards posted_
  std::vector<Task> posted_;
};

}  // namespace camera_service
