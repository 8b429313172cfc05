#include "supervisor/testmode/testmode.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "base/clock.h"
#include "base/thread.h"
#include "supervisor/testmode/hardware_tests.h"
#include "supervisor/testmode/radio.h"
#include "supervisor/testmode/uart.h"

namespace supervisor {

std::atomic<uint8_t> testmode_not_running = 1;

namespace {

constexpr const char* kReader = "testmod_uart_read_thread";
constexpr const char* kTestMarker = "/tmp/SD0/KRVMEDIA/testmode.conf";
constexpr const char* kRecordMarker = "/tmp/SD0/KRVMEDIA/autorec.conf";
constexpr int kQuietSeconds = 10;
constexpr int kWaitMs = 1000;
constexpr size_t kReadSize = 100;

void answer_uart_test() { test_uart_reply("uart_test_ok"); }
void answer_sdcard_test() { test_uart_reply("sdcard_test_ok"); }
void start_first_chain() { testmode_radio_test(1); }
void only_log() {}

struct StationCommand {
  std::string_view text;
  int line;
  void (*act)();
};

// In the order in which they are compared.
constexpr StationCommand kCommands[] = {
    {"uart_test", 293, answer_uart_test},
    {"sdcard_test", 298, answer_sdcard_test},
    {"record_test", 303, testmode_record_test},
    {"snap_test", 308, testmode_snap_test},
    {"wifi_start_1", 313, start_first_chain},
    // The station's older sheets still send these two, and read no answer.
    {"wifi_start_2", 318, only_log},
    {"wifi_stop", 323, only_log},
};

// Whether there is something to read on the line; false as well when the wait failed.
bool wait_for_line(int line) {
  pollfd readable{line, POLLIN, 0};
  const int ready = poll(&readable, 1, kWaitMs);
  const bool interrupted = ready < 0 && errno == EINTR;
  if (ready >= 0 && (readable.revents & POLLNVAL) == 0) return ready > 0;
  std::printf("%s(line=%d):select failed!,exit\n", kReader, 276);
  // It says so and stays. A wait that failed at once has not waited: a line that is gone must not
  // keep a real-time thread busy.
  if (!interrupted) base::sleep_ms(kWaitMs);
  return false;
}

void carry_out(std::string_view text) {
  for (const StationCommand& command : kCommands) {
    if (command.text != text) continue;
    std::printf("%s(line=%d):get %s cmd!\n", kReader, command.line, command.text.data());
    command.act();
    return;
  }
}

// SCHED_RR 2. Reads the line and runs every test of the station; never ends.
void* reader_thread(void*) {
  base::detach_self();
  for (;;) testmode_uart_turn();
  return nullptr;
}

}  // namespace

void testmode_uart_turn() {
  const int line = test_uart_state.fd.load(std::memory_order_relaxed);
  if (!wait_for_line(line)) return;
  char buffer[kReadSize + 1] = {};  // a full read is still a terminated text
  const ssize_t nread = read(line, buffer, kReadSize);
  std::printf("%s(line=%d):nread=%d\n", kReader, 288, static_cast<int>(nread));
  for (int i = 0; i < nread; i++) {
    std::printf("%s(line=%d):buf[%d]=%d\n", kReader, 290, i, static_cast<uint8_t>(buffer[i]));
  }
  carry_out(buffer);
  // Readable without a byte: the far end is gone, and the next wait would not wait either.
  if (nread < 1) base::sleep_ms(kWaitMs);
}

int32_t testmode_uart_start() {
  test_uart_state.clear();
  testmode_radio_clear();
  testmode_tests_clear();
  if (test_uart_open() != 0) {
    std::perror("open_port error");
    return -1;
  }
  if (test_uart_set_opt(115200, 8, 'N', 1) != 0) {
    std::perror("set_opt error");
    return -1;
  }
  pthread_t thread{};
  if (base::start_worker(reader_thread, nullptr, 2, &thread) != 0) return -1;
  test_uart_state.thread = thread;
  return static_cast<int32_t>(thread);
}

int32_t testmode_run() {
  const int marker = access(kTestMarker, F_OK);
  if (marker != 0) return marker;
  testmode_not_running.store(0, std::memory_order_relaxed);
  testmode_uart_start();
  for (int seconds = 0;;) {
    base::sleep_s(1);
    if (seconds < kQuietSeconds) seconds++;
    if (seconds == kQuietSeconds && access(kRecordMarker, F_OK) == 0) testmode_record_test();
  }
}

}  // namespace supervisor
