// A signal that interrupts: the waits of the thread that made it end early while it lives.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>

namespace link_test {

// Again and again, every 20 ms: the first signal may come before the wait has begun.
class Interrupter {
 public:
  Interrupter() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR2, &action, nullptr);
    thread_ = std::thread([this, waiting = pthread_self()] {
      while (!done_) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (!done_) pthread_kill(waiting, SIGUSR2);
      }
    });
  }
  ~Interrupter() {
    done_ = true;
    thread_.join();
  }
  Interrupter(const Interrupter&) = delete;
  Interrupter& operator=(const Interrupter&) = delete;

 private:
  std::atomic<bool> done_{false};
  std::thread thread_;
};

// What a call prints on standard output and standard error while its waits are interrupted.
struct Printed {
  std::string out;
  std::string error;
};
inline Printed printed_when_interrupted(const std::function<void()>& call) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  {
    const Interrupter interrupting;
    call();
  }
  std::string out = ::testing::internal::GetCapturedStdout();
  return {out, ::testing::internal::GetCapturedStderr()};
}

// What a call prints on standard error meanwhile, when every line for standard output fails. Standard
// output is of no use to the process afterwards.
inline std::string error_behind_full_output(const std::function<void()>& call) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(dup2(full, STDOUT_FILENO), STDOUT_FILENO);
  close(full);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  ::testing::internal::CaptureStderr();
  {
    const Interrupter interrupting;
    call();
  }
  return ::testing::internal::GetCapturedStderr();
}

}  // namespace link_test
