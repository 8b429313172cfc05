// The factory's serial line, and the runner of its test mode. On a board, for the line and the
// card; sleeping and the shell are the recording fake's.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "base/descriptor.h"
#include "fake_base/fake_base.h"
#include "supervisor/testmode/testmode.h"
#include "supervisor/testmode/testmode_rig.h"
#include "supervisor/testmode/uart.h"
#include "support/board_files.h"

namespace {

termios last_settings{};
bool settings_fail = false;

}  // namespace

// The linker sends every tcsetattr here (see CMakeLists.txt): a pseudo terminal keeps neither
// parity nor character size, so what it was asked for is looked at as well.
extern "C" int __real_tcsetattr(int fd, int when, const termios* settings);
extern "C" int __wrap_tcsetattr(int fd, int when, const termios* settings) {
  last_settings = *settings;
  if (settings_fail) {
    errno = EIO;
    return -1;
  }
  EXPECT_EQ(when, TCSANOW);
  return __real_tcsetattr(fd, when, settings);
}

namespace supervisor {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using namespace testmode_test;  // NOLINT

std::string complaint_of(const std::function<void()>& call) {
  ::testing::internal::CaptureStderr();
  call();
  return ::testing::internal::GetCapturedStderr();
}

// The board's own line.
class TestLine : public fake_base::FakeBaseTest {
 protected:
  TestLine() {
    test_uart_state.clear();
    settings_fail = false;
    use("/dev/ttyS1");
  }
  ~TestLine() override {
    const int line = test_uart_state.fd.load();
    if (line != 0) close(line);
    test_uart_state.clear();
    use("/dev/ttyS1");
  }

  static void use(const char* path) { std::strcpy(test_uart_device, path); }
  static termios read_back() {
    termios settings{};
    EXPECT_EQ(tcgetattr(test_uart_state.fd.load(), &settings), 0);
    return settings;
  }
};

TEST_F(TestLine, TheServiceOpensTheLineRawAndStartsItsReader) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(testmode_uart_start(), 1);  // the fake's first thread
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_THAT(printed, HasSubstr("open /dev/ttyS1 success!\nfcntl=0\n"));
  EXPECT_THAT(printed, HasSubstr("set done!"));
  const auto threads = fake_base::threads();
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads[0].priority, 2);
  EXPECT_EQ(test_uart_state.thread, pthread_t{1});

  EXPECT_EQ(fcntl(test_uart_state.fd.load(), F_GETFL) & O_NONBLOCK, 0);
  const termios line = read_back();
  EXPECT_EQ(line.c_iflag, 0U);
  EXPECT_EQ(line.c_oflag, 0U);
  EXPECT_EQ(line.c_lflag, 0U);
  EXPECT_EQ(line.c_cflag & (CSIZE | CSTOPB | CREAD | CLOCAL | PARENB | PARODD),
            tcflag_t{CS8 | CREAD | CLOCAL});
  EXPECT_EQ(cfgetispeed(&line), speed_t{B115200});
  EXPECT_EQ(cfgetospeed(&line), speed_t{B115200});
  EXPECT_EQ(line.c_cc[VMIN], 0);
  EXPECT_EQ(line.c_cc[VTIME], 0);
}

TEST_F(TestLine, EverySettingIsTheOneThatWasAskedFor) {
  ASSERT_EQ(test_uart_open(), 0);
  constexpr tcflag_t kAlways = CREAD | CLOCAL;
  constexpr tcflag_t kStrip = INPCK | ISTRIP;
  const struct {
    int32_t speed, data_bits;
    char parity;
    int32_t stop_bits;
    speed_t rate;
    tcflag_t control, input;
  } rows[] = {
      {115200, 8, 'N', 1, B115200, kAlways | CS8, 0},
      {2400, 7, 'E', 1, B2400, kAlways | CS7 | PARENB, kStrip},
      {4800, 7, 'O', 2, B4800, kAlways | CS7 | PARENB | PARODD | CSTOPB, kStrip},
      {9600, 8, 'E', 2, B9600, kAlways | CS8 | PARENB | CSTOPB, kStrip},
      {57600, 6, 'N', 3, B9600, kAlways | CS5, 0},
      {0, 0, 'n', 0, B9600, kAlways | CS5, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.speed) + row.parity);
    EXPECT_EQ(test_uart_set_opt(row.speed, row.data_bits, row.parity, row.stop_bits), 0);
    // Beside the rate, which is kept in the same word.
    constexpr tcflag_t kControl = CSIZE | CSTOPB | CREAD | CLOCAL | PARENB | PARODD | HUPCL;
    EXPECT_EQ(last_settings.c_cflag & kControl, row.control);
    EXPECT_EQ(last_settings.c_iflag, row.input);
    EXPECT_EQ(cfgetispeed(&last_settings), row.rate);
    EXPECT_EQ(cfgetospeed(&last_settings), row.rate);
    // And as the line reads back.
    const termios line = read_back();
    EXPECT_EQ(line.c_iflag, row.input);
    EXPECT_EQ(cfgetospeed(&line), row.rate);
    EXPECT_EQ(line.c_cflag & (CSTOPB | PARODD), row.control & (CSTOPB | PARODD));
  }
}

