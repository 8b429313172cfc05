// Another implementation of src/base for unit tests: it records what was run, slept, started or
// armed, and moves a clock of its own. No test waits and none runs a shell command. Safe from any
// thread; reset it at the start of a test (FakeBaseTest does).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/thread.h"
#include "base/timer.h"

namespace fake_base {

struct StartedThread {
  base::ThreadBody body;
  void* argument;
  int priority;  // 0: default scheduling
};

struct Timer {
  base::TimerCallback callback;
  uint32_t period_ms;  // 0: disarmed
};

// Forgets everything; the clock starts at 1000 s.
void reset();

// Everything in the order it happened: "sleep 6000" (microseconds), "run CMD", "quiet CMD", "read
// CMD".
std::vector<std::string> events();
// Only the commands, of any of the three kinds.
std::vector<std::string> commands();
// Only the sleeps, in microseconds.
std::vector<uint64_t> sleeps();
std::vector<StartedThread> threads();
// By creation order; timer_t number i is the i-th timer created since reset.
std::vector<Timer> timers();

// A signal timer that is armed once raises its signal in the sleep that passes its time.

// What the next read_shell_line calls give, oldest first; afterwards they read nothing. One
// read_shell_lines takes as many of them as it asks for.
void push_shell_line(const std::string& line);
// The next read_shell_line or read_shell_lines cannot open its pipe.
void fail_next_pipe();
// The next create_timer or start_* call fails.
void fail_next_timer();
void fail_next_thread();
// The next set_wall_clock fails. A good one is recorded as "clock SECONDS" and moves no clock.
void fail_next_clock();
// Called on every sleep, after the clock has moved.
void on_sleep(std::function<void(uint64_t us)> hook);
// Called on every shell command, after it has been recorded.
void on_command(std::function<void(const std::string& command)> hook);
// What base::watchdog_limit_us gives; 0 after a reset. What is told is recorded as "tell TEXT".
void set_watchdog_limit_us(uint64_t us);
// Moves the clock without recording a sleep.
void advance_us(uint64_t us);

class FakeBaseTest : public ::testing::Test {
 protected:
  FakeBaseTest() { reset(); }
};

}  // namespace fake_base
