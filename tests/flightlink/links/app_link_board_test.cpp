// The application server on its port: the server's and the connection's options read back, the
// session's start, and the retries.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "base/descriptor.h"
#include "flightlink/link_suite.h"
#include "flightlink/links/app_link.h"
#include "flightlink/links/heartbeats.h"

namespace flightlink {
namespace {

// HEARTBEAT from system 9.
constexpr const char* kBeat9 = "fe 09 00 09 00 00 00 00 00 00 00 00 00 00 03 16 ca ";

// An application that connects from `host`, any address of the loopback network.
base::Descriptor connect_from(const char* host) {
  base::Descriptor fd = support::open_socket(SOCK_STREAM);
  support::bind_to(fd, support::host_address(host, 0));
  support::connect_to(fd, support::loopback_address(8866));
  return fd;
}

uint16_t own_port(const base::Descriptor& fd) {
  return ntohs(support::own_address(fd.get()).sin_port);
}

void start_without_binding() {
  reset_link();
  mavlink_context.binding_disabled.store(1);
  app_timers_create();
}

// The server with that application accepted.
base::Descriptor accepted_from(const char* host) {
  start_without_binding();
  EXPECT_EQ(app_server_open(), 0);
  base::Descriptor application = connect_from(host);
  EXPECT_EQ(app_session_accept(), 0);
  return application;
}

TEST(AppServer, ListensOn8866) {
  in_fresh_process([] {
    start_without_binding();
    ASSERT_EQ(app_server_open(), 0);
    const int fd = mavlink_context.listen_socket.load();
    const sockaddr_in own = support::own_address(fd);
    EXPECT_EQ(ntohs(own.sin_port), 8866);
    EXPECT_EQ(own.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_EQ(support::socket_option(fd, SOL_SOCKET, SO_REUSEADDR), 1);
    EXPECT_EQ(support::socket_option(fd, SOL_SOCKET, SO_ACCEPTCONN), 1);
    tcp_info info{};
    socklen_t size = sizeof(info);
    ASSERT_EQ(getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size), 0);
    EXPECT_EQ(info.tcpi_sacked, 1U);  // of a listening socket: its backlog
  });
}

TEST(AppServer, ANewOneTakesThePlaceOfTheOldOne) {
  in_fresh_process([] {
    start_without_binding();
    ASSERT_EQ(app_server_open(), 0);
    const base::Descriptor waiting = connect_from("127.0.0.1");
    ASSERT_EQ(app_server_open(), 0);
    // Whoever waited at the old one has been turned away.
    pollfd ended{waiting.get(), POLLIN, 0};
    EXPECT_EQ(poll(&ended, 1, 2000), 1);
    uint8_t byte = 0;
    EXPECT_LT(recv(waiting.get(), &byte, 1, 0), 1);
    connect_from("127.0.0.1");
  });
}

TEST(AppServer, ATakenPortGivesMinusOne) {
  in_fresh_process([] {
    start_without_binding();
    const base::Descriptor other = support::take_port(SOCK_STREAM, 8866);
    EXPECT_EQ(app_server_open(), -1);
    EXPECT_EQ(mavlink_context.listen_socket.load(), 0);
  });
}

TEST(AppAccept, SetsTheConnectionUp) {
  in_fresh_process([] {
    const base::Descriptor application = accepted_from("127.0.0.1");
    const int fd = mavlink_context.KRConnFd.load();
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    EXPECT_EQ(support::socket_option(fd, IPPROTO_TCP, TCP_NODELAY), 1);
    EXPECT_EQ(support::socket_option(fd, IPPROTO_TCP, TCP_USER_TIMEOUT), 10000);
    linger waits{};
    socklen_t size = sizeof(waits);
    ASSERT_EQ(getsockopt(fd, SOL_SOCKET, SO_LINGER, &waits, &size), 0);
    EXPECT_EQ(waits.l_onoff, 1);
    EXPECT_EQ(waits.l_linger, 0);
    // The kernel reads back twice what was asked for.
    EXPECT_EQ(support::socket_option(fd, SOL_SOCKET, SO_SNDBUF), 2 * 204800);
    EXPECT_EQ(support::socket_option(fd, SOL_SOCKET, SO_RCVBUF), 2 * 204800);
    // Asked for 0f. Linux keeps the two lowest bits of a stream socket, congestion notification, to
    // itself.
    EXPECT_EQ(support::socket_option(fd, IPPROTO_IP, IP_TOS) & 0xFC, 0x0C);
  });
}

TEST(AppAccept, OpensTheSession) {
  in_fresh_process([] {
    start_without_binding();
    ASSERT_EQ(app_server_open(), 0);
    const base::Descriptor application = connect_from("127.0.0.110");
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(app_session_accept(), 0);
    const std::string printed = ::testing::internal::GetCapturedStdout();
    char port[10];
    std::snprintf(port, sizeof(port), "%#x", own_port(application));
    const int fd = mavlink_context.KRConnFd.load();
    char tos[3];
    std::snprintf(tos, sizeof(tos), "%x",
                  static_cast<unsigned>(support::socket_option(fd, IPPROTO_IP, IP_TOS)));
    EXPECT_EQ(printed,
              "MavlinkRecvThread(line=946):MavlinkContext.KRConnFd = " + std::to_string(fd) +
                  "\naccept ok !\nServer start get connet from 0x7f00006e:" + port +
                  "\nServer start get connet from 110\n------TOS test,OPTVAL=" + tos + "\n");
    EXPECT_EQ(mavlink_context.link_state.load(), 1U);
    EXPECT_EQ(mavlink_context.send_enabled.load(), 1U);
    EXPECT_EQ(mavlink_context.session_flag.load(), 1U);
    EXPECT_EQ(mavlink_context.app_is_high_address.load(), 0);
    EXPECT_EQ(period(mavlink_context.normal_timer), 10000U);
    EXPECT_EQ(period(mavlink_context.app_heartbeat_timer), 300U);
    EXPECT_EQ(period(mavlink_context.disconnect_timer), 0U);
    EXPECT_THAT(fake_base::commands(), IsEmpty());
  });
}

TEST(AppAccept, ALastOctetAbove110IsAHighAddress) {
  in_fresh_process([] {
    const base::Descriptor application = accepted_from("127.0.0.111");
    EXPECT_EQ(mavlink_context.app_is_high_address.load(), 1);
  });
}

TEST(AppAccept, BindsThePhoneBeforeAnythingElseIsDoneToTheSession) {
  in_fresh_process([] {
    start_without_binding();
    mavlink_context.binding_disabled.store(0);
    ASSERT_EQ(app_server_open(), 0);
    const base::Descriptor application = connect_from("127.0.0.1");
    fake_base::on_command([](const std::string&) {
      EXPECT_NE(mavlink_context.KRConnFd.load(), 0);
      EXPECT_EQ(mavlink_context.link_state.load(), 0U);
    });
    ::testing::internal::CaptureStderr();
    ASSERT_EQ(app_session_accept(), 0);
    // The loopback network has no MAC addresses: the table, here empty, is applied all the same.
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("ioctl SIOCGARP"));
    const auto commands = fake_base::commands();
    ASSERT_FALSE(commands.empty());
    EXPECT_EQ(commands.front(), "iptables --flush");
    EXPECT_EQ(commands.back(), "iptables -P INPUT DROP");
  });
}

TEST(AppAccept, AFailureIsReported) {
  in_fresh_process([] {
    start_without_binding();  // nobody listens
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(app_session_accept(), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "accept fail !\n");
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 0U);
  });
}

