// Opening and setting up a serial line, on a pseudo terminal, with the settings read back.
#include "flightlink/wire/serial_line.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/pty.h"

namespace {

termios told{};

}  // namespace

// The linker sends every tcsetattr here (see CMakeLists.txt): what the kernel was told.
extern "C" int __real_tcsetattr(int fd, int when, const termios* settings);
extern "C" int __wrap_tcsetattr(int fd, int when, const termios* settings) {
  told = *settings;
  return __real_tcsetattr(fd, when, settings);
}

namespace flightlink {
namespace {

using link_test::Bytes;
using link_test::Pty;

struct Settings {
  int speed = 115200;
  int data_bits = 8;
  char parity = 'N';
  int stop_bits = 1;
  tcflag_t parity_input = kParityInputBridge;
};

// What a fresh line has after it was set up. A pseudo terminal keeps every flag but the character
// size (always 8 bits) and PARENB, which are taken from what the kernel was told.
termios set_up(const Settings& wanted) {
  const Pty line;
  const base::Descriptor fd(open(line.name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  EXPECT_EQ(serial_line_set_opt(fd.get(), wanted.speed, wanted.data_bits, wanted.parity,
                                wanted.stop_bits, wanted.parity_input),
            0);
  constexpr tcflag_t kLost = CSIZE | PARENB;
  termios now = line.settings();
  now.c_cflag = (now.c_cflag & ~kLost) | (told.c_cflag & kLost);
  return now;
}

TEST(SerialLine, OpenLeavesTheLineBlocking) {
  const Pty line;
  ::testing::internal::CaptureStdout();
  const base::Descriptor fd(serial_line_open(line.name().c_str(), O_NONBLOCK));
  const std::string printed = ::testing::internal::GetCapturedStdout();
  ASSERT_TRUE(fd.open());
  EXPECT_EQ(fcntl(fd.get(), F_GETFL) & (O_NONBLOCK | O_ACCMODE), O_RDWR);
  EXPECT_EQ(fcntl(fd.get(), F_GETFD), FD_CLOEXEC);
  const std::string terminal =
      isatty(0) != 0 ? "isatty success!\n" : "standard input is not a terminal device\n";
  EXPECT_EQ(printed, "open " + line.name() + " success!\nfcntl=0\n" + terminal);
}

TEST(SerialLine, ALineThatIsNotThereGivesMinusOne) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(serial_line_open("/dev/no-such-line", O_NONBLOCK), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "can't open seria port ttyS0: No such file or directory\n");
}

TEST(SerialLine, IsRawAt115200) {
  ::testing::internal::CaptureStdout();
  const termios now = set_up({});
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "set done!\n");
  EXPECT_EQ(now.c_iflag, 0U);
  EXPECT_EQ(now.c_oflag, 0U);
  EXPECT_EQ(now.c_lflag, 0U);
  EXPECT_EQ(now.c_cflag & ~static_cast<tcflag_t>(CBAUD),
            static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(cfgetispeed(&now), static_cast<speed_t>(B115200));
  EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B115200));
  EXPECT_EQ(now.c_cc[VMIN], 0);
  EXPECT_EQ(now.c_cc[VTIME], 0);
}

TEST(SerialLine, KnowsThreeSpeedsAndTakesAnyOtherFor9600) {
  const std::pair<int, speed_t> speeds[] = {{2400, B2400}, {4800, B4800}, {115200, B115200},
                                            {9600, B9600}, {0, B9600},    {-1, B9600},
                                            {19200, B9600}};
  for (const auto& [speed, code] : speeds) {
    const termios now = set_up({.speed = speed});
    EXPECT_EQ(cfgetispeed(&now), code) << speed;
    EXPECT_EQ(cfgetospeed(&now), code) << speed;
  }
}

TEST(SerialLine, ParityChecksInputAndStripsItOnlyInTheFactory) {
  const termios bridge_even = set_up({.parity = 'E'});
  EXPECT_EQ(bridge_even.c_iflag, static_cast<tcflag_t>(INPCK));
  EXPECT_EQ(bridge_even.c_cflag & (PARENB | PARODD), static_cast<tcflag_t>(PARENB));
  const termios bridge_odd = set_up({.parity = 'O'});
  EXPECT_EQ(bridge_odd.c_iflag, static_cast<tcflag_t>(INPCK));
  EXPECT_EQ(bridge_odd.c_cflag & (PARENB | PARODD), static_cast<tcflag_t>(PARENB | PARODD));
  const termios factory = set_up({.parity = 'E', .parity_input = kParityInputFactory});
  EXPECT_EQ(factory.c_iflag, static_cast<tcflag_t>(INPCK | ISTRIP));
}

TEST(SerialLine, AnyOtherParityLetterMeansNone) {
  for (const char parity : {'N', 'e', 'o', 'S', '\0'}) {
    const termios now = set_up({.parity = parity});
    EXPECT_EQ(now.c_iflag, 0U);
    EXPECT_EQ(now.c_cflag & (PARENB | PARODD), 0U);
  }
}

TEST(SerialLine, DataBits) {
  const std::pair<int, tcflag_t> sizes[] = {{8, CS8}, {7, CS7}, {5, CS5}, {6, CS5}, {0, CS5}};
  for (const auto& [bits, size] : sizes) {
    EXPECT_EQ(set_up({.data_bits = bits}).c_cflag & CSIZE, size) << bits;
  }
}

TEST(SerialLine, StopBits) {
  EXPECT_EQ(set_up({.stop_bits = 1}).c_cflag & CSTOPB, 0U);
  EXPECT_EQ(set_up({.stop_bits = 2}).c_cflag & CSTOPB, static_cast<tcflag_t>(CSTOPB));
  EXPECT_EQ(set_up({.stop_bits = 3}).c_cflag & CSTOPB, 0U);
}

TEST(SerialLine, DropsPendingInput) {
  const Pty line;
  const base::Descriptor fd(open(line.name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  line.write_bytes({'o', 'l', 'd', '\n'});
  ASSERT_EQ(serial_line_set_opt(fd.get(), 115200, 8, 'N', 1, 0), 0);
  uint8_t byte = 0;
  EXPECT_EQ(read(fd.get(), &byte, 1), 0);  // and a read does not wait
  line.write_bytes({'x'});
  pollfd readable{fd.get(), POLLIN, 0};
  ASSERT_EQ(poll(&readable, 1, 2000), 1);
  EXPECT_EQ(read(fd.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
}

TEST(SerialLine, WhatIsNoTerminalCannotBeSetUp) {
  const base::Descriptor fd(open("/dev/null", O_RDWR | O_CLOEXEC));
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(serial_line_set_opt(fd.get(), 115200, 8, 'N', 1, 0), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "setup serial: Inappropriate ioctl for device\n");
}

}  // namespace
}  // namespace flightlink
