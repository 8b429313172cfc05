// The application server without its port: where a frame goes, when a session is confirmed, and how
// it ends while its reader waits.
#include "flightlink/links/app_link.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <initializer_list>
#include <thread>

#include "flightlink/link_suite.h"
#include "flightlink/links/heartbeats.h"
#include "flightlink/wire/link_status.h"
#include "support/app_session.h"
#include "support/interrupter.h"

namespace flightlink {
namespace {

using link_test::AppSession;

// Message 67, which sets the stream-on word, from several system ids.
constexpr const char* kStream9 = "fe 06 00 09 00 43 00 00 00 01 00 00 54 69 ";
constexpr const char* kStream5 = "fe 06 00 05 00 43 00 00 00 01 00 00 e1 b0 ";
constexpr const char* kStream21 = "fe 06 00 15 00 43 00 00 00 01 00 00 b3 62 ";
constexpr const char* kStream37 = "fe 06 00 25 00 43 00 00 00 01 00 00 54 1c ";
// HEARTBEAT, version 3.
constexpr const char* kBeat9 = "fe 09 00 09 00 00 00 00 00 00 00 00 00 00 03 16 ca ";
constexpr const char* kBeat5 = "fe 09 00 05 00 00 00 00 00 00 00 00 00 00 03 ca f1 ";

constexpr const char* kDisconnected =
    "MavlinkRecvThread(line=1013):quadrotor disconnected,reset accecpt socket!\n";

// Serves until `done`, at most `rounds` times, so that a test cannot hang.
void serve(const std::function<bool()>& done, int rounds = 1000) {
  for (int i = 0; i < rounds && !done(); i++) ASSERT_EQ(app_session_serve(), 0);
}

TEST(AppRoute, FramesForThePeerReachItByteForByteAndAreNotDispatched) {
  in_fresh_process([] {
    PeerCapture peer;
    for (const char* text : {kStream5, kStream21, kStream37}) {
      const Bytes frame = hex(text);
      MavlinkParser parser{};
      MavlinkMessage message;
      MavlinkParseStatus status;
      int frames = 0;
      for (const uint8_t byte : frame) {
        if (mavlink_parser_feed(&parser, byte, &message, &status) == 1) {
          app_link_route(&message);
          frames++;
        }
      }
      EXPECT_EQ(frames, 1);
      EXPECT_EQ(peer.next(), frame);
      EXPECT_EQ(peer.next(), Bytes());
      EXPECT_EQ(get_stream_on(), 0);
    }
  });
}

TEST(AppRoute, OtherFramesAreDispatchedAndDoNotReachThePeer) {
  in_fresh_process([] {
    PeerCapture peer;
    for (const uint8_t sysid : std::initializer_list<uint8_t>{0, 9, 36, 35, 80}) {
      set_stream_on(0);
      MavlinkMessage message{};
      message.msgid = 67;
      message.payload[3] = 1;
      mavlink_frame_seal(&message, sysid, 0, 6, 21);
      app_link_route(&message);
      EXPECT_EQ(get_stream_on(), 1) << int{sysid};
    }
    EXPECT_EQ(peer.next(), Bytes());
  });
}

TEST(AppRoute, WithoutAPeerSocketAFrameForThePeerIsDropped) {
  in_fresh_process([] {
    link_context_init();
    MavlinkMessage message{};
    message.msgid = 67;
    message.payload[3] = 1;
    mavlink_frame_seal(&message, 5, 0, 6, 21);
    app_link_route(&message);
    EXPECT_EQ(get_stream_on(), 0);
  });
}

MavlinkMessage heartbeat_from(uint8_t sysid) {
  MavlinkMessage message{};
  message.payload[8] = 3;
  mavlink_frame_seal(&message, sysid, 0, 9, 50);
  return message;
}

TEST(AppRoute, TheFirstHeartbeatConfirmsAnAcceptedSession) {
  in_fresh_process([] {
    link_context_init();
    const MavlinkMessage message = heartbeat_from(9);
    app_link_route(&message);
    EXPECT_EQ(mavlink_context.link_state.load(), 0U);  // nobody has been accepted
    mavlink_context.link_state.store(1);
    app_link_route(&message);
    EXPECT_EQ(mavlink_context.link_state.load(), 2U);
    app_link_route(&message);
    EXPECT_EQ(mavlink_context.link_state.load(), 2U);
  });
}

TEST(AppRoute, AHeartbeatForThePeerAndOtherMessagesConfirmNothing) {
  in_fresh_process([] {
    link_context_init();
    mavlink_context.link_state.store(1);
    for (const uint8_t sysid : std::initializer_list<uint8_t>{5, 21, 37, 0xF5}) {
      const MavlinkMessage message = heartbeat_from(sysid);
      app_link_route(&message);
    }
    MavlinkMessage message{};
    message.msgid = 67;
    mavlink_frame_seal(&message, 9, 0, 6, 21);
    app_link_route(&message);
    EXPECT_EQ(mavlink_context.link_state.load(), 1U);
  });
}

TEST(AppServe, TakesFramesSplitJoinedAndBetweenNoise) {
  in_fresh_process([] {
    AppSession application;
    const Bytes frame = hex(kStream9);
    for (const uint8_t byte : frame) {
      EXPECT_EQ(get_stream_on(), 0);
      application.send_bytes({byte});
      EXPECT_EQ(app_session_serve(), 0);
    }
    EXPECT_EQ(get_stream_on(), 1);
    EXPECT_EQ(mavlink_context.link_state.load(), 1U);
    application.send_bytes(hex(std::string("00 11 fd ") + kBeat5 + "22 " + kBeat9));
    EXPECT_EQ(app_session_serve(), 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 2U);
  });
}

TEST(AppServe, AFloodOfHalfFramesIsOutlived) {
  in_fresh_process([] {
    AppSession application;
    const Bytes frame = hex(kStream9);
    std::atomic<bool> sent{false};
    std::thread far([&] {
      for (size_t i = 0; i < 20000; i++) {
        application.send_bytes(Bytes(frame.data(), frame.data() + 1 + i % (frame.size() - 1)));
      }
      application.send_bytes(Bytes(300, 0));  // ends whatever was half-read
      application.send_bytes(hex(kBeat9));
      sent = true;
    });
    // Some halves make a whole by chance of their order; only the heartbeat shows the end.
    serve([] { return mavlink_context.link_state.load() == 2; }, 100000);
    far.join();
    EXPECT_TRUE(sent);
    EXPECT_EQ(mavlink_context.link_state.load(), 2U);
  });
}

TEST(AppServe, TheHalfFrameOfAnOldSessionEndsInsideTheNext) {
  in_fresh_process([] {
    {
      AppSession application;
      application.send_bytes(hex("fe 09 00 09 00 00 00"));
      EXPECT_EQ(app_session_serve(), 0);
    }
    AppSession application;
    // Its first 10 bytes are taken for the rest of the old frame; the next frame is whole again.
    application.send_bytes(hex(kBeat9));
    EXPECT_EQ(app_session_serve(), 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 1U);
    application.send_bytes(hex(kBeat9));
    EXPECT_EQ(app_session_serve(), 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 2U);
  });
}

TEST(AppServe, AClosedConnectionIsReported) {
  in_fresh_process([] {
    AppSession application;
    application.hang_up();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(app_session_serve(), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), kDisconnected);
  });
}

TEST(AppServe, WithoutAConnectionTheSessionIsOver) {
  in_fresh_process([] {
    link_context_init();
    EXPECT_EQ(app_session_serve(), -1);
  });
}

TEST(AppServe, TwoSecondsWithoutAByteAreNoFault) {
  in_fresh_process([] {
    const AppSession application;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(app_session_serve(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1990));
    EXPECT_EQ(mavlink_context.link_state.load(), 1U);
  });
}

TEST(AppServe, AnInterruptedWaitIsReportedAndKeepsTheSession) {
  in_fresh_process([] {
    const AppSession application;
    const auto printed =
        link_test::printed_when_interrupted([] { EXPECT_EQ(app_session_serve(), 0); });
    EXPECT_EQ(printed.out, "MavlinkRecvThread(line=995):select failed!,exit\n");
    EXPECT_EQ(printed.error, "select failed: Interrupted system call\n");
    EXPECT_NE(mavlink_context.KRConnFd.load(), 0);
  });
}

TEST(AppEnd, TheDisconnectTimerClosesBehindTheReader) {
  in_fresh_process([] {
    AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    std::thread ending([] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      MavlinkTimeoutDisconn({});
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(app_session_serve(), -1);  // woken by the shutdown, not by its time-out
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1500));
    ending.join();
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 0U);
  });
}

