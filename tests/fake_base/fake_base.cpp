#include "fake_base/fake_base.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>

#include "base/clock.h"
#include "base/service_manager.h"
#include "base/shell.h"

namespace fake_base {
namespace {

struct State {
  std::vector<std::string> events;
  std::vector<std::string> commands;
  std::vector<uint64_t> sleeps;
  std::vector<StartedThread> threads;
  std::vector<Timer> timers;
  std::deque<std::string> shell_lines;
  bool timer_fails = false;
  bool thread_fails = false;
  bool clock_fails = false;
  bool pipe_fails = false;
  uint64_t now_us = 1000000000;
  int alarm_signal = 0;      // of the one signal timer
  uint64_t alarm_at_us = 0;  // 0: disarmed
  uint64_t watchdog_limit_us = 0;
  std::function<void(uint64_t)> on_sleep;
  std::function<void(const std::string&)> on_command;
};

std::mutex mutex;
State state;

void record_command(const char* how, const char* command) {
  std::function<void(const std::string&)> hook;
  {
    const std::lock_guard lock(mutex);
    state.events.push_back(std::string(how) + " " + command);
    state.commands.emplace_back(command);
    hook = state.on_command;
  }
  if (hook) hook(command);
}

int record_thread(base::ThreadBody body, void* argument, int priority, pthread_t* handle) {
  const std::lock_guard lock(mutex);
  if (std::exchange(state.thread_fails, false)) return EAGAIN;
  state.threads.push_back({body, argument, priority});
  if (handle != nullptr) *handle = static_cast<pthread_t>(state.threads.size());
  return 0;
}

void fail_next(bool& fails) {
  const std::lock_guard lock(mutex);
  fails = true;
}

}  // namespace

void reset() {
  const std::lock_guard lock(mutex);
  state = State{};
}

std::vector<std::string> events() {
  const std::lock_guard lock(mutex);
  return state.events;
}

std::vector<std::string> commands() {
  const std::lock_guard lock(mutex);
  return state.commands;
}

std::vector<uint64_t> sleeps() {
  const std::lock_guard lock(mutex);
  return state.sleeps;
}

std::vector<StartedThread> threads() {
  const std::lock_guard lock(mutex);
  return state.threads;
}

std::vector<Timer> timers() {
  const std::lock_guard lock(mutex);
  return state.timers;
}

void push_shell_line(const std::string& line) {
  const std::lock_guard lock(mutex);
  state.shell_lines.push_back(line);
}

void fail_next_timer() { fail_next(state.timer_fails); }
void fail_next_thread() { fail_next(state.thread_fails); }
void fail_next_clock() { fail_next(state.clock_fails); }
void fail_next_pipe() { fail_next(state.pipe_fails); }
void on_sleep(std::function<void(uint64_t)> hook) {
  const std::lock_guard lock(mutex);
  state.on_sleep = std::move(hook);
}

void on_command(std::function<void(const std::string&)> hook) {
  const std::lock_guard lock(mutex);
  state.on_command = std::move(hook);
}

void advance_us(uint64_t us) {
  const std::lock_guard lock(mutex);
  state.now_us += us;
}

void set_watchdog_limit_us(uint64_t us) {
  const std::lock_guard lock(mutex);
  state.watchdog_limit_us = us;
}

}  // namespace fake_base

