// Runs a test's body in a child process, where every module's static state is as at program start:
// counters at 0, nothing shown, nothing pushed. A failed expectation in the body fails the test.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

namespace link_test {

inline void in_fresh_process(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    body();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "wait status of the process that ran the test's body";
}

}  // namespace link_test
