// The factory's serial line: opening it, its settings, and replies on it.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "base/mutex.h"

namespace supervisor {

struct TestUartState {
  std::atomic<int32_t> fd;  // 0: not open
  pthread_t thread;         // of the reader; written once, before anybody asks
  base::Mutex lock;         // a leaf: one reply at a time

  // Before any reader runs.
  void clear();
};

extern TestUartState test_uart_state;
// The path of the line, "/dev/ttyS1". Written before the service starts, if at all.
extern char test_uart_device[100];

// Opens the line for reading and writing, then lets it block. Returns 0, or -1 after reporting what
// failed.
int32_t test_uart_open();

// Gives the line raw settings and throws away what has arrived so far. Parity is 'N', 'O' or 'E';
// the last two also strip every byte to 7 bits, which the bridge to the flight controller does not.
// Returns 0, or -1 after reporting what failed.
int32_t test_uart_set_opt(int32_t speed, int32_t data_bits, char parity, int32_t stop_bits);

// One write on the line; the caller holds the lock. Returns its result, -1 while the line is not
// open.
int32_t test_uart_write(const void* buffer, int32_t length);
// Writes the text with its terminating zero under the lock. Any thread.
void test_uart_reply(const char* text);

}  // namespace supervisor
