// The acknowledged sender of a board, started.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "flightlink/wire/reliable_udp.h"

namespace flightlink {

// Waits until the acknowledgement thread has its port.
inline void start_acknowledging() {
  reliable_udp_block_alarm();
  ASSERT_EQ(reliable_udp_init(), 0);
  for (int i = 0; i < 1000 && reliable_udp_context.ack_socket.load() == 0; i++) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ASSERT_NE(reliable_udp_context.ack_socket.load(), 0);
}

}  // namespace flightlink
