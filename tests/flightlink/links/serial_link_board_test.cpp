// The bridge on the board's own line, "/dev/ttyS1".
#include "flightlink/links/serial_link.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "flightlink/link_suite.h"

namespace flightlink {
namespace {

constexpr const char* kMarker = "/tmp/SD0/KRVMEDIA/testmode.conf";

TEST(SerialBoard, StartOpensTheLineAndStartsTheReader) {
  in_fresh_process([] {
    fake_base::reset();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(serial_link_start(), 0);
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_THAT(printed, ::testing::StartsWith("open /dev/ttyS1 success!\nfcntl=0\n"));
    EXPECT_THAT(printed, ::testing::EndsWith("set done!\n"));
    ASSERT_EQ(fake_base::threads().size(), 1U);
    EXPECT_EQ(fake_base::threads()[0].priority, 2);
    const int fd = serial_link.fd.load();
    ASSERT_GT(fd, 2);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    termios now{};
    ASSERT_EQ(tcgetattr(fd, &now), 0);
    EXPECT_EQ(now.c_iflag | now.c_oflag | now.c_lflag, 0U);
    EXPECT_EQ(now.c_cflag & static_cast<tcflag_t>(~CBAUD),
              static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
    EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B115200));
  });
}

TEST(SerialBoard, WithTheTestMarkerTheLineIsLeftAlone) {
  std::filesystem::create_directories("/tmp/SD0/KRVMEDIA");
  std::ofstream(kMarker).close();
  in_fresh_process([] {
    fake_base::reset();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(serial_link_start(), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(serial_link.fd.load(), 0);
    EXPECT_TRUE(fake_base::threads().empty());
  });
  std::filesystem::remove(kMarker);
}

// The bridge does not start, prints that and leaves nothing open.
void expect_no_start(const std::string& complaint) {
  in_fresh_process([&complaint] {
    fake_base::reset();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(serial_link_start(), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), complaint);
    EXPECT_EQ(serial_link.fd.load(), 0);
    EXPECT_TRUE(fake_base::threads().empty());
  });
}

TEST(SerialBoard, AMissingLineGivesMinusOne) {
  ASSERT_EQ(std::rename("/dev/ttyS1", "/dev/ttyS1.away"), 0);
  expect_no_start(
      "can't open seria port ttyS0: No such file or directory\n"
      "open_port error: No such file or directory\n");
  EXPECT_EQ(std::rename("/dev/ttyS1.away", "/dev/ttyS1"), 0);
}

TEST(SerialBoard, WhatIsNoTerminalGivesMinusOneAndIsClosed) {
  ASSERT_EQ(std::rename("/dev/ttyS1", "/dev/ttyS1.away"), 0);
  ASSERT_EQ(symlink("/dev/null", "/dev/ttyS1"), 0);
  expect_no_start(
      "setup serial: Inappropriate ioctl for device\n"
      "set_opt error: Inappropriate ioctl for device\n");
  EXPECT_EQ(unlink("/dev/ttyS1"), 0);
  EXPECT_EQ(std::rename("/dev/ttyS1.away", "/dev/ttyS1"), 0);
}

TEST(SerialBoard, WithoutAThreadTheLineIsClosedAgain) {
  in_fresh_process([] {
    fake_base::reset();
    fake_base::fail_next_thread();
    EXPECT_EQ(serial_link_start(), -1);
    EXPECT_EQ(serial_link.fd.load(), 0);
    const uint8_t byte = 1;
    EXPECT_EQ(serial_write(&byte, 1), -1);
  });
}

}  // namespace
}  // namespace flightlink
