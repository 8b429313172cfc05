// The stick relay on its port.
#include "flightlink/links/stick_link.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "flightlink/link_suite.h"
#include "flightlink/links/serial_link.h"
#include "flightlink/wire/serial_line.h"
#include "support/interrupter.h"
#include "support/pty.h"

namespace flightlink {
namespace {

using link_test::Pty;

// The relay's two ends: its socket, and a serial line on a pseudo terminal.
class Relay {
 public:
  Relay() : near_(open(far.name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    reset_link();
    EXPECT_EQ(serial_line_set_opt(near_.get(), 115200, 8, 'N', 1, 0), 0);
    serial_link.fd.store(near_.get());
    EXPECT_EQ(stick_socket_open(), 0);
  }
  ~Relay() { stick_socket_close(); }
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  // One datagram through the relay; returns what came out on the line, `wanted` bytes if all is
  // well.
  Bytes relay(const Bytes& datagram, size_t wanted) {
    support::send_to_port(datagram, 8867);
    Bytes bytes;
    // Beside the relay: a long datagram does not fit into the line's buffer.
    std::thread reading([&] { bytes = far.read_bytes(wanted); });
    EXPECT_EQ(stick_socket_serve(), 0);
    reading.join();
    return bytes;
  }

  Pty far;

 private:
  base::Descriptor near_;
};

TEST(StickRelay, DatagramsPassOnlyInLinkState2) {
  in_fresh_process([] {
    Relay relay;
    const Bytes datagram = hex("00 fe 0a 0d 11 13 ff");
    for (const uint32_t state : {0U, 1U, 3U}) {
      mavlink_context.link_state.store(state);
      EXPECT_EQ(relay.relay(datagram, 0), Bytes()) << state;
    }
    mavlink_context.link_state.store(2);
    EXPECT_EQ(relay.relay(datagram, datagram.size()), datagram);
    EXPECT_EQ(relay.relay({}, 0), Bytes());  // an empty one is no fault
    mavlink_context.link_state.store(0);
    EXPECT_EQ(relay.relay(datagram, 0), Bytes());
  });
}

TEST(StickRelay, TheLongestDatagramPassesWhole) {
  in_fresh_process([] {
    Relay relay;
    mavlink_context.link_state.store(2);
    Bytes datagram(65507);
    for (size_t i = 0; i < datagram.size(); i++) datagram[i] = static_cast<uint8_t>(i * 7);
    EXPECT_EQ(relay.relay(datagram, datagram.size()), datagram);
  });
}

TEST(StickRelay, WithoutALineADatagramIsDropped) {
  in_fresh_process([] {
    Relay relay;
    mavlink_context.link_state.store(2);
    serial_link.fd.store(0);
    EXPECT_EQ(relay.relay(hex("01 02"), 0), Bytes());
  });
}

TEST(StickRelay, WritesUnderTheWriteMutex) {
  in_fresh_process([] {
    Relay relay;
    mavlink_context.link_state.store(2);
    std::unique_lock lock(serial_link.write_mutex);
    std::atomic<bool> out{false};
    std::thread relaying([&] {
      EXPECT_EQ(relay.relay(hex("01 02"), 2), hex("01 02"));
      out = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(out);
    lock.unlock();
    relaying.join();
  });
}

TEST(StickSocket, OpenPrintsTwoLinesAndListensOnItsPort) {
  in_fresh_process([] {
    link_context_init();
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(stick_socket_open(), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "MavlinkRecvStickThread(1043):stick socket socket create ok ! !\n"
              "MavlinkRecvStickThread(1063):stick socket bind ok !\n");
    const int fd = mavlink_context.stick_socket.load();
    const sockaddr_in own = support::own_address(fd);
    EXPECT_EQ(ntohs(own.sin_port), 8867);
    EXPECT_EQ(own.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_EQ(support::socket_option(fd, SOL_SOCKET, SO_REUSEADDR), 1);
    stick_socket_close();
    EXPECT_EQ(mavlink_context.stick_socket.load(), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  });
}

struct Enough {};

TEST(StickSocket, ATakenPortIsTriedAgainEverySecond) {
  in_fresh_process([] {
    reset_link();
    const base::Descriptor other = support::take_port(SOCK_DGRAM, 8867);
    fake_base::on_sleep([](uint64_t) {
      if (fake_base::sleeps().size() == 2) throw Enough();
    });
    ::testing::internal::CaptureStdout();
    EXPECT_THROW(MavlinkRecvStickThread(nullptr), Enough);
    const std::string one_try =
        "MavlinkRecvStickThread(1043):stick socket socket create ok ! !\nbind fail!\n";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), one_try + one_try);
    EXPECT_THAT(fake_base::sleeps(), ElementsAre(1000000U, 1000000U));
    EXPECT_EQ(mavlink_context.stick_socket.load(), 0);
  });
}

TEST(StickSocket, AnInterruptedWaitIsReportedAndGoesOn) {
  in_fresh_process([] {
    link_context_init();
    ASSERT_EQ(stick_socket_open(), 0);
    const auto printed =
        link_test::printed_when_interrupted([] { EXPECT_EQ(stick_socket_serve(), 0); });
    EXPECT_EQ(printed.out, "MavlinkRecvStickThread(line=1072):select failed!,exit\n");
    EXPECT_EQ(printed.error, "select failed!: Interrupted system call\n");
  });
}

TEST(StickSocket, WhyAWaitFailedIsToldWhenNothingElseCanBePrinted) {
  in_fresh_process([] {
    link_context_init();
    ASSERT_EQ(stick_socket_open(), 0);
    EXPECT_EQ(link_test::error_behind_full_output([] { EXPECT_EQ(stick_socket_serve(), 0); }),
              "select failed!: Interrupted system call\n");
  });
}

TEST(StickStart, StartsTheThreadWithDefaultScheduling) {
  fake_base::reset();
  EXPECT_EQ(stick_link_start(), 0);
  expect_thread(MavlinkRecvStickThread, 0);
}

}  // namespace
}  // namespace flightlink
