#include "camera_service/loop.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "base/clock.h"

namespace camera_service {

Loop::Loop() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wake_.open()) throw std::system_error(errno, std::generic_category(), "eventfd");
  watch(wake_.get(), POLLIN, [this](short) {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(wake_.get(), &count, sizeof count);
    run_posted();
  });
}

void Loop::watch(int fd, short events, Ready ready) {
  watches_[fd] = std::make_shared<Watch>(Watch{events, std::move(ready)});
}

void Loop::change(int fd, short events) {
  if (const auto found = watches_.find(fd); found != watches_.end()) found->second->events = events;
}

void Loop::unwatch(int fd) { watches_.erase(fd); }

uint64_t Loop::after_ms(uint64_t ms, Task task) {
  const uint64_t id = next_id_++;
  timers_.emplace(base::monotonic_us() + ms * 1000, Timer{id, std::move(task)});
  return id;
}

void Loop::cancel(uint64_t id) {
  std::erase_if(timers_, [id](const auto& timer) { return timer.second.id == id; });
}

void Loop::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
  }
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t put = ::write(wake_.get(), &one, sizeof one);
}

int Loop::poll_timeout_ms() const {
  if (timers_.empty()) return -1;
  const uint64_t due = timers_.begin()->first;
  const uint64_t now = base::monotonic_us();
  if (due <= now) return 0;
  // Rounded up: waking early would spin until the timer is due.
  return static_cast<int>(std::min<uint64_t>((due - now + 999) / 1000, 60'000));
}

void Loop::run_due_timers() {
  const uint64_t now = base::monotonic_us();
  while (running_ && !timers_.empty() && timers_.begin()->first <= now) {
    const Task task = std::move(timers_.begin()->second.task);
    timers_.erase(timers_.begin());
    task();
  }
}

void Loop::run_posted() {
  std::vector<Task> tasks;
  {
    const std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (const Task& task : tasks) task();
}

void Loop::run() {
  std::vector<pollfd> polled;
  std::vector<std::shared_ptr<Watch>> snapshot;
  while (running_) {
    polled.clear();
    snapshot.clear();
    for (const auto& [fd, watch] : watches_) {
      polled.push_back({fd, watch->events, 0});
      snapshot.push_back(watch);
    }
    const int ready = ::poll(polled.data(), polled.size(), poll_timeout_ms());
    for (size_t i = 0; ready > 0 && running_ && i < polled.size(); i++) {
      if (polled[i].revents == 0) continue;
      // A callback before this one may have removed the watch, or put another one in its place.
      const auto found = watches_.find(polled[i].fd);
      if (found == watches_.end() || found->second != snapshot[i]) continue;
      snapshot[i]->ready(polled[i].revents);
    }
    run_due_timers();
  }
}

}  // namespace camera_service
