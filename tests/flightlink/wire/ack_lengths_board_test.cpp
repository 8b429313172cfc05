// Acknowledgement datagrams of every length, on the real port.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "base/descriptor.h"
#include "flightlink/link_suite.h"
#include "flightlink/wire/acknowledging.h"
#include "flightlink/wire/reliable_udp.h"

namespace flightlink {
namespace {

void send_to_port(const base::Descriptor& fd, const Bytes& bytes) {
  support::send_to(fd, bytes, support::loopback_address(8866));
}

// The stamp of the last acknowledgement; waits for one.
uint32_t next_stamp() {
  for (int i = 0; i < 2000; i++) {
    {
      const std::lock_guard lock(reliable_udp_context.ack_mutex);
      if (reliable_udp_context.ack_arrival_us != 0) {
        reliable_udp_context.ack_arrival_us = 0;
        return reliable_udp_context.ack_stamp;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return 0;
}

TEST(AckLengths, EveryLengthIsOutlived) {
  in_fresh_process([] {
    start_acknowledging();
    const base::Descriptor far = support::open_socket(SOCK_DGRAM);
    // Without marks, of marks alone, and with one mark so near the end that its stamp is cut.
    for (size_t length = 0; length <= 4200; length++) {
      send_to_port(far, Bytes(length, 'x'));
      send_to_port(far, Bytes(length, 'F'));
      Bytes cut(length, 'x');
      for (size_t back = 2; back <= 7; back += 5) {
        if (length >= back) cut[length - back] = cut[length - back + 1] = 'F';
      }
      send_to_port(far, cut);
      if (length % 50 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (const size_t length : {size_t{5000}, size_t{65507}}) send_to_port(far, Bytes(length, 'F'));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    next_stamp();
    send_to_port(far, {'F', 'F', 1, 2, 3, 4});
    EXPECT_EQ(next_stamp(), 0x04030201U);
  });
}

TEST(AckLengths, TheEndOfALongDatagramIsNotSeen) {
  in_fresh_process([] {
    start_acknowledging();
    const base::Descriptor far = support::open_socket(SOCK_DGRAM);
    Bytes datagram(4102, 'x');
    datagram[4094] = datagram[4095] = 'F';  // within the 4096 that are taken, but without a stamp
    datagram[10] = datagram[11] = 'F';
    datagram[12] = 9;
    datagram[13] = datagram[14] = datagram[15] = 0;
    send_to_port(far, datagram);
    EXPECT_EQ(next_stamp(), 9U);
    // Five bytes are left from the mark: the stamp's last byte is one of the two zeros behind.
    Bytes full(4096, 'x');
    full[4091] = full[4092] = 'F';
    full[4093] = 1;
    full[4094] = 2;
    full[4095] = 3;
    send_to_port(far, full);
    EXPECT_EQ(next_stamp(), 0x00030201U);
  });
}

}  // namespace
}  // namespace flightlink
