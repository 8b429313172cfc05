#include "supervisor/testmode/uart.h"

#include <unistd.h>

#include <cstring>

#include "base/mutex.h"
#include "flightlink/wire/serial_line.h"

namespace supervisor {

TestUartState test_uart_state{};
char test_uart_device[100] = "/dev/ttyS1";

void TestUartState::clear() {
  fd.store(0, std::memory_order_relaxed);
  thread = pthread_t{};
}

int32_t test_uart_open() {
  const int line = flightlink::serial_line_open(test_uart_device, 0);
  if (line == -1) return -1;
  test_uart_state.fd.store(line, std::memory_order_relaxed);
  return 0;
}

int32_t test_uart_set_opt(int32_t speed, int32_t data_bits, char parity, int32_t stop_bits) {
  return flightlink::serial_line_set_opt(test_uart_state.fd.load(std::memory_order_relaxed), speed,
                                         data_bits, parity, stop_bits,
                                         flightlink::kParityInputFactory);
}

int32_t test_uart_write(const void* buffer, int32_t length) {
  const int line = test_uart_state.fd.load(std::memory_order_relaxed);
  if (line == 0 || length < 0) return -1;
  return static_cast<int32_t>(write(line, buffer, static_cast<size_t>(length)));
}

void test_uart_reply(const char* text) {
  const base::Lock lock(test_uart_state.lock);
  test_uart_write(text, static_cast<int32_t>(std::strlen(text) + 1));
}

}  // namespace supervisor