TEST(AppServe, ASecondApplicationWaitsInTheBacklog) {
  in_fresh_process([] {
    const base::Descriptor first = accepted_from("127.0.0.1");
    const base::Descriptor second = connect_from("127.0.0.2");
    const Bytes beat = hex(kBeat9);
    ASSERT_EQ(send(second.get(), beat.data(), beat.size(), 0), 17);
    app_heartbeat_tick({});
    uint8_t bytes[100];
    EXPECT_EQ(recv(first.get(), bytes, sizeof(bytes), 0), 17);
    EXPECT_EQ(recv(second.get(), bytes, sizeof(bytes), MSG_DONTWAIT), -1);
    EXPECT_EQ(app_session_serve(), 0);  // its heartbeat has confirmed nobody
    EXPECT_EQ(mavlink_context.link_state.load(), 1U);
  });
}

TEST(AppSession, TheEndIsOrderlyForTheApplicationAndDoesNotLinger) {
  in_fresh_process([] {
    const base::Descriptor application = accepted_from("127.0.0.1");
    app_session_end();
    pollfd ended{application.get(), POLLIN, 0};
    ASSERT_EQ(poll(&ended, 1, 2000), 1);
    uint8_t byte = 0;
    EXPECT_EQ(recv(application.get(), &byte, 1, 0), 0);
    // The reset behind it: neither side waits for the other one's end.
    tcp_info info{};
    socklen_t size = sizeof(info);
    for (int tries = 0; tries < 2000 && info.tcpi_state != TCP_CLOSE; tries++) {
      ASSERT_EQ(getsockopt(application.get(), IPPROTO_TCP, TCP_INFO, &info, &size), 0);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(info.tcpi_state, TCP_CLOSE);
    EXPECT_EQ(period(mavlink_context.normal_timer), 0U);
    EXPECT_EQ(period(mavlink_context.app_heartbeat_timer), 0U);
  });
}

struct Enough {};

TEST(AppThread, RetriesEverySecondWhileThePortIsTaken) {
  in_fresh_process([] {
    reset_link();
    mavlink_context.binding_disabled.store(1);
    mavlink_context.link_state.store(7);
    mavlink_context.throttle_flag.store(7);
    const base::Descriptor other = support::take_port(SOCK_STREAM, 8866);
    fake_base::on_sleep([](uint64_t) {
      if (fake_base::sleeps().size() == 2) throw Enough();
    });
    ::testing::internal::CaptureStdout();
    EXPECT_THROW(MavlinkRecvThread(nullptr), Enough);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "init heart beat timer ok!\nstop heart beat timer ok!\nstop heart beat timer ok!\n");
    EXPECT_THAT(fake_base::sleeps(), ElementsAre(1000000U, 1000000U));
    EXPECT_EQ(mavlink_context.link_state.load(), 0U);
    EXPECT_EQ(mavlink_context.throttle_flag.load(), 0U);
    EXPECT_EQ(mavlink_context.byte_2.load(), 2);
    EXPECT_EQ(mavlink_context.byte_100.load(), 100);
  });
}

