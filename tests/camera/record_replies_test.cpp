// Answers to the session request and to the recording commands.
#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/messages.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::Values;

class SessionReply : public CameraTest {};

TEST_F(SessionReply, ATokenStartsTheSession) {
  say(R"({"rval":0,"msg_id":257,"param":1234})");
  EXPECT_EQ(cam_json_context.Token.load(), 1234);
  EXPECT_EQ(cam_json_context.SessionStarted.load(), 1);
  EXPECT_EQ(cam_get_op_state(), 15U) << "the shutter query is not answered yet";
  ASSERT_EQ(fake_base::threads().size(), 1U) << "the settings file is loaded on the side";
  EXPECT_EQ(fake_base::threads()[0].priority, 0);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", R"({"msg_id":1,"token":1234,"type":"shutter_time"})",
                                  "sleep 500", "status 300", R"({"msg_id":4097,"token":1234})"}));
}

TEST_F(SessionReply, EveryNewSessionReplacesTheToken) {
  say(R"({"rval":0,"msg_id":257,"param":5})");
  say(R"({"rval":0,"msg_id":257,"param":-6})");
  EXPECT_EQ(cam_json_context.Token.load(), -6);
  EXPECT_EQ(cam_json_context.SessionStarted.load(), 1);
}

class SessionRefusal : public SessionReply, public ::testing::WithParamInterface<const char*> {};

// There is no other way to a session than a new connection, so the watch goes on.
TEST_P(SessionRefusal, ChangesNothingStartsNoReportsAndLeavesTheSessionAskedFor) {
  base::set_waiting(cam_json_context.SessionRequest, kMsgSession);
  say(GetParam());
  EXPECT_EQ(cam_json_context.SessionRequest.what.load(), kMsgSession);
  EXPECT_EQ(cam_json_context.Token.load(), 77);
  EXPECT_EQ(cam_json_context.SessionStarted.load(), 0);
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_TRUE(fake_base::threads().empty());
}

INSTANTIATE_TEST_SUITE_P(
    All, SessionRefusal,
    Values(R"({"rval":0,"msg_id":257})", R"({"rval":-4,"msg_id":257,"param":9})",
           R"({"rval":1,"msg_id":257,"param":9})", R"({"msg_id":257,"param":9})",
           R"({"rval":"0","msg_id":257,"param":9})", R"({"rval":null,"msg_id":257,"param":9})",
           R"({"rval":false,"msg_id":257,"param":9})", R"({"rval":0,"msg_id":257,"param":"9"})",
           R"({"rval":0,"msg_id":257,"param":[9]})"));

class RecordReply : public CameraTest {
 protected:
  RecordReply() {
    supervisor::set_record_cmd_pending(1);
    save_timelapse_parameters();
  }
  void start_timelapse() {
    cam_set_op_state(16);
    (void)timeline();
  }
};

TEST_F(RecordReply, AStartIsAcknowledgedTimedAndReported) {
  camera_state.record_seconds.store(99);
  say(R"({"rval":0,"msg_id":513})");
  EXPECT_EQ(timeline(), (Timeline{"record tick 1000", kRecordStartOk, kRecordStartedReport}));
  EXPECT_EQ(camera_state.record_seconds.load(), 0U);
  EXPECT_EQ(supervisor::get_recording(), 1);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  EXPECT_EQ(camera_state.TimelapseState.load(), 0);
}

TEST_F(RecordReply, AStartOfATimelapseSliceReportsTheTimelapse) {
  start_timelapse();
  say(R"({"rval":0,"msg_id":513})");
  EXPECT_EQ(timeline(),
            (Timeline{"record tick 1000", kRecordStartOk, timelapse_report(kTimelapseRunning)}));
  EXPECT_EQ(camera_state.TimelapseState.load(), 1);
  EXPECT_EQ(cam_get_op_state(), 16U);
  EXPECT_EQ(supervisor::get_recording(), 1);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

TEST_F(RecordReply, TheFlightControllerIsAcknowledgedWhenItAsked) {
  supervisor::set_record_ack_via_uart(1);
  say(R"({"rval":0,"msg_id":513})");
  EXPECT_EQ(timeline(),
            (Timeline{"record tick 1000", "flight 77: c4 09 00", kRecordStartedReport}));
  say(R"({"rval":-1,"msg_id":513})");
  EXPECT_EQ(timeline(), Timeline{"flight 77: c4 09 04"});
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 1);
}