TEST(AppEnd, TheDescriptorStaysOpenWhileTheReaderHoldsIt) {
  in_fresh_process([] {
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    std::unique_lock reader(mavlink_context.reader_lock);
    std::thread ending([] { app_session_end(); });
    while (mavlink_context.KRConnFd.load() != 0) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_NE(fcntl(connection, F_GETFD), -1);
    reader.unlock();
    ending.join();
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
  });
}

TEST(AppEnd, TheDescriptorStaysOpenWhileASenderHoldsIt) {
  in_fresh_process([] {
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    ASSERT_TRUE(mavlink_context.send_lock.wait());
    std::thread ending([] { app_session_end(); });
    while (mavlink_context.KRConnFd.load() != 0) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_NE(fcntl(connection, F_GETFD), -1);
    mavlink_context.send_lock.post();
    ending.join();
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
    EXPECT_EQ(mavlink_context.send_lock.count(), 1);
  });
}

TEST(AppEnd, SendersReaderAndTimersEndASessionTogetherOnce) {
  in_fresh_process([] {
    const MavlinkMessage message = heartbeat_from(36);
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 100; i++) {
      AppSession application;
      const int connection = mavlink_context.KRConnFd.load();
      std::thread reader([] {
        while (mavlink_context.link_state.load() != 0 && app_session_serve() == 0) {
        }
        app_session_end();
      });
      std::thread sender([&] {
        for (int k = 0; k < 50; k++) mavlink_send(&message);
      });
      std::thread timer([] { MavlinkTimeoutDisconn({}); });
      application.hang_up();
      reader.join();
      sender.join();
      timer.join();
      EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
      EXPECT_EQ(fcntl(connection, F_GETFD), -1);
      EXPECT_EQ(mavlink_context.send_lock.count(), 1);
    }
    ::testing::internal::GetCapturedStderr();
  });
}