// Connects unless the server is away for the moment, as it is at each reset, or its queue is full.
base::Descriptor try_connect() {
  base::Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const sockaddr_in to = support::loopback_address(8866);
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&to), sizeof(to)) != 0) {
    pollfd connected{fd.get(), POLLOUT, 0};
    if (poll(&connected, 1, 5) != 1 || support::socket_option(fd.get(), SOL_SOCKET, SO_ERROR) != 0)
      fd.reset();
  }
  return fd;
}

// Each connection ends in another way: in order or by a reset, after a frame, half a frame or none.
void storm(int connections) {
  const Bytes beat = hex(kBeat9);
  const linger reset{1, 0};
  for (int i = 0; i < connections; i++) {
    const base::Descriptor fd = try_connect();
    if (!fd.open()) continue;
    if (i % 2 == 0) setsockopt(fd.get(), SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
    if (i % 3 == 0) send(fd.get(), beat.data(), beat.size(), MSG_NOSIGNAL);
    if (i % 3 == 1) send(fd.get(), beat.data(), 9, MSG_NOSIGNAL);
  }
}

// Whether an application that sends its heartbeat is confirmed and hears ours.
bool session_works() {
  const Bytes beat = hex(kBeat9);
  const base::Descriptor fd = try_connect();
  for (int k = 0; fd.open() && k < 20; k++) {
    send(fd.get(), beat.data(), beat.size(), MSG_NOSIGNAL);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    uint8_t bytes[17];
    if (mavlink_context.link_state.load() == 2 &&
        recv(fd.get(), bytes, sizeof(bytes), MSG_DONTWAIT) == 17) {
      return true;
    }
  }
  return false;
}

TEST(AppThread, OutlivesAStormOfReconnectsWhileFramesAreSent) {
  in_fresh_process([] {
    reset_link();
    std::signal(SIGPIPE, SIG_IGN);
    mavlink_context.binding_disabled.store(1);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    std::thread([] { MavlinkRecvThread(nullptr); }).detach();
    while (mavlink_context.listen_socket.load() == 0) std::this_thread::yield();
    std::atomic<bool> done{false};
    std::thread sending([&] {
      while (!done) {
        app_heartbeat_tick({});
        std::this_thread::sleep_for(std::chrono::microseconds(200));
      }
    });
    storm(1000);
    bool works = false;
    // A session may still fall victim to the end of one of the storm's.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!works && std::chrono::steady_clock::now() < end) {
      works = session_works();
      if (!works) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    done = true;
    sending.join();
    ::testing::internal::GetCapturedStderr();
    ::testing::internal::GetCapturedStdout();
    EXPECT_TRUE(works);
  });
}

}  // namespace
}  // namespace flightlink