TEST_F(TestLine, WhatArrivedBeforeTheSettingsIsThrownAway) {
  const base::Descriptor far(open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(test_uart_open(), 0);
  ASSERT_EQ(test_uart_set_opt(115200, 8, 'N', 1), 0);
  ASSERT_EQ(write(far.get(), "uart_test", 9), 9);
  support::let_pass(support::milliseconds(300));
  ASSERT_EQ(test_uart_set_opt(115200, 8, 'N', 1), 0);
  char byte = 0;
  EXPECT_EQ(read(test_uart_state.fd.load(), &byte, 1), 0);  // and no read waits
}

TEST_F(TestLine, ALineThatIsNotThereStartsNoReader) {
  use("/no/line");
  EXPECT_EQ(complaint_of([] { EXPECT_EQ(testmode_uart_start(), -1); }),
            "can't open seria port ttyS0: No such file or directory\n"
            "open_port error: No such file or directory\n");
  EXPECT_TRUE(fake_base::threads().empty());
  EXPECT_EQ(test_uart_state.fd.load(), 0);
}

TEST_F(TestLine, ALineThatIsNoTerminalStartsNoReader) {
  support::write_file("/tmp/no_terminal", "");
  use("/tmp/no_terminal");
  EXPECT_EQ(complaint_of([] { EXPECT_EQ(testmode_uart_start(), -1); }),
            "setup serial: Inappropriate ioctl for device\n"
            "set_opt error: Inappropriate ioctl for device\n");
  EXPECT_TRUE(fake_base::threads().empty());
}

TEST_F(TestLine, SettingsThatAreRefusedStartNoReader) {
  settings_fail = true;
  EXPECT_EQ(complaint_of([] { EXPECT_EQ(testmode_uart_start(), -1); }),
            "com set error: Input/output error\nset_opt error: Input/output error\n");
  EXPECT_TRUE(fake_base::threads().empty());
}

TEST_F(TestLine, AThreadThatCannotStartIsAFailure) {
  fake_base::fail_next_thread();
  EXPECT_EQ(testmode_uart_start(), -1);
}

constexpr const char* kTestMarker = "/tmp/SD0/KRVMEDIA/testmode.conf";
constexpr const char* kRecordMarker = "/tmp/SD0/KRVMEDIA/autorec.conf";

// The runner never returns: the fake's sleep leaves it by an exception.
class Runner : public TestLine {
 protected:
  struct Enough : std::runtime_error {
    Enough() : std::runtime_error("enough") {}
  };

  ~Runner() override {
    unlink(kTestMarker);
    unlink(kRecordMarker);
    testmode_not_running.store(1);
  }

  static void run_for(size_t sleeps) {
    fake_base::on_sleep([=](uint64_t) {
      if (fake_base::sleeps().size() == sleeps) throw Enough();
    });
    EXPECT_THROW(testmode_run(), Enough);
  }
};

TEST_F(Runner, WithoutTheMarkerNothingHappens) {
  EXPECT_EQ(testmode_run(), -1);
  EXPECT_EQ(testmode_not_running.load(), 1);
  EXPECT_EQ(test_uart_state.fd.load(), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(Runner, WithTheMarkerItStartsTheServiceAndSleepsSecondBySecond) {
  support::write_file(kTestMarker, "");
  run_for(30);
  EXPECT_EQ(testmode_not_running.load(), 0);
  EXPECT_EQ(fake_base::threads().size(), 1U);
  EXPECT_EQ(fake_base::events(), Events(30, "sleep 1000000"));
}

TEST_F(Runner, TheRecordingMarkerRunsTestsBackToBackFromTheTenthSecondOn) {
  support::write_file(kTestMarker, "");
  support::write_file(kRecordMarker, "");
  run_for(10 + 4 + 1 + 4);
  Events expected(10, "sleep 1000000");
  for (int i = 0; i < 2; i++) {
    const Events test = record_events({kReadMac});
    expected.insert(expected.end(), test.begin(), test.end());
    if (i == 0) expected.emplace_back("sleep 1000000");
  }
  EXPECT_EQ(fake_base::events(), expected);
}

TEST_F(Runner, TheRecordingMarkerIsLookedForEverySecond) {
  support::write_file(kTestMarker, "");
  fake_base::on_sleep([](uint64_t) {
    const size_t sleeps = fake_base::sleeps().size();
    if (sleeps == 15) support::write_file(kRecordMarker, "");
    if (sleeps == 17) unlink(kRecordMarker);
    if (sleeps == 25) throw Enough();
  });
  EXPECT_THROW(testmode_run(), Enough);
  Events expected(15, "sleep 1000000");
  const Events test = record_events({kReadMac});
  expected.insert(expected.end(), test.begin(), test.end());
  expected.insert(expected.end(), 6, "sleep 1000000");
  EXPECT_EQ(fake_base::events(), expected);
}

TEST_F(Runner, ALineThatIsNotThereDoesNotEndIt) {
  support::write_file(kTestMarker, "");
  use("/no/line");
  run_for(3);
  EXPECT_TRUE(fake_base::threads().empty());
}

}  // namespace
}  // namespace supervisor
