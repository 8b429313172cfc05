// The application server without its port: where a frame goes, and when a session is confirmed.
#include "flightlink/links/app_link.h"

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
using link_test::heartbeat_from;

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

TEST(AppServe, WhyAWaitFailedIsToldWhenNothingElseCanBePrinted) {
  in_fresh_process([] {
    const AppSession application;
    EXPECT_EQ(link_test::error_behind_full_output([] { EXPECT_EQ(app_session_serve(), 0); }),
              "select failed: Interrupted system call\n");
  });
}

}  // namespace
}  // namespace flightlink
