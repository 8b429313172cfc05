// The virtual board seen from outside: every test as the caller and as an ordinary user.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/clock.h"
#include "base/descriptor.h"
#include "board/board_runner.h"

namespace board_tests {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class Board : public ::testing::TestWithParam<User> {
 protected:
  // What the script prints; the script has to end with status 0.
  static std::string printed(const std::string& script) {
    const Outcome outcome = run_script(GetParam(), script);
    EXPECT_EQ(outcome.status, 0) << script << "\n" << outcome.output;
    return outcome.output;
  }
};

// The number of processes of this machine whose command line holds the text.
int processes_with(const std::string& text) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    // Read without exceptions: the process may end meanwhile.
    const base::File file(std::fopen((entry.path() / "cmdline").c_str(), "re"));
    if (file == nullptr) continue;
    std::string line(65536, '\0');
    line.resize(std::fread(line.data(), 1, line.size(), file.get()));
    if (line.find(text) != std::string::npos) count++;
  }
  return count;
}

// Waits up to 5 s for that number of processes; the kernel ends a namespace a moment after its
// owner.
bool settles_at(int count, const std::string& text) {
  for (int i = 0; i < 500; i++) {
    if (processes_with(text) == count) return true;
    base::sleep_ms(10);
  }
  return false;
}

TEST_P(Board, PassesTheExitStatusOn) {
  EXPECT_EQ(run_script(GetParam(), "exit 0").status, 0);
  EXPECT_EQ(run_script(GetParam(), "exit 42").status, 42);
  EXPECT_EQ(run_script(GetParam(), "kill -TERM $$").status, 128 + SIGTERM);
  EXPECT_EQ(run_script(GetParam(), "kill -SEGV $$").status, 128 + SIGSEGV);
  EXPECT_EQ(run_board(GetParam(), {"exec", "--", "no-such-program"}).status, 127);
}

TEST_P(Board, ProgramInsideFindsEverything) {
  const std::string program = shared_file(INSIDE_TEST);
  const Outcome outcome = run_board(GetParam(), {"exec", "--", program});
  EXPECT_EQ(outcome.status, 0) << outcome.output;
}

// On a busy machine the kernel notes late that a link is up, long after it carries.
TEST_P(Board, BothAddressesAnswerAndNothingElseDoes) {
  EXPECT_EQ(printed("ping -q -c1 -W2 192.168.31.111 >/dev/null && echo peer;"
                    "on-peer ping -q -c1 -W2 192.168.31.1 >/dev/null && echo board;"
                    "ip route | sed 's/linkdown //'; ping -q -c1 -W1 192.0.2.1 2>&1 | head -1"),
            "peer\nboard\n"
            "192.168.31.0/24 dev wlan0 proto kernel scope link src 192.168.31.1 \n"
            "ping: connect: Network is unreachable\n");
}

TEST_P(Board, MacAddressesAreTheOnesInTheEnvironment) {
  EXPECT_EQ(printed("ip -o link show wlan0 | grep -o 'ether [0-9a-f:]*';"
                    "on-peer ip -o link show wlan0 | grep -o 'ether [0-9a-f:]*';"
                    "echo $BOARD_WLAN0_MAC $BOARD_PEER_MAC $BOARD_USB0_MAC"),
            "ether 02:4b:9c:de:f0:01\nether 02:4b:9c:de:f0:6f\n"
            "02:4b:9c:de:f0:01 02:4b:9c:de:f0:6f 02:a5:1b:3c:d4:0e\n");
  EXPECT_EQ(printed("/sbin/ifconfig usb0 | /bin/grep HWaddr | /usr/bin/awk '{print $5}'"),
            "02:A5:1B:3C:D4:0E\n");
}

TEST_P(Board, SecondStationOnTheRadioHasItsOwnAddresses) {
  EXPECT_EQ(printed("ip netns add second;"
                    "on-peer ip link add link wlan0 name wlan0 netns second"
                    "  address 02:4b:9c:de:f0:70 type macvlan mode bridge;"
                    "export BOARD_PEER_NETNS=/run/netns/second;"
                    "on-peer ip link set wlan0 up;"
                    "on-peer ip address add 192.168.31.112/24 dev wlan0;"
                    "on-peer ping -q -c1 -W2 192.168.31.1 >/dev/null;"
                    "awk '$1 == \"192.168.31.112\" {print $4, $6}' /proc/net/arp"),
            "02:4b:9c:de:f0:70 wlan0\n");
}

