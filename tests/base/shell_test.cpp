#include "base/shell.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "base/clock.h"
#include "support/no_descriptors.h"

namespace {

TEST(RunShell, ReturnsTheWaitStatus) {
  EXPECT_EQ(base::run_shell("true"), 0);
  const int status = base::run_shell("exit 7");
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(RunShellQuiet, WaitsForTheCommandAndThenTenMilliseconds) {
  const std::string folder = ::testing::TempDir() + "quiet_" + std::to_string(::getpid());
  const uint64_t begin = base::monotonic_us();
  base::run_shell_quiet(("sleep 0.05; mkdir " + folder).c_str());
  EXPECT_GE(base::monotonic_us() - begin, 60000U);
  EXPECT_TRUE(std::filesystem::remove(folder));
}

TEST(ReadShellLine, KeepsTheNewlineOfTheFirstLine) {
  char line[16] = {};
  EXPECT_EQ(base::read_shell_line("printf 'first\\nsecond\\n'", line, sizeof(line)), 1);
  EXPECT_STREQ(line, "first\n");
}

TEST(ReadShellLine, CutsALongLine) {
  char line[5] = {};
  EXPECT_EQ(base::read_shell_line("echo 123456", line, sizeof(line)), 1);
  EXPECT_STREQ(line, "1234");
}

TEST(ReadShellLine, ASilentCommandReadsNothing) {
  char line[5] = {};
  EXPECT_EQ(base::read_shell_line("true", line, sizeof(line)), 0);
  EXPECT_STREQ(line, "");
}

TEST(ShellWithoutAPipe, IsAnErrorForWhoReads) {
  const support::NoDescriptors none;
  char line[5] = "old";
  EXPECT_EQ(base::read_shell_line("echo new", line, sizeof(line)), -1);
  EXPECT_STREQ(line, "old");
  EXPECT_EQ(base::read_shell_lines("echo new", [](const char*) { return true; }), -1);
}

TEST(ShellWithoutAPipe, IsComplainedOfAndWaitedForAllTheSame) {
  ::testing::internal::CaptureStderr();
  const uint64_t begin = base::monotonic_us();
  {
    const support::NoDescriptors none;
    base::run_shell_quiet("true");
  }
  EXPECT_GE(base::monotonic_us() - begin, 10000U);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "poen failed!: Too many open files\n");
}

TEST(RunShell, ACommandThatIsTooLongIsNotStarted) {
  EXPECT_EQ(base::run_shell((": " + std::string(1U << 20, 'x')).c_str()), -1);
}

TEST(ReadShellLines, GivesEveryLineWithoutItsNewline) {
  std::vector<std::string> lines;
  const auto take = [&](const char* line) {
    lines.emplace_back(line);
    return true;
  };
  EXPECT_EQ(base::read_shell_lines("printf 'one\\n\\nthree'", take), 0);
  EXPECT_EQ(lines, (std::vector<std::string>{"one", "", "three"}));
}

TEST(ReadShellLines, ALongLineComesInPieces) {
  std::vector<size_t> lengths;
  const auto take = [&](const char* line) {
    lengths.push_back(std::string(line).size());
    return true;
  };
  EXPECT_EQ(base::read_shell_lines("printf '%060d\\n' 1", take), 0);
  EXPECT_EQ(lengths, (std::vector<size_t>{49, 11}));
}

TEST(Shell, NoCommandIsLeftBehind) {
  char line[5] = {};
  EXPECT_EQ(base::run_shell("true"), 0);
  base::run_shell_quiet("true");
  EXPECT_EQ(base::read_shell_line("yes", line, sizeof(line)), 1);
  EXPECT_EQ(base::read_shell_lines("yes", [](const char*) { return false; }), 0);
  // Neither one that runs nor one that nobody has waited for.
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(ReadShellLines, EndsWhenTheCallerHasEnough) {
  int taken = 0;
  EXPECT_EQ(base::read_shell_lines("yes", [&](const char*) { return ++taken < 3; }), 0);
  EXPECT_EQ(taken, 3);
}

}  // namespace
