// What the service manager hears of the program: that it has started, and from then on that it lives, as long
// as its main threads turn. The test plays the manager.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT: this is what the file is about

constexpr const char* kManager = "/tmp/manager";
const Environment kManaged{{"NOTIFY_SOCKET", kManager}, {"WATCHDOG_USEC", "10000000"}};
constexpr milliseconds kLimit = seconds(10);  // of the unit

class Manager {
 public:
  Manager() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    unlink(kManager);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, kManager);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  }
  // Everything that has been told and not been read.
  std::vector<std::string> told() {
    std::vector<std::string> texts;
    char text[100];
    for (ssize_t size; (size = recv(socket_.get(), text, sizeof(text), MSG_DONTWAIT)) >= 0;) {
      texts.emplace_back(text, static_cast<size_t>(size));
    }
    return texts;
  }
  // Whether the program says within that time that it lives.
  bool hears(milliseconds limit) {
    return poll_until([this] { return !told().empty(); }, limit);
  }

 private:
  base::Descriptor socket_;
};

// The program's thread of that name; its own is the main thread's.
pid_t thread_called(pid_t program, const std::string& name) {
  const std::string tasks = "/proc/" + std::to_string(program) + "/task/";
  for (const std::string& thread : list_folder(tasks)) {
    if (read_file(tasks + thread + "/comm") == name + "\n") return std::stoi(thread);
  }
  return -1;
}

// One thread stands still, the others go on.
class StoppedThread {
 public:
  explicit StoppedThread(pid_t thread) : thread_(thread) {
    EXPECT_EQ(ptrace(PTRACE_SEIZE, thread_, nullptr, nullptr), 0) << std::strerror(errno);
    EXPECT_EQ(ptrace(PTRACE_INTERRUPT, thread_, nullptr, nullptr), 0);
    int status = 0;
    EXPECT_EQ(waitpid(thread_, &status, __WALL), thread_);
  }
  ~StoppedThread() { ptrace(PTRACE_DETACH, thread_, nullptr, nullptr); }
  StoppedThread(const StoppedThread&) = delete;
  StoppedThread& operator=(const StoppedThread&) = delete;

 private:
  pid_t thread_;
};

// Neither a peer nor a camera service: each thread turns as rarely as it ever does.
TEST(Watchdog, LearnsOfTheStartFirstAndThenInTimeThatTheProgramLives) {
  Manager manager;
  RunningMaintask maintask("", kManaged);
  std::vector<std::string> first;
  ASSERT_TRUE(poll_until([&] { return !(first = manager.told()).empty(); }, seconds(20)));
  EXPECT_EQ(first.front(), "READY=1");
  for (int i = 0; i < 3; i++) {
    std::vector<std::string> told;
    EXPECT_TRUE(poll_until([&] { return !(told = manager.told()).empty(); }, kLimit)) << i;
    for (const std::string& text : told) EXPECT_EQ(text, "WATCHDOG=1");
  }
}

class StandingThread : public ::testing::TestWithParam<const char*> {};

TEST_P(StandingThread, IsNoticedAndForgottenWhenItTurnsAgain) {
  Manager manager;
  PeerLink peer;
  RunningCameraService service;
  RunningMaintask maintask("", kManaged);
  peer.keep_alive();
  ASSERT_TRUE(manager.hears(seconds(20))) << maintask.process().output();
  ASSERT_TRUE(manager.hears(kLimit));
  const pid_t thread = thread_called(maintask.process().pid(), GetParam());
  ASSERT_GT(thread, 0);
  {
    const StoppedThread stopped(thread);
    let_pass(seconds(1));  // what it did before may be told still
    manager.told();
    let_pass(kLimit);
    EXPECT_EQ(manager.told(), std::vector<std::string>{});
  }
  EXPECT_TRUE(manager.hears(kLimit));
}

INSTANTIATE_TEST_SUITE_P(Each, StandingThread,
                         ::testing::Values("maintask", "PeerUdpThread", "cam_json_thread"),
                         [](const auto& test) { return std::string(test.param); });

TEST(Watchdog, AProgramWithoutAManagerRunsAsItIs) {
  PeerLink peer;
  RunningMaintask maintask("", {{"WATCHDOG_USEC", "10000000"}});
  peer.keep_alive();
  EXPECT_TRUE(peer.wait_for_id(0, seconds(15), 0)) << maintask.process().output();
}

}  // namespace
