// How maintask starts and how it ends.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT: this is what the file is about

// Whether the program has a handler of its own for the signal.
bool catches(RunningMaintask& maintask, int number) {
  std::istringstream status(
      read_file("/proc/" + std::to_string(maintask.process().pid()) + "/status"));
  for (std::string word; status >> word;) {
    if (word != "SigCgt:") continue;
    uint64_t caught = 0;
    status >> std::hex >> caught;
    return (caught >> (number - 1) & 1) != 0;
  }
  return false;
}

// The indicator thread is started behind everything that an exit signal has to do with, and its
// first write of GPIO line 9 shows that it runs. A line of the program before this one may come late.
bool wait_until_started(RunningMaintask& maintask) {
  std::filesystem::remove("/tmp/gpio.log");
  return poll_until(
             [&] {
               return !maintask.runs() || (catches(maintask, SIGTERM) &&
                                           catches(maintask, SIGSEGV) && !gpio_values("9").empty());
             },
             seconds(15)) &&
         maintask.runs();
}

class ExitSignals : public ::testing::TestWithParam<int> {};

TEST_P(ExitSignals, IsPrintedAndEndsTheProcessBySignalNine) {
  RunningMaintask maintask;
  ASSERT_TRUE(wait_until_started(maintask)) << maintask.process().output();
  maintask.process().signal(GetParam());
  const auto status = maintask.process().wait_for_end(seconds(10));
  ASSERT_TRUE(status) << maintask.process().output();
  EXPECT_TRUE(WIFSIGNALED(*status) && WTERMSIG(*status) == SIGKILL) << *status;
  const std::string text =
      "maintask.c: Got signal " + std::to_string(GetParam()) + ", program exits!";
  const auto lines = maintask.process().lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), text), 1) << maintask.process().output();
}

INSTANTIATE_TEST_SUITE_P(Five, ExitSignals,
                         ::testing::Values(SIGTERM, SIGQUIT, SIGINT, SIGHUP, SIGUSR1),
                         [](const auto& test) { return sigabbrev_np(test.param); });

// The calling process of system() ignores SIGINT and SIGQUIT while the command runs, and maintask
// runs one whenever a lamp changes.
TEST(ExitSignal, IsNotLostWhileAShellCommandRuns) {
  constexpr const char* kScript = "/usr/local/share/script/t_gpio.sh";
  const std::string original = read_file(kScript);
  write_file(kScript, "#!/bin/sh\necho \"$1 $2\" >>/tmp/gpio.log\nsleep 1\n");
  for (const int number : {SIGINT, SIGQUIT}) {
    RunningMaintask maintask;
    EXPECT_TRUE(wait_until_started(maintask));
    maintask.process().signal(number);
    EXPECT_TRUE(maintask.process().wait_for_end(seconds(3))) << "signal " << number;
  }
  write_file(kScript, original);
}

TEST(CrashSignal, PrintsTheFaultAndABacktraceThatBeginsThere) {
  RunningMaintask maintask;
  ASSERT_TRUE(wait_until_started(maintask)) << maintask.process().output();
  maintask.process().signal(SIGSEGV);
  const auto status = maintask.process().wait_for_end(seconds(20));
  ASSERT_TRUE(status) << maintask.process().output();
  EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 1) << *status;

  const auto lines = maintask.process().lines();
  const std::string head = "Got signal 11, si_code= x0, faulty address is ";
  const auto fault = std::find_if(lines.begin(), lines.end(),
                                  [&](const std::string& line) { return line.starts_with(head); });
  ASSERT_NE(fault, lines.end()) << maintask.process().output();
  const size_t from = fault->find(", from 0x");
  ASSERT_NE(from, std::string::npos) << *fault;
  const std::string address = fault->substr(from + 7);
  ASSERT_GE(lines.end() - fault, 3) << maintask.process().output();
  EXPECT_EQ(fault[1], "[backtrace] Execution path:");
  EXPECT_TRUE(fault[2].starts_with("[backtrace] ")) << fault[2];
  EXPECT_NE(fault[2].find("[" + address + "]"), std::string::npos) << fault[2] << " " << address;
  for (auto line = fault + 2; line != lines.end(); line++) {
    EXPECT_TRUE(line->starts_with("[backtrace] ")) << *line;
  }
}

TEST(Start, RunsWithoutStandardDescriptors) {
  PeerLink peer;
  peer.keep_alive();
  ChildProcess closed({"sh", "-c", "exec \"$0\" 0<&- 1>&- 2>&-", BIN_DIR "/maintask"},
                      sanitizer_options());
  ASSERT_TRUE(peer.wait_for_id(0, seconds(15), 0));
  ASSERT_TRUE(peer.wait_for_id(0, seconds(15), peer.mark()));  // the link holds
  for (const char* number : {"0", "1", "2"}) {
    const std::filesystem::path link = "/proc/" + std::to_string(closed.pid()) + "/fd/" + number;
    EXPECT_EQ(std::filesystem::read_symlink(link), "/dev/null") << number;
  }
}

// Scheduling policy and real-time priority of every thread.
std::map<std::pair<int, int>, int> count_schedulings(pid_t pid) {
  std::map<std::pair<int, int>, int> result;
  for (const std::string& thread : list_folder("/proc/" + std::to_string(pid) + "/task")) {
    const pid_t id = std::stoi(thread);
    sched_param parameters{};
    sched_getparam(id, &parameters);
    result[{sched_getscheduler(id), parameters.sched_priority}]++;
  }
  return result;
}