TEST_P(Board, FilterDropsInsideAndLeavesTheHostAlone) {
  const bool root = ::geteuid() == 0;
  const auto host_rules = [] {
    const Running list = start({"iptables", "-S"});
    const base::Descriptor output(list.output);
    std::string text = read_output(output.get());
    wait_status(list.pid);
    return text;
  };
  const std::string before = root ? host_rules() : "";
  EXPECT_EQ(printed("on-peer ping -q -c1 -W2 192.168.31.1 >/dev/null && echo open;"
                    "iptables -A INPUT -m mac --mac-source 02:00:00:00:00:01 -j ACCEPT;"
                    "iptables -P INPUT DROP;"
                    "on-peer ping -q -c1 -W1 192.168.31.1 >/dev/null || echo closed;"
                    "iptables -A INPUT -m mac --mac-source $BOARD_PEER_MAC -j ACCEPT;"
                    "on-peer ping -q -c1 -W2 192.168.31.1 >/dev/null && echo bound"),
            "open\nclosed\nbound\n");
  if (root) {
    EXPECT_EQ(host_rules(), before);
  }
}

TEST_P(Board, FullCardIsFull) {
  const Outcome outcome = run_board(
      GetParam(), {"exec", "--sd-size", "3M", "--", "bash", "-c",
                   "dd if=/dev/zero of=/tmp/SD0/fill bs=1M 2>&1; stat -c %s /tmp/SD0/fill"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr("No space left on device"));
  EXPECT_THAT(outcome.output, HasSubstr("\n3145728\n"));
}

TEST_P(Board, CardCanBeReadOnlyAndCanBeMissing) {
  EXPECT_THAT(printed("mount -o remount,bind,ro /tmp/SD0; touch /tmp/SD0/a 2>&1 || true"),
              HasSubstr("Read-only file system"));
  const Outcome outcome =
      run_board(GetParam(), {"exec", "--no-sd", "--", "test", "!", "-e", "/tmp/SD0"});
  EXPECT_EQ(outcome.status, 0);
}

TEST_P(Board, GpioScriptLogsItsArguments) {
  EXPECT_EQ(printed("/bin/sh /usr/local/share/script/t_gpio.sh 9 1;"
                    "/usr/local/share/script/t_gpio.sh 10 0; cat /tmp/gpio.log"),
            "9 1\n10 0\n");
}

TEST_P(Board, ProfileIsEditedInPlaceAndOnlyInside) {
  EXPECT_EQ(printed("grep ^WifiChannel /korvan.conf; /bin/sed -i '/WifiChannel/d' /korvan.conf;"
                    "grep -c WifiChannel /korvan.conf; grep ^ModelName /korvan.conf"),
            "WifiChannel=149\n0\nModelName=FALK2\n");
  EXPECT_EQ(
      printed("grep ^WifiChannel /korvan.conf; echo kept > /pref/cam.conf; cat /pref/cam.conf"),
      "WifiChannel=149\nkept\n");
}

TEST_P(Board, OwnProfileAndBoundFilesAreShown) {
  const std::string profile = copy_folder() + "/own.conf";
  std::ofstream(profile) << "ModelName=OTHER\n";
  const Outcome outcome =
      run_board(GetParam(), {"exec", "--korvan", profile, "--bind", profile, "/pref/bound.conf",
                             "--", "cat", "/korvan.conf", "/pref/bound.conf"});
  EXPECT_EQ(outcome.output, "ModelName=OTHER\nModelName=OTHER\n");
}

TEST_P(Board, RepositoryAndCurrentDirectoryAreAtTheirPaths) {
  EXPECT_EQ(printed("pwd; test -x \"$(command -v node)\" && node -p 6*7"),
            start_folder(GetParam()) + "\n42\n");
  if (GetParam() == User::kCaller) {
    EXPECT_EQ(printed("ls -d '" SOURCE_DIR "/board/board'"), SOURCE_DIR "/board/board\n");
  }
  EXPECT_THAT(run_script(GetParam(), "touch /usr/x").output, HasSubstr("Read-only file system"));
}

TEST_P(Board, BuiltProgramsAreFoundByTheirNames) {
  const bool copied = start_folder(GetParam()) == copy_folder();
  const std::string bin = (copied ? copy_folder() : std::string(SOURCE_DIR)) + "/build/release/bin";
  EXPECT_EQ(printed("echo \"$PATH\" | cut -d: -f1,2"), "/sbin:" + bin + "\n");
  if (!copied) return;
  std::filesystem::create_directories(bin);
  std::ofstream(bin + "/maintask") << "#!/bin/sh\necho found\n";
  std::filesystem::permissions(bin + "/maintask", static_cast<std::filesystem::perms>(0755));
  EXPECT_EQ(run_board(GetParam(), {"exec", "--", "maintask"}).output, "found\n");
}

// As the build folder is when root has cloned into its home.
TEST_P(Board, StartsFromADirectoryThatIsClosedToOthers) {
  const std::string before = std::filesystem::current_path();
  const std::string closed = copy_folder() + "/closed to others";
  std::filesystem::create_directory(closed);
  std::filesystem::permissions(closed, std::filesystem::perms::owner_all);
  std::filesystem::current_path(closed);
  const Outcome outcome = run_script(GetParam(), "echo started");
  std::filesystem::current_path(before);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "started\n");
}

