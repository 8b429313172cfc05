// The peer link on a board, where port 8888 and the peer's network exist. Sleeps are recorded, not
// slept; only the 4 s of silence are real.
#include "flightlink/links/peer_link.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "base/descriptor.h"
#include "flightlink/link_suite.h"
#include "flightlink/links/heartbeats.h"
#include "flightlink/wire/link_status.h"

namespace flightlink {
namespace {

constexpr const char* kLampOff = "run /usr/local/share/script/t_gpio.sh 10 0";
constexpr const char* kLampOn = "run /usr/local/share/script/t_gpio.sh 10 1";
constexpr const char* kHost = "127.0.0.1";
// Message 67 with byte 3 set and clear, from system 37, sequence 0: stream on, stream off.
constexpr const char* kStreamOn = "fe 04 00 25 00 43 00 00 00 01 d2 5d ";
constexpr const char* kStreamOff = "fe 04 00 25 00 43 00 00 00 00 0a 44 ";

void send_to_board(const Bytes& bytes) { support::send_to_port(bytes, 8888); }

int option(int name) {
  return support::socket_option(mavlink_context.peer_socket, SOL_SOCKET, name);
}

// One open socket, as the loop has it while it serves.
void open_for_test() {
  reset_link();
  ASSERT_EQ(peer_socket_open(kHost), 0);
}

// As the link is while a peer is heard.
void open_with_heartbeat() {
  open_for_test();
  EXPECT_EQ(mavlink_timer_create(&mavlink_context.peer_heartbeat_timer, peer_heartbeat_tick), 0);
  mavlink_timer_set(&mavlink_context.peer_heartbeat_timer, 1000);
  link_indicator_set(1);
}

TEST(PeerLinkBoard, StartIgnoresSigpipeAndStartsTheThread) {
  in_fresh_process([] {
    fake_base::reset();
    mavlink_context.link_state.store(2);
    EXPECT_EQ(peer_link_start(), 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 0U);
    ASSERT_EQ(fake_base::threads().size(), 1U);
    EXPECT_EQ(fake_base::threads()[0].body, &PeerUdpThread);
    EXPECT_EQ(fake_base::threads()[0].priority, 2);
    struct sigaction action {};
    sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    fake_base::fail_next_thread();
    EXPECT_EQ(peer_link_start(), EAGAIN);
  });
}

TEST(PeerLinkBoard, OpensPort8888WithLargeBuffers) {
  in_fresh_process([] {
    reset_link();
    ASSERT_EQ(peer_socket_open(nullptr), 0);
    const sockaddr_in own = support::own_address(mavlink_context.peer_socket);
    EXPECT_EQ(ntohs(own.sin_port), 8888);
    EXPECT_EQ(own.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_EQ(option(SO_TYPE), SOCK_DGRAM);
    EXPECT_EQ(option(SO_REUSEADDR), 1);
    // The kernel reads back twice what was asked for.
    EXPECT_EQ(option(SO_SNDBUF), 2 * 2097152);
    EXPECT_EQ(option(SO_RCVBUF), 2 * 2097152);
    EXPECT_EQ(mavlink_context.peer_address.sin_family, AF_INET);
    EXPECT_EQ(ntohs(mavlink_context.peer_address.sin_port), 8888);
    EXPECT_STREQ(inet_ntoa(mavlink_context.peer_address.sin_addr), "192.168.31.111");
  });
}

TEST(PeerLinkBoard, TakesAnotherAddress) {
  in_fresh_process([] {
    open_for_test();
    EXPECT_STREQ(inet_ntoa(mavlink_context.peer_address.sin_addr), kHost);
    EXPECT_EQ(ntohs(mavlink_context.peer_address.sin_port), 8888);
  });
}

TEST(PeerLinkBoard, APortThatIsTakenGivesMinusOne) {
  in_fresh_process([] {
    reset_link();
    const base::Descriptor other = support::take_port(SOCK_DGRAM, 8888);
    EXPECT_EQ(peer_socket_open(kHost), -1);
    EXPECT_EQ(mavlink_context.peer_socket.load(), 0);
  });
}

TEST(PeerLinkBoard, AGoodFrameIsDispatchedAndTheLampGoesOnOnce) {
  in_fresh_process([] {
    open_for_test();
    send_to_board(hex(kStreamOn));
    EXPECT_EQ(peer_socket_serve(), 0);
    EXPECT_EQ(get_stream_on(), 1);
    send_to_board(hex(kStreamOff));
    EXPECT_EQ(peer_socket_serve(), 0);
    EXPECT_EQ(get_stream_on(), 0);
    EXPECT_THAT(fake_base::events(), ElementsAre(kLampOn));
  });
}

TEST(PeerLinkBoard, OneDatagramMayHoldSeveralFramesAndNoise) {
  in_fresh_process([] {
    open_for_test();
    send_to_board(hex(std::string("00 11 ") + kStreamOn + "22 fd " + kStreamOff + kStreamOn));
    EXPECT_EQ(peer_socket_serve(), 0);
    EXPECT_EQ(get_stream_on(), 1);
  });
}

TEST(PeerLinkBoard, AFrameMayBeSplitOverDatagrams) {
  in_fresh_process([] {
    open_for_test();
    const Bytes frame = hex(kStreamOn);
    for (const uint8_t byte : frame) {
      EXPECT_EQ(get_stream_on(), 0);
      send_to_board({byte});
      EXPECT_EQ(peer_socket_serve(), 0);
    }
    EXPECT_EQ(get_stream_on(), 1);
  });
}

TEST(PeerLinkBoard, GarbageAndTruncatedFramesAreDroppedAndTheNextGoodOneWorks) {
  in_fresh_process([] {
    open_for_test();
    Bytes garbage(1400);
    for (size_t i = 0; i < garbage.size(); i++) garbage[i] = static_cast<uint8_t>(i * 7 + 3);
    send_to_board(garbage);
    EXPECT_EQ(peer_socket_serve(), 0);
    send_to_board(hex("fe ff 00 25 00 43 00 00"));  // truncated: 255 bytes are announced
    EXPECT_EQ(peer_socket_serve(), 0);
    EXPECT_EQ(get_stream_on(), 0);
    send_to_board(Bytes(300, 0));  // ends whatever was half-read
    EXPECT_EQ(peer_socket_serve(), 0);
    send_to_board(hex(kStreamOn));
    EXPECT_EQ(peer_socket_serve(), 0);
    EXPECT_EQ(get_stream_on(), 1);
  });
}

TEST(PeerLinkBoard, TheLargestDatagramIsReadToItsEnd) {
  in_fresh_process([] {
    open_for_test();
    Bytes bytes(65507, 0);
    const Bytes frame = hex(kStreamOn);
    std::ranges::copy(frame, bytes.end() - static_cast<std::ptrdiff_t>(frame.size()));
    send_to_board(bytes);
    EXPECT_EQ(peer_socket_serve(), 0);
    EXPECT_EQ(get_stream_on(), 1);
  });
}

TEST(PeerLinkBoard, AnEmptyDatagramAsksForANewSocketAndDoesNotLightTheLamp) {
  in_fresh_process([] {
    open_for_test();
    send_to_board({});
    EXPECT_EQ(peer_socket_serve(), -1);
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST(PeerLinkBoard, FourSecondsOfSilenceAskForANewSocket) {
  in_fresh_process([] {
    open_for_test();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(peer_socket_serve(), -1);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(3990));
    EXPECT_LT(waited, std::chrono::milliseconds(6000));
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST(PeerLinkBoard, CloseStopsTheHeartbeatSwitchesTheLampOffAndPausesFirst) {
  in_fresh_process([] {
    open_with_heartbeat();
    set_link_status(2);
    const int socket = mavlink_context.peer_socket.load();
    fake_base::on_sleep([socket](uint64_t) {
      EXPECT_NE(fcntl(socket, F_GETFD), -1);  // closed after the pause
    });
    peer_socket_close();
    EXPECT_EQ(fcntl(socket, F_GETFD), -1);
    EXPECT_EQ(mavlink_context.peer_socket.load(), 0);
    EXPECT_THAT(fake_base::events(),
                ElementsAre("timer 0 1000", kLampOn, "timer 0 0", kLampOff, "sleep 1000000"));
    // The peer's wish for live video outlives the recycling.
    EXPECT_EQ(get_link_status(), 2);
    EXPECT_EQ(peer_socket_open(kHost), 0);
  });
}

TEST(PeerLinkBoard, APeerThatIsHeardHasItsHeartbeatAgainAfterAFailedSend) {
  in_fresh_process([] {
    open_with_heartbeat();
    // Port 0 is nobody's.
    mavlink_context.peer_address.sin_port = 0;
    const MavlinkMessage message{};
    EXPECT_EQ(peer_udp_send(&message), -1);
    for (int i = 0; i < 2; i++) {
      send_to_board(hex(kStreamOn));
      EXPECT_EQ(peer_socket_serve(), 0);
    }
    EXPECT_THAT(fake_base::events(), ElementsAre("timer 0 1000", kLampOn, "timer 0 0", kLampOff,
                                                 kLampOn, "timer 0 1000"));
  });
}

TEST(PeerLinkBoard, ClosingAClosedSocketDoesNothing) {
  in_fresh_process([] {
    reset_link();
    peer_socket_close();
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST(PeerLinkBoard, TwoRecyclesInARowRunTheLampScriptOnce) {
  in_fresh_process([] {
    open_for_test();
    peer_socket_close();
    ASSERT_EQ(peer_socket_open(kHost), 0);
    peer_socket_close();
    EXPECT_THAT(fake_base::events(), ElementsAre(kLampOff, "sleep 1000000", "sleep 1000000"));
  });
}

struct Enough {};

TEST(PeerLinkBoard, TheThreadRetriesEverySecondWhileThePortIsTaken) {
  in_fresh_process([] {
    reset_link();
    base::Descriptor other(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_port = htons(8888);
    ASSERT_EQ(bind(other.get(), reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
    fake_base::on_sleep([](uint64_t) {
      if (fake_base::sleeps().size() == 3) throw Enough();
    });
    EXPECT_THROW(PeerUdpThread(nullptr), Enough);
    EXPECT_THAT(fake_base::events(),
                ElementsAre("sleep 1000000", "sleep 1000000", "sleep 1000000"));
    ASSERT_EQ(fake_base::timers().size(), 1U);
    EXPECT_EQ(fake_base::timers()[0].callback, &peer_heartbeat_tick);
  });
}

TEST(PeerLinkBoard, TheThreadServesAndRecycles) {
  in_fresh_process([] {
    reset_link();
    std::atomic<int> recycles{0};
    std::atomic<bool> done{false};
    fake_base::on_sleep([&](uint64_t) {
      if (++recycles == 2) throw Enough();
    });
    // One frame; then, once the silence has been noticed, empty datagrams, which recycle at once.
    std::thread far([&] {
      while (!done) {
        if (recycles > 0) send_to_board({});
        if (recycles == 0 && get_stream_on() == 0) send_to_board(hex(kStreamOn));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
    });
    EXPECT_THROW(PeerUdpThread(nullptr), Enough);
    done = true;
    far.join();
    EXPECT_EQ(get_stream_on(), 1);
    EXPECT_THAT(fake_base::events(),
                ElementsAre("timer 0 1000", kLampOn, "timer 0 0", kLampOff, "sleep 1000000",
                            "timer 0 1000", "timer 0 0", "sleep 1000000"));
  });
}

}  // namespace
}  // namespace flightlink