// Whether this user may; the test itself stays as it is.
bool real_time_is_granted() {
  sched_param real_time{};
  real_time.sched_priority = 2;
  if (sched_setscheduler(0, SCHED_RR, &real_time) != 0) return false;
  const sched_param normal{};
  sched_setscheduler(0, SCHED_OTHER, &normal);
  return true;
}

TEST(Start, WorkersAskForRealTimeSchedulingAndRunWhereItIsRefused) {
  const bool granted = real_time_is_granted();
  RunningMaintask maintask;
  ASSERT_TRUE(wait_until_started(maintask));
  std::map<std::pair<int, int>, int> counts;
  // The peer link and what runs its timers, the acknowledged sender, the two threads of the media
  // channel, and the camera service's receive thread; the live video sender; main and the indicator
  // keep the default.
  EXPECT_TRUE(poll_until(
      [&] {
        counts = count_schedulings(maintask.process().pid());
        return granted ? counts[{SCHED_RR, 2}] >= 6 : counts[{SCHED_OTHER, 0}] >= 9;
      },
      seconds(15)))
      << counts[{SCHED_RR, 2}] << " " << counts[{SCHED_OTHER, 0}];
  EXPECT_EQ((counts[{SCHED_RR, 1}]), granted ? 1 : 0);
  EXPECT_GE((counts[{SCHED_OTHER, 0}]), 2);
}

TEST(Start, AnOddOrMissingProfileIsNoObstacle) {
  const std::string original = read_file("/korvan.conf");
  std::mt19937 random(1);
  std::string noise;
  for (int i = 0; i < 1000000; i++) noise += static_cast<char>(random());
  for (const std::string& profile : {std::string(), noise, std::string("=\n=\n[]\nboardtype\n")}) {
    write_file("/korvan.conf", profile);
    if (profile.empty()) std::filesystem::remove("/korvan.conf");
    PeerLink peer;
    RunningMaintask maintask;
    peer.keep_alive();
    EXPECT_TRUE(peer.wait_for_id(0, seconds(15), 0)) << maintask.process().output();
  }
  write_file("/korvan.conf", original);
}

TEST(Markers, TestModeEmptiesPhotosAndVideosAndShowsInTheHeartbeat) {
  write_file("/tmp/SD0/KRVMEDIA/testmode.conf", "");
  write_file(std::string(kPictures) + "a.JPG", "photo");
  write_file(std::string(kVideos) + "a.MP4", "video");
  write_file(std::string(kThumbnails) + "a_p.JPG", "thumbnail");
  PeerLink peer;
  {
    RunningMaintask maintask;
    peer.keep_alive();
    EXPECT_TRUE(
        peer.wait_for([](const Frame& frame) { return frame.id == 0 && (frame.u8(7) & 2) == 2; },
                      seconds(15), 0));
    EXPECT_TRUE(poll_until([] { return list_folder(kPictures).empty(); }, seconds(10)));
    EXPECT_TRUE(list_folder(kVideos).empty());
    EXPECT_EQ(list_folder(kThumbnails).size(), 1U);
  }
  std::filesystem::remove("/tmp/SD0/KRVMEDIA/testmode.conf");
  write_file(std::string(kPictures) + "a.JPG", "photo");
  {
    const size_t mark = peer.mark();
    RunningMaintask maintask;
    ASSERT_TRUE(wait_until_started(maintask));
    const auto frame = peer.wait_for_id(0, seconds(15), mark);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->u8(7) & 2, 0);
    EXPECT_EQ(list_folder(kPictures).size(), 1U);
  }
  std::filesystem::remove_all("/tmp/SD0/KRVMEDIA");
}

TEST(Indicator, ASteadyLevelRunsTheScriptOnce) {
  RunningMaintask maintask;
  ASSERT_TRUE(wait_until_started(maintask));
  // The first second may still show the level from before the stream was set up.
  ASSERT_TRUE(poll_until([] { return gpio_values("9").back() == "1"; }, seconds(5)));
  const size_t before = gpio_values("9").size();
  EXPECT_LE(before, 2U);
  let_pass(milliseconds(2500));
  EXPECT_EQ(gpio_values("9").size(), before);
}

TEST(Indicator, BlinksOnceASecondAfterAFailedSetUp) {
  RunningMaintask maintask("no-streams\n");
  ASSERT_TRUE(wait_until_started(maintask));
  ASSERT_TRUE(poll_until([] { return gpio_values("9").size() >= 4; }, seconds(10)));
  auto values = gpio_values("9");
  // A level of 0 may have been written before the set-up failed.
  if (values.front() == "0") values.erase(values.begin());
  values.resize(3);
  EXPECT_EQ(values, (std::vector<std::string>{"1", "0", "1"}));

  const size_t count = gpio_values("9").size();
  const Time begin = Clock::now();
  ASSERT_TRUE(poll_until([&] { return gpio_values("9").size() >= count + 2; }, seconds(10)));
  const auto took = Clock::now() - begin;
  EXPECT_GE(took, milliseconds(900));
  EXPECT_LE(took, milliseconds(2500) * kSlowdown);
}

}  // namespace
