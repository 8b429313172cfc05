// The acknowledged sender with the real timer, thread and port 8866 of a board.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "base/descriptor.h"
#include "flightlink/link_suite.h"
#include "flightlink/wire/acknowledging.h"
#include "flightlink/wire/reliable_udp.h"

namespace flightlink {
namespace {

using std::chrono::milliseconds;

void send_acknowledgement(const Bytes& frame) {
  support::send_to_port(Bytes{'?', 'F', 'F', frame[4], frame[5], frame[6], frame[7]}, 8866);
}

TEST(ReliableUdpBoard, AnAnsweredSendSucceeds) {
  in_fresh_process([] {
    start_acknowledging();
    sockaddr_in address{};
    const base::Descriptor far = support::open_loopback(&address);
    std::thread answering([&far] {
      Bytes frame(2000);
      // The first two copies are lost, the third is answered.
      for (int i = 0; i < 3; i++) EXPECT_EQ(recv(far.get(), frame.data(), frame.size(), 0), 21);
      send_acknowledgement(frame);
    });
    reliable_udp_context.timeout_us = 50000;
    const base::Descriptor own(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(reliable_udp_send("hello", 5, own.get(), &address), 5);
    answering.join();
    EXPECT_GE(reliable_udp_context.last_rtt_us, 150000.0F);  // 50 ms and 100 ms were waited out
    EXPECT_EQ(reliable_udp_context.retries, 0);
  });
}

TEST(ReliableUdpBoard, AnUnansweredSendTimesOut) {
  in_fresh_process([] {
    start_acknowledging();
    sockaddr_in address{};
    const base::Descriptor far = support::open_loopback(&address);
    reliable_udp_context.timeout_us = 50000;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(reliable_udp_send("hello", 5, far.get(), &address), -110);
    const auto waited = std::chrono::steady_clock::now() - begin;
    // 50 + 100 + 200 + 400 + 800 ms
    EXPECT_GE(waited, milliseconds(1550));
    EXPECT_LT(waited, milliseconds(4000));
  });
}

TEST(ReliableUdpBoard, StoppingItEndsTheProcess) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    start_acknowledging();
    reliable_udp_deinit();
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(ReliableUdpBoard, WithoutItsPortTheThreadEndsAndSendsGoUnanswered) {
  in_fresh_process([] {
    reliable_udp_block_alarm();
    const base::Descriptor taken = support::take_port(SOCK_DGRAM, 8866);
    ASSERT_EQ(reliable_udp_init(), 0);
    EXPECT_EQ(pthread_join(reliable_udp_context.receiver, nullptr), 0);
    EXPECT_EQ(reliable_udp_context.ack_socket.load(), 0);
  });
}

}  // namespace
}  // namespace flightlink
