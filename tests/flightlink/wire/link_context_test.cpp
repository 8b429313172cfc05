// Sending on the link, the end of the application's session, and the link lamp.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "base/descriptor.h"
#include "flightlink/link_suite.h"
#include "flightlink/wire/link_status.h"
#include "support/app_session.h"

namespace flightlink {
namespace {

using link_test::AppSession;

constexpr const char* kLampOff = "/usr/local/share/script/t_gpio.sh 10 0";
constexpr const char* kLampOn = "/usr/local/share/script/t_gpio.sh 10 1";

void no_callback(union sigval) {}

// Command acknowledgement 2001, sequence 1.
MavlinkMessage acknowledgement() {
  MavlinkMessage message{};
  message.msgid = 77;
  message.payload[0] = 0xD1;
  message.payload[1] = 0x07;
  mavlink_frame_seal(&message, 36, 1, 3, 143);
  return message;
}

TEST(LinkContext, InitClearsEveryWordAndFreesTheSendLock) {
  in_fresh_process([] {
    MavlinkContext& context = mavlink_context;
    for (auto* word :
         {&context.listen_socket, &context.KRConnFd, &context.peer_socket, &context.stick_socket}) {
      *word = 77;
    }
    for (auto* word : {&context.link_state, &context.send_enabled, &context.session_flag,
                       &context.throttle_flag, &context.last_clock}) {
      *word = 77;
    }
    for (auto* byte : {&context.byte_2, &context.byte_100, &context.peer_nibble,
                       &context.app_is_high_address, &context.binding_disabled}) {
      *byte = 77;
    }
    context.peer_address.sin_port = 77;
    EXPECT_EQ(get_throttle_flag(), 77U);
    link_context_init();
    EXPECT_EQ(context.listen_socket + context.KRConnFd + context.peer_socket + context.stick_socket,
              0);
    EXPECT_EQ(context.link_state + context.send_enabled + context.session_flag +
                  context.throttle_flag + context.last_clock,
              0U);
    EXPECT_EQ(context.byte_2 + context.byte_100 + context.peer_nibble +
                  context.app_is_high_address + context.binding_disabled,
              0);
    EXPECT_EQ(context.peer_address.sin_port, 0);
    EXPECT_EQ(get_throttle_flag(), 0U);
    EXPECT_EQ(context.send_lock.count(), 1);
  });
}

TEST(PeerUdpSend, SendsTheWireBytesAndReturnsTheirNumber) {
  in_fresh_process([] {
    fake_base::reset();
    PeerCapture peer;
    const MavlinkMessage message = acknowledgement();
    EXPECT_EQ(peer_udp_send(&message), 11);
    EXPECT_EQ(peer.next(), hex("fe 03 01 24 00 4d d1 07 00 3a bc"));
    EXPECT_EQ(peer.next(), Bytes());
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST(PeerUdpSend, AClosedSocketGivesMinusTwoAndTouchesNothing) {
  in_fresh_process([] {
    reset_link();
    mavlink_timer_create(&mavlink_context.peer_heartbeat_timer, no_callback);
    const MavlinkMessage message = acknowledgement();
    EXPECT_EQ(peer_udp_send(&message), -2);
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST(PeerUdpSend, AFailedSendStopsTheHeartbeatAndSwitchesTheLampOffOnce) {
  in_fresh_process([] {
    reset_link();
    mavlink_timer_create(&mavlink_context.peer_heartbeat_timer, no_callback);
    const base::Descriptor no_socket(open("/dev/null", O_RDWR));
    mavlink_context.peer_socket.store(no_socket.get());
    const MavlinkMessage message = acknowledgement();
    EXPECT_EQ(peer_udp_send(&message), -1);
    EXPECT_EQ(peer_udp_send(&message), -1);
    EXPECT_THAT(fake_base::events(),
                ElementsAre("timer 0 0", std::string("run ") + kLampOff, "timer 0 0"));
  });
}

TEST(PeerUdpSend, AFailedSendWithoutATimerDisarmsNoOther) {
  in_fresh_process([] {
    reset_link();
    LinkTimer other{};
    mavlink_timer_create(&other, no_callback);
    mavlink_timer_set(&other, 1000);
    const base::Descriptor no_socket(open("/dev/null", O_RDWR));
    mavlink_context.peer_socket.store(no_socket.get());
    const MavlinkMessage message = acknowledgement();
    EXPECT_EQ(peer_udp_send(&message), -1);
    EXPECT_EQ(fake_base::timers()[0].period_ms, 1000U);
  });
}

TEST(LinkLamp, RunsTheScriptOncePerChange) {
  in_fresh_process([] {
    fake_base::reset();
    for (const int value : {1, 1, 0, 0, 0, 1}) link_indicator_set(value);
    EXPECT_THAT(fake_base::commands(), ElementsAre(kLampOn, kLampOff, kLampOn));
  });
}

TEST(LinkLamp, TheFirstValueAlwaysRunsTheScript) {
  in_fresh_process([] {
    fake_base::reset();
    link_indicator_set(0);
    EXPECT_THAT(fake_base::commands(), ElementsAre(kLampOff));
  });
}

// One thread's script still runs when another thread sets the next value.
TEST(LinkLamp, ValuesOfSeveralThreadsReachTheLampInTheirOrder) {
  in_fresh_process([] {
    fake_base::reset();
    std::atomic<int> running{0};
    std::atomic<bool> second_called{false};
    std::thread second;
    fake_base::on_command([&](const std::string& command) {
      EXPECT_EQ(running.fetch_add(1), 0) << command << " while another script runs";
      if (command == kLampOn) {
        second = std::thread([&] {
          second_called = true;
          link_indicator_set(0);
        });
        while (!second_called) std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
      running--;
    });
    link_indicator_set(1);
    second.join();
    EXPECT_THAT(fake_base::commands(), ElementsAre(kLampOn, kLampOff));
  });
}

TEST(MavlinkSend, SendsWhileTheSessionIsOpen) {
  in_fresh_process([] {
    AppSession application;
    const MavlinkMessage message = acknowledgement();
    mavlink_send(&message);
    mavlink_send(&message);
    EXPECT_EQ(application.received(),
              hex("fe 03 01 24 00 4d d1 07 00 3a bc fe 03 01 24 00 4d d1 07 00 3a bc"));
    const uint8_t raw[] = {1, 2, 3};
    mavlink_send_buff(raw, sizeof(raw));
    EXPECT_EQ(application.received(), hex("01 02 03"));
  });
}

TEST(MavlinkSend, SendsNothingWithoutLinkStateOrSendEnabled) {
  in_fresh_process([] {
    AppSession application;
    const MavlinkMessage message = acknowledgement();
    const uint8_t raw[] = {1};
    mavlink_context.link_state.store(0);
    mavlink_send(&message);
    mavlink_send_buff(raw, 1);
    mavlink_context.link_state.store(2);
    mavlink_context.send_enabled.store(0);
    mavlink_send(&message);
    mavlink_send_buff(raw, 1);
    EXPECT_EQ(application.received(), Bytes());
    mavlink_context.send_enabled.store(1);
    mavlink_send_buff(raw, 1);
    EXPECT_EQ(application.received(), hex("01"));
  });
}

// What is left of a session after it has ended.
void expect_session_over(int connection) {
  EXPECT_EQ(mavlink_context.link_state.load(), 0U);
  EXPECT_EQ(mavlink_context.send_enabled.load(), 0U);
  EXPECT_EQ(mavlink_context.session_flag.load(), 0U);
  EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
  EXPECT_EQ(fcntl(connection, F_GETFD), -1);
  EXPECT_EQ(get_link_status(), 0);
  for (const fake_base::Timer& timer : fake_base::timers()) EXPECT_EQ(timer.period_ms, 0U);
}

void arm_session_timers() {
  fake_base::reset();
  for (LinkTimer* timer : {&mavlink_context.normal_timer, &mavlink_context.app_heartbeat_timer,
                           &mavlink_context.disconnect_timer}) {
    mavlink_timer_create(timer, no_callback);
    mavlink_timer_set(timer, 300);
  }
}

TEST(MavlinkSend, AFailedSendEndsTheSessionAtOnce) {
  in_fresh_process([] {
    AppSession application;
    arm_session_timers();
    set_link_status(2);
    const int connection = mavlink_context.KRConnFd.load();
    application.hang_up();
    const MavlinkMessage message = acknowledgement();
    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    mavlink_send(&message);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "stop heart beat timer ok!\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "mavlink_send(line=859):send error,Broken pipe!\n");
    expect_session_over(connection);
    // The lock has been given back: the next session can send.
    AppSession next;
    mavlink_send(&message);
    EXPECT_EQ(next.received().size(), 11U);
  });
}

TEST(MavlinkSend, AFailedRawSendEndsTheSessionUnderItsOwnName) {
  in_fresh_process([] {
    AppSession application;
    arm_session_timers();
    const int connection = mavlink_context.KRConnFd.load();
    application.hang_up();
    const uint8_t raw[] = {1, 2, 3};
    ::testing::internal::CaptureStderr();
    mavlink_send_buff(raw, sizeof(raw));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "mavlink_send_buff(line=883):send error,Broken pipe!\n");
    expect_session_over(connection);
  });
}

TEST(MavlinkSend, TwoSendersDoNotMixTheirBytes) {
  in_fresh_process([] {
    AppSession application;
    const auto work = [] {
      const MavlinkMessage message = acknowledgement();
      for (int i = 0; i < 200; i++) mavlink_send(&message);
    };
    const Bytes frame = hex("fe 03 01 24 00 4d d1 07 00 3a bc");
    std::thread one(work);
    std::thread two(work);
    Bytes bytes;
    while (bytes.size() < 400 * frame.size()) {
      const Bytes more = application.received();
      bytes.insert(bytes.end(), more.begin(), more.end());
    }
    one.join();
    two.join();
    ASSERT_EQ(bytes.size(), 400 * frame.size());
    for (size_t i = 0; i < bytes.size(); i++) ASSERT_EQ(bytes[i], frame[i % frame.size()]) << i;
  });
}

TEST(AppSession, TheEndClosesTheConnectionOnlyOnce) {
  in_fresh_process([] {
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    app_session_end();
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
    const int same_number = dup(STDOUT_FILENO);
    ASSERT_EQ(same_number, connection);
    app_session_end();
    EXPECT_NE(fcntl(same_number, F_GETFD), -1);
    close(same_number);
  });
}

TEST(AppSession, StoppingTheTimersPrintsALine) {
  in_fresh_process([] {
    link_context_init();
    arm_session_timers();
    ::testing::internal::CaptureStdout();
    app_timers_stop();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "stop heart beat timer ok!\n");
    ASSERT_EQ(fake_base::timers().size(), 3U);
    for (const fake_base::Timer& timer : fake_base::timers()) EXPECT_EQ(timer.period_ms, 0U);
  });
}

}  // namespace
}  // namespace flightlink