namespace base {

using fake_base::state;

uint64_t wall_clock_us() {
  const std::lock_guard lock(fake_base::mutex);
  return state.now_us;
}

uint64_t monotonic_us() { return wall_clock_us(); }

int set_wall_clock(int64_t seconds) {
  const std::lock_guard lock(fake_base::mutex);
  if (std::exchange(state.clock_fails, false)) {
    errno = EPERM;
    return -1;
  }
  state.events.push_back("clock " + std::to_string(seconds));
  return 0;
}

void sleep_us(uint64_t us) {
  int due_signal = 0;
  std::function<void(uint64_t)> hook;
  {
    const std::lock_guard lock(fake_base::mutex);
    state.now_us += us;
    state.events.push_back("sleep " + std::to_string(us));
    state.sleeps.push_back(us);
    hook = state.on_sleep;
    if (state.alarm_at_us != 0 && state.now_us >= state.alarm_at_us) {
      state.alarm_at_us = 0;
      due_signal = state.alarm_signal;
    }
  }
  if (due_signal != 0) raise(due_signal);
  if (hook) hook(us);
}

int start_thread(ThreadBody body, void* argument, pthread_t* handle) {
  return fake_base::record_thread(body, argument, 0, handle);
}

int start_worker(ThreadBody body, void* argument, int priority, pthread_t* handle) {
  return fake_base::record_thread(body, argument, priority, handle);
}

void detach_self() {}
void name_self(const char*) {}

int create_timer(timer_t* timer, TimerCallback callback) {
  const std::lock_guard lock(fake_base::mutex);
  if (std::exchange(state.timer_fails, false)) {
    errno = EAGAIN;
    return -1;
  }
  // Handle 0 is a valid timer, as it is with the kernel.
  *timer = reinterpret_cast<timer_t>(state.timers.size());
  state.timers.push_back({callback, 0});
  return 0;
}

int arm_timer(timer_t timer, uint32_t ms) {
  const std::lock_guard lock(fake_base::mutex);
  const auto index = reinterpret_cast<size_t>(timer);
  if (index >= state.timers.size()) {
    errno = EINVAL;
    return -1;
  }
  state.timers[index].period_ms = ms;
  state.events.push_back("timer " + std::to_string(index) + " " + std::to_string(ms));
  return 0;
}

int create_signal_timer(timer_t* timer, int signal) {
  const std::lock_guard lock(fake_base::mutex);
  *timer = timer_t{};
  state.alarm_signal = signal;
  state.alarm_at_us = 0;
  return 0;
}

int arm_timer_once_us(timer_t, uint64_t us) {
  const std::lock_guard lock(fake_base::mutex);
  state.alarm_at_us = us == 0 ? 0 : state.now_us + us;
  state.events.push_back("alarm " + std::to_string(us));
  return 0;
}

void delete_signal_timer(timer_t) {
  const std::lock_guard lock(fake_base::mutex);
  state.alarm_at_us = 0;
  state.events.emplace_back("no alarm");
}

uint64_t watchdog_limit_us() {
  const std::lock_guard lock(fake_base::mutex);
  return state.watchdog_limit_us;
}

void tell_service_manager(const char* text) {
  const std::lock_guard lock(fake_base::mutex);
  state.events.push_back(std::string("tell ") + text);
}

int run_shell(const char* command) {
  fake_base::record_command("run", command);
  return 0;
}

void run_shell_quiet(const char* command) {
  fake_base::record_command("quiet", command);
  sleep_ms(10);
}

int read_shell_line(const char* command, char* line, size_t size) {
  fake_base::record_command("read", command);
  const std::lock_guard lock(fake_base::mutex);
  if (std::exchange(state.pipe_fails, false)) return -1;
  if (state.shell_lines.empty() || size == 0) return 0;
  std::strncpy(line, state.shell_lines.front().c_str(), size - 1);
  line[size - 1] = '\0';
  state.shell_lines.pop_front();
  return 1;
}

int read_shell_lines(const char* command, const std::function<bool(const char* line)>& take) {
  fake_base::record_command("read", command);
  std::deque<std::string> lines;
  {
    const std::lock_guard lock(fake_base::mutex);
    if (std::exchange(state.pipe_fails, false)) return -1;
    lines.swap(state.shell_lines);
  }
  while (!lines.empty()) {
    const std::string line = lines.front();
    lines.pop_front();
    if (!take(line.c_str())) break;
  }
  return 0;
}

}  // namespace base
