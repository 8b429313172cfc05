// POSIX timers with thread notification: each expiry runs the callback on a thread of its own.
// Unit tests replace this (tests/fake_base). Safe from any thread.
#pragma once

#include <csignal>
#include <cstdint>
#include <ctime>

namespace base {

using TimerCallback = void (*)(union sigval);

// Creates a disarmed timer on CLOCK_REALTIME. Returns 0, or -1 with errno set.
int create_timer(timer_t* timer, TimerCallback callback);

// First expiry and interval are both `ms`; 0 disarms. Returns 0, or -1 with errno set.
int arm_timer(timer_t timer, uint32_t ms);

// Creates a disarmed timer that sends `signal` to the process. Returns 0, or -1 with errno set.
int create_signal_timer(timer_t* timer, int signal);

// One expiry after `us` microseconds; 0 disarms. Returns 0, or -1 with errno set.
int arm_timer_once_us(timer_t timer, uint64_t us);

// For a timer of create_signal_timer only: there it is one system call, fit for a signal handler.
void delete_signal_timer(timer_t timer);

}  // namespace base
