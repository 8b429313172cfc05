// Shell commands while memory and processes are short.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "base/clock.h"
#include "base/shell.h"
#include "support/allocation_fault.h"

namespace {

int failures_left = 0;
int calls = 0;
// Of the last command that was started.
bool sets_its_mask = false;
sigset_t mask;

bool is_refused() {
  calls++;
  if (failures_left == 0) return false;
  failures_left--;
  return true;
}

// The next so many commands cannot be started.
void refuse(int times) {
  failures_left = times;
  calls = 0;
}

constexpr int kForGood = 1000000;

}  // namespace

extern "C" {
int __real_posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments,
                       char* const* environment);
int __wrap_posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments,
                       char* const* environment) {
  if (is_refused()) return ENOMEM;
  short flags = 0;
  posix_spawnattr_getflags(attributes, &flags);
  sets_its_mask = (flags & POSIX_SPAWN_SETSIGMASK) != 0;
  posix_spawnattr_getsigmask(attributes, &mask);
  return __real_posix_spawn(child, path, actions, attributes, arguments, environment);
}
std::FILE* __real_popen(const char* command, const char* mode);
std::FILE* __wrap_popen(const char* command, const char* mode) {
  if (!is_refused()) return __real_popen(command, mode);
  errno = EAGAIN;
  return nullptr;
}
}

namespace {

// Leaves nothing but ones where the next function keeps its variables.
[[gnu::noinline]] void fill_the_stack() {
  volatile unsigned char bytes[4096];
  for (volatile unsigned char& byte : bytes) byte = 0xFF;
}

// Not asked of the command itself: some shells clear the mask, others do not.
TEST(Shell, ACommandHasNoSignalBlocked) {
  fill_the_stack();
  EXPECT_EQ(base::run_shell("true"), 0);
  EXPECT_TRUE(sets_its_mask);
  for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGUSR1, SIGRTMIN, SIGRTMAX}) {
    EXPECT_EQ(sigismember(&mask, signal), 0) << signal;
  }
}

TEST(ShellFault, RunningACommandTakesNoMemoryOfTheProgram) {
  const support::AllocationFault fault(support::Fault::kEvery);
  EXPECT_EQ(base::run_shell("test \"a sentence that is longer than a short text\""), 0);
  EXPECT_FALSE(fault.struck());
}

TEST(ShellFault, ACommandThatCannotBeStartedForAMomentIsStartedThen) {
  refuse(2);
  EXPECT_EQ(WEXITSTATUS(base::run_shell("exit 7")), 7);
  EXPECT_EQ(calls, 3);
  char line[16] = {};
  refuse(2);
  EXPECT_EQ(base::read_shell_line("echo there", line, sizeof(line)), 1);
  EXPECT_STREQ(line, "there\n");
  refuse(2);
  int lines = 0;
  EXPECT_EQ(base::read_shell_lines("echo there", [&](const char*) { return ++lines > 0; }), 0);
  EXPECT_EQ(lines, 1);
}

TEST(ShellFault, ACommandThatCannotBeStartedIsGivenUpSoon) {
  refuse(kForGood);
  const uint64_t begin = base::monotonic_us();
  EXPECT_EQ(base::run_shell("true"), -1);
  char line[16] = {};
  EXPECT_EQ(base::read_shell_line("echo there", line, sizeof(line)), -1);
  EXPECT_EQ(base::read_shell_lines("echo there", [](const char*) { return true; }), -1);
  ::testing::internal::CaptureStderr();
  base::run_shell_quiet("true");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "poen failed!: Resource temporarily unavailable\n");
  // Each of the four is tried five times, with 20 ms between the tries.
  EXPECT_EQ(calls, 20);
  EXPECT_GE(base::monotonic_us() - begin, 320000U);
  refuse(0);
}

}  // namespace