// The rights are looked at and never tried: a board that had them would change this machine.
TEST_P(Board, HasNoRightToSetTheClockToRebootOrToLoadModules) {
  const std::string rights = printed(
      "grep CapBnd /proc/self/status | { read -r _ value; echo $((16#$value >> 25 & 1))"
      " $((16#$value >> 22 & 1)) $((16#$value >> 16 & 1)); }");
  EXPECT_EQ(rights, "0 0 0\n");  // SYS_TIME, SYS_BOOT, SYS_MODULE
}

TEST_P(Board, ClockShimRecordsTheCallAndSucceeds) {
  const std::string shim = shared_file(CLOCK_SHIM);
  const std::string program = shared_file(INSIDE_TEST);
  // Sanitizers insist on being first in a program; the shim is without one. A path in LD_PRELOAD
  // ends at a space.
  const std::string script =
      "export ASAN_OPTIONS=verify_asan_link_order=0 CLOCKSHIM_LOG=/tmp/clock.log;"
      "LD_PRELOAD=/run/libclockshim.so /run/program --set-clock 1500000000 && cat /tmp/clock.log";
  const Outcome outcome =
      run_board(GetParam(), {"exec", "--bind", shim, "/run/libclockshim.so", "--bind", program,
                             "/run/program", "--", "bash", "-c", script});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "1500000000 0\n");
}

TEST_P(Board, TwoBoardsDoNotSeeEachOther) {
  const std::string script =
      "echo mine > /tmp/SD0/mark; (exec -a board-neighbour sleep 60) & "
      "on-peer ping -q -c1 -W2 192.168.31.1 >/dev/null && echo up; wait";
  const Running first = start(board_command(GetParam(), {"exec", "--", "bash", "-c", script}));
  const base::Descriptor output(first.output);
  ASSERT_THAT(read_output(output.get(), "up\n"), HasSubstr("up\n"));
  EXPECT_EQ(printed("test ! -e /tmp/SD0/mark && on-peer ping -q -c1 -W2 192.168.31.1 >/dev/null;"
                    "pgrep -f ^board-neighbour || echo alone"),
            "alone\n");
  ::kill(first.pid, SIGKILL);
  EXPECT_EQ(wait_status(first.pid), 128 + SIGKILL);
}

TEST_P(Board, KilledBoardLeavesNoProcessBehind) {
  const std::string name = "board-left-" + std::to_string(::getpid());
  const std::string script = "(exec -a " + name + " sleep 600) & (trap '' TERM HUP INT; exec -a " +
                             name + " setsid sleep 600) & echo up; wait";
  for (const int signal : {SIGKILL, SIGTERM}) {
    const Running board = start(board_command(GetParam(), {"exec", "--", "bash", "-c", script}));
    const base::Descriptor output(board.output);
    ASSERT_THAT(read_output(output.get(), "up\n"), HasSubstr("up\n"));
    EXPECT_GE(processes_with(name), 2);
    ::kill(board.pid, signal);
    EXPECT_EQ(wait_status(board.pid), 128 + signal);
    EXPECT_TRUE(settles_at(0, name));
  }
}

TEST_P(Board, EndedCommandTakesItsChildrenAlong) {
  const std::string name = "board-child-" + std::to_string(::getpid());
  const Outcome outcome =
      run_script(GetParam(), "(exec -a " + name + " setsid sleep 600) >/dev/null 2>&1 & exit 5");
  EXPECT_EQ(outcome.status, 5);
  EXPECT_TRUE(settles_at(0, name));
}

TEST_P(Board, InterruptFromTheKeyboardIsTheCommandsToAnswer) {
  EXPECT_EQ(printed("trap 'echo answered' INT; kill -INT $$; echo on"), "answered\non\n");
  EXPECT_EQ(run_script(GetParam(), "kill -INT $$").status, 128 + SIGINT);
}

TEST_P(Board, MistakesAreOnePlainSentence) {
  struct {
    std::vector<std::string> arguments;
    std::string sentence;
  } const rows[] = {
      {{"fly"}, "board: 'fly' is no command; see board/board --help.\n"},
      {{"exec"}, "board: no command is given; see board/board --help.\n"},
      {{"exec", "--lost"}, "board: '--lost' is no option; see board/board --help.\n"},
      {{"exec", "--sd-size", "0", "true"},
       "board: '0' is no card size; give one like 64M or 2G.\n"},
      {{"exec", "--korvan", "/no/file", "true"},
       "board: the profile '/no/file' cannot be read; name a readable file.\n"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = run_board(GetParam(), row.arguments);
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.output, row.sentence);
  }
  const Outcome help = run_board(GetParam(), {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.output, StartsWith("Usage: board/board exec"));
}

INSTANTIATE_TEST_SUITE_P(As, Board, ::testing::Values(User::kCaller, User::kOrdinary),
                         [](const ::testing::TestParamInfo<User>& row) {
                           return row.param == User::kCaller ? "Caller" : "OrdinaryUser";
                         });

}  // namespace
}  // namespace board_tests
