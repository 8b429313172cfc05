#include "ambanetfifo/events.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <mutex>
#include <utility>

#include "ambanetfifo/actions.h"
#include "ambanetfifo/encoder.h"
#include "ambanetfifo/state.h"
#include "base/clock.h"

namespace ambanetfifo {
namespace {

bool goes_on(const State& state) { return state.loop == EventLoop::kRunning && !released; }

// Waits for a wake, a control message or the deadline. True when a control message has come.
bool wait_until(uint64_t deadline_us, int control) {
  pollfd inputs[] = {{wake_descriptor(), POLLIN, 0}, {control, POLLIN, 0}};
  const uint64_t now_us = base::monotonic_us();
  const uint64_t wait_us = deadline_us > now_us ? deadline_us - now_us : 0;
  const timespec timeout = {static_cast<time_t>(wait_us / 1'000'000),
                            static_cast<long>(wait_us % 1'000'000 * 1000)};
  if (ppoll(inputs, 2, deadline_us == kNever ? nullptr : &timeout, nullptr) < 1) return false;
  uint64_t wakes = 0;
  if (inputs[0].revents != 0) {
    [[maybe_unused]] const ssize_t size = read(inputs[0].fd, &wakes, sizeof wakes);
  }
  return inputs[1].revents != 0;
}

// Calls back for what is in the outbox, without the lock.
void deliver(State& state, std::unique_lock<std::mutex>& held) {
  std::vector<Event> events = std::exchange(state.outbox, {});
  for (const Event& event : events) {
    if (!goes_on(state)) return;
    const auto fifo_callback = state.fifo_callback;
    const auto control_callback = state.control_callback;
    held.unlock();
    if (event.fifo_event == 0) {
      const int32_t result =
          control_callback == nullptr ? 0 : control_callback(event.control_event, nullptr);
      state.log.line("control %d -> %d", event.control_event, result);
    } else if (fifo_callback != nullptr) {
      fifo_callback(event.fifo, event.fifo_event);
    }
    held.lock();
  }
}

}  // namespace

void run_event_loop() {
  State& all = state();
  std::unique_lock held(all.lock);
  if (all.loop != EventLoop::kReady) return;
  all.loop = EventLoop::kRunning;
  all.log.line("events begin");
  bool message = false;
  while (goes_on(all)) {
    const uint64_t now_us = base::monotonic_us();
    if (message) take_messages(all, now_us);
    message = false;
    const uint64_t next_line = run_due_lines(all, now_us);
    const uint64_t next_entry = make_due_entries(all, now_us);
    if (!all.outbox.empty()) {
      deliver(all, held);
      continue;
    }
    const int control = all.control.descriptor();
    held.unlock();
    message = wait_until(std::min(next_line, next_entry), control);
    held.lock();
  }
  all.outbox.clear();
  all.loop = EventLoop::kAbsent;
  all.log.line("events end");
}

}  // namespace ambanetfifo