TEST(AppSend, ASlowReaderCostsItsSession) {
  in_fresh_process([] {
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    ASSERT_EQ(fcntl(connection, F_SETFL, O_NONBLOCK), 0);
    const MavlinkMessage message = heartbeat_from(36);
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 1000000 && mavlink_context.link_state.load() != 0; i++) {
      mavlink_send(&message);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "mavlink_send(line=859):send error,Resource temporarily unavailable!\n");
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
  });
}

TEST(AppReset, LiftsTheFilterBeforeItClosesTheConnection) {
  in_fresh_process([] {
    fake_base::reset();
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    set_link_status(2);
    fake_base::on_command(
        [connection](const std::string&) { EXPECT_NE(fcntl(connection, F_GETFD), -1); });
    app_session_reset();
    EXPECT_THAT(fake_base::commands(), ElementsAre("iptables --flush", "iptables -P INPUT ACCEPT"));
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
    EXPECT_EQ(get_link_status(), 0);
  });
}

TEST(AppReset, LeavesTheFilterAloneWhileBindingIsDisabled) {
  in_fresh_process([] {
    fake_base::reset();
    const AppSession application;
    mavlink_context.binding_disabled.store(1);
    ::testing::internal::CaptureStdout();
    app_session_reset();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "stop heart beat timer ok!\n");
    EXPECT_THAT(fake_base::commands(), IsEmpty());
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
  });
}

TEST(AppTimers, AreCreatedTogetherDisarmed) {
  in_fresh_process([] {
    reset_link();
    ::testing::internal::CaptureStdout();
    app_timers_create();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "init heart beat timer ok!\n");
    EXPECT_THAT(fake_base::timers(),
                ::testing::UnorderedElementsAre(
                    AllOf(Field(&fake_base::Timer::callback, MavlinkTimeoutNormal),
                          Field(&fake_base::Timer::period_ms, 0U)),
                    AllOf(Field(&fake_base::Timer::callback, MavlinkTimeoutDisconn),
                          Field(&fake_base::Timer::period_ms, 0U)),
                    AllOf(Field(&fake_base::Timer::callback, app_heartbeat_tick),
                          Field(&fake_base::Timer::period_ms, 0U))));
  });
}

TEST(AppStart, StartsTheThreadWithDefaultScheduling) {
  fake_base::reset();
  EXPECT_EQ(app_link_start(), 0);
  ASSERT_EQ(fake_base::threads().size(), 1U);
  EXPECT_EQ(fake_base::threads()[0].body, &MavlinkRecvThread);
  EXPECT_EQ(fake_base::threads()[0].priority, 0);
  fake_base::fail_next_thread();
  EXPECT_EQ(app_link_start(), EAGAIN);
}

}  // namespace
}  // namespace flightlink
