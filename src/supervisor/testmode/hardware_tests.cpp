#include "supervisor/testmode/hardware_tests.h"

#include <cstdio>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/shell.h"
#include "base/text.h"
#include "camera/commands.h"
#include "supervisor/testmode/uart.h"

namespace supervisor {

std::atomic<int32_t> test_recording = 0;

namespace {

constexpr const char* kEmptyVideos = "rm -rf /tmp/SD0/KRVMEDIA/VIDEO/*";

void start_recording() {
  base::run_shell(kEmptyVideos);
  base::sleep_s(1);
  camera::cam_start_record();
  test_recording.store(1, std::memory_order_relaxed);
}

void stop_recording() {
  test_recording.store(0, std::memory_order_relaxed);
  camera::cam_stop_record();
}

}  // namespace

void testmode_tests_clear() { test_recording.store(0, std::memory_order_relaxed); }

void testmode_snap_test() {
  base::run_shell("rm -rf /tmp/SD0/KRVMEDIA/PIC/*");
  camera::cam_take_photo();
  test_uart_reply("snap_test_ok");
}

int32_t testmode_save_mac_to_sd() {
  char line[100] = {};
  const int read = base::read_shell_line(
      "/sbin/ifconfig wlan0 | /bin/grep HWaddr | /usr/bin/awk '{print $5}'", line, sizeof(line));
  if (read < 0) std::printf("%s(line=%d):popen error!\n", "testmode_save_mac_to_sd", 165);
  if (read < 1) return -1;
  {
    const base::Lock lock(test_uart_state.lock);
    // The whole buffer, zeros and all: the station reads a record of 100 bytes.
    test_uart_write(line, sizeof(line));
  }
  char command[100];
  base::format_text(command, "echo '%s' > /tmp/SD0/mac.txt", line);
  base::run_shell(command);
  return 0;
}

void testmode_record_timeout() {
  std::printf("%s(line=%d):testmode record timeout!\n", "testmode_record_timeout", 382);
  test_uart_reply("record_over");
}

void testmode_record_test() {
  base::run_shell(kEmptyVideos);
  base::sleep_s(1);
  test_uart_reply("record_start");
  testmode_save_mac_to_sd();
  start_recording();
  base::sleep_s(7);
  stop_recording();
  base::sleep_s(2);
  testmode_record_timeout();
}

}  // namespace supervisor