class RecordStartRefusal : public RecordReply, public ::testing::WithParamInterface<const char*> {};

TEST_P(RecordStartRefusal, OnlyFails) {
  camera_state.record_seconds.store(99);
  say(GetParam());
  EXPECT_EQ(timeline(), Timeline{kRecordStartFailed});
  EXPECT_EQ(camera_state.record_seconds.load(), 99U);
  EXPECT_EQ(supervisor::get_recording(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, RecordStartRefusal,
                         Values(R"({"rval":-1,"msg_id":513})", R"({"rval":-17,"msg_id":513})",
                                R"({"rval":1,"msg_id":513})", R"({"msg_id":513})",
                                R"({"rval":"0","msg_id":513})", R"({"rval":{},"msg_id":513})"));

TEST_F(RecordReply, ATimelapseSliceThatDoesNotStartEndsTheTimelapse) {
  start_timelapse();
  request(kTimelapseInterval, 5);
  say(R"({"rval":-1,"msg_id":513})");
  EXPECT_EQ(timeline(), (Timeline{kRecordStartFailed, set_text("OFF", "time_lapse_interval")}));
  EXPECT_EQ(requested(kTimelapseInterval), 0);
  EXPECT_EQ(camera_state.TimelapseState.load(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

TEST_F(RecordReply, AStopIsReportedQueriesTheCardAndIsAcknowledged) {
  supervisor::set_recording(1);
  supervisor::set_photo_pending(1);
  supervisor::set_record_ack_via_uart(1);
  request(kTimelapseInterval, 3);
  request(kTimelapseTime, 4);
  say(R"({"rval":0,"msg_id":514})");
  EXPECT_EQ(timeline(),
            (Timeline{"record tick 0", kRecordStoppedReport, "sleep 10", kSdQuery, kRecordStopOk}));
  EXPECT_EQ(cam_get_op_state(), 8U);
  EXPECT_EQ(supervisor::get_recording(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
  EXPECT_EQ(requested(kTimelapseInterval), 3);
  EXPECT_EQ(requested(kTimelapseTime), 4);
}

class RecordStopRefusal : public RecordReply, public ::testing::WithParamInterface<std::string> {};

TEST_P(RecordStopRefusal, DoesTheSameWithResult4) {
  supervisor::set_recording(1);
  supervisor::set_photo_pending(1);
  say(GetParam());
  EXPECT_EQ(timeline(), (Timeline{"record tick 0", kRecordStoppedReport, "sleep 10", kSdQuery,
                                  kRecordStopFailed}));
  EXPECT_EQ(cam_get_op_state(), 8U);
  EXPECT_EQ(supervisor::get_recording(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, RecordStopRefusal, ::testing::ValuesIn(failed_replies(514)));

TEST_F(RecordReply, TheStopOfATimelapseClearsWhatItRequested) {
  for (const char* reply : {R"({"rval":0,"msg_id":514})", R"({"rval":-1,"msg_id":514})"}) {
    start_timelapse();
    settle(kTimelapseInterval, 5);
    settle(kTimelapseTime, 6);
    supervisor::set_recording(1);
    supervisor::set_record_cmd_pending(1);
    say(reply);
    const bool ok = std::string(reply).starts_with(R"({"rval":0)");
    EXPECT_EQ(timeline(), (Timeline{"record tick 0", ok ? kRecordStopOk : kRecordStopFailed}));
    EXPECT_EQ(requested(kTimelapseInterval), 0);
    EXPECT_EQ(requested(kTimelapseTime), 0);
    EXPECT_EQ(confirmed(kTimelapseInterval), 5);
    EXPECT_EQ(confirmed(kTimelapseTime), 6);
    EXPECT_EQ(cam_get_op_state(), 16U);
    EXPECT_EQ(supervisor::get_recording(), 0);
    EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  }
}

TEST_F(RecordReply, WithoutAConnectionTheCameraIsIdleAfterAStop) {
  disconnect();
  printed_by([] { say(R"({"rval":0,"msg_id":514})"); });
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

}  // namespace
}  // namespace camera_test
