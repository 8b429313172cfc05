// The camera's own HEARTBEATs byte for byte, and the watchdogs of the application's session.
#include "flightlink/links/heartbeats.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "flightlink/link_suite.h"
#include "flightlink/wire/link_status.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/mac_address.h"
#include "supervisor/state/switches.h"
#include "support/app_session.h"

namespace flightlink {
namespace {

void peer_tick() { peer_heartbeat_tick({}); }

TEST(PeerHeartbeat, IdleBeforeTheMediaStoreStarts) {
  in_fresh_process([] {
    PeerCapture peer;
    peer_tick();
    EXPECT_EQ(peer.next(), hex("fe 09 00 25 00 00 " + zeros(7) + "00 03 6a 44"));
  });
}

TEST(PeerHeartbeat, Bit0IsTheStreamWord) {
  in_fresh_process([] {
    PeerCapture peer;
    set_stream_on(1);
    peer_tick();
    EXPECT_EQ(peer.next(), hex("fe 09 00 25 00 00 " + zeros(7) + "01 03 b6 1e"));
  });
}

TEST(PeerHeartbeat, Bit1IsTestMode) {
  in_fresh_process([] {
    PeerCapture peer;
    supervisor::switches.test_mode.store(1);
    peer_tick();
    EXPECT_EQ(peer.next(), hex("fe 09 00 25 00 00 " + zeros(7) + "02 03 d2 f1"));
  });
}

TEST(PeerHeartbeat, Bit2IsRecording) {
  in_fresh_process([] {
    PeerCapture peer;
    supervisor::set_recording(1);
    peer_tick();
    EXPECT_EQ(peer.next(), hex("fe 09 00 25 00 00 " + zeros(7) + "04 03 0b 27"));
  });
}

TEST(PeerHeartbeat, BitsAddUpAndTheSequenceCounts) {
  in_fresh_process([] {
    PeerCapture peer;
    set_stream_on(1);
    supervisor::switches.test_mode.store(1);
    supervisor::set_recording(1);
    peer_tick();
    EXPECT_EQ(peer.next(), hex("fe 09 00 25 00 00 " + zeros(7) + "07 03 6f c8"));
    peer_tick();
    EXPECT_EQ(peer.next()[2], 1);
  });
}

TEST(PeerHeartbeat, WithoutASocketNothingHappens) {
  in_fresh_process([] {
    reset_link();
    peer_tick();
    EXPECT_TRUE(fake_base::events().empty());
  });
}

// The application's end of KRConnFd, with the session open.
struct Application : link_test::AppSession {
  Application() { fake_base::reset(); }
};

TEST(AppHeartbeat, TellsBindingWhileItIsEnabled) {
  in_fresh_process([] {
    Application application;
    app_heartbeat_tick({});
    EXPECT_EQ(application.received(), hex("fe 09 00 24 00 00 " + zeros(6) + "02 00 03 b1 78"));
  });
}

TEST(AppHeartbeat, CarriesTheMacAddressAndTheRecordingFlag) {
  in_fresh_process([] {
    Application application;
    mavlink_context.binding_disabled.store(1);
    const uint8_t mac[] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
    for (size_t i = 0; i < 6; i++) supervisor::camera_mac[i].store(mac[i]);
    supervisor::set_recording(1);
    app_heartbeat_tick({});
    // custom_mode is 0x11223344, low byte first on the wire.
    EXPECT_EQ(application.received(), hex("fe 09 00 24 00 00 44 33 22 11 55 66 00 01 03 18 7d"));
  });
}

TEST(AppHeartbeat, SendsOnlyTheLowThreeBitsOfTheRecordingFlag) {
  in_fresh_process([] {
    Application application;
    supervisor::set_recording(0x0D);
    app_heartbeat_tick({});
    EXPECT_EQ(application.received()[13], 5);
  });
}

void no_callback(union sigval) {}

void arm_session_timers() {
  for (LinkTimer* timer : {&mavlink_context.normal_timer, &mavlink_context.app_heartbeat_timer,
                           &mavlink_context.disconnect_timer}) {
    mavlink_timer_create(timer, no_callback);
    mavlink_timer_set(timer, 300);
  }
}

// The session's three words; the last two go together.
void expect_session(uint32_t state, uint32_t open) {
  EXPECT_EQ(mavlink_context.link_state.load(), state);
  EXPECT_EQ(mavlink_context.send_enabled.load(), open);
  EXPECT_EQ(mavlink_context.session_flag.load(), open);
}

void time_out_normally() {
  ::testing::internal::CaptureStdout();
  MavlinkTimeoutNormal({});
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "MavlinkTimeoutNormal(line=428):normal timer out!\n");
}

TEST(NormalTimeout, CutsASessionThatIsOnlyAccepted) {
  in_fresh_process([] {
    const Application application;
    arm_session_timers();
    time_out_normally();
    expect_session(0, 0);
    EXPECT_EQ(period(mavlink_context.normal_timer), 0U);
    // The receive loop does the rest.
    EXPECT_EQ(period(mavlink_context.app_heartbeat_timer), 300U);
    EXPECT_NE(mavlink_context.KRConnFd.load(), 0);
  });
}

TEST(NormalTimeout, LeavesAConfirmedSessionAlone) {
  in_fresh_process([] {
    const Application application;
    arm_session_timers();
    mavlink_context.link_state.store(2);
    time_out_normally();
    expect_session(2, 1);
    EXPECT_EQ(period(mavlink_context.normal_timer), 300U);
  });
}

TEST(DisconnectTimeout, EndsTheSession) {
  in_fresh_process([] {
    const Application application;
    arm_session_timers();
    set_link_status(2);
    ::testing::internal::CaptureStdout();
    MavlinkTimeoutDisconn({});
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "stop heart beat timer ok!\n"
              "MavlinkTimeoutDisconn(line=451):timeout disconnected!\n");
    expect_session(0, 0);
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
    EXPECT_EQ(get_link_status(), 0);
    for (const fake_base::Timer& timer : fake_base::timers()) EXPECT_EQ(timer.period_ms, 0U);
  });
}

}  // namespace
}  // namespace flightlink
