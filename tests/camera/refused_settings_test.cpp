// What the camera service refuses may be asked for again: a refusal is an answer, and nothing goes
// on waiting for another one.
#include "camera/camera_rig.h"
#include "camera/client.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class RefusedSetting : public CameraTest {
 protected:
  RefusedSetting() {
    settle(kCameraMode, 1);
    settle(kResolution, 4);
  }
  void request_9() {
    EXPECT_EQ(cam_request_resolution(9), 0);
    EXPECT_EQ(supervisor::get_setting_pending(), 1);
    (void)timeline();
  }
  void expect_9_may_be_requested() {
    EXPECT_EQ(confirmed(kResolution), 4);
    EXPECT_EQ(supervisor::get_setting_pending(), 0);
    (void)timeline();
    EXPECT_EQ(cam_request_resolution(9), 0);
    EXPECT_EQ(timeline(), Timeline{kStopPreview});
  }
  static void refuse(const std::string& type) {
    say(R"({"rval":-1,"msg_id":2,"type":")" + type + "\"}");
  }
};

TEST_F(RefusedSetting, AResolutionEndsItsSwitchWithoutAnAcknowledgement) {
  request_9();
  say(R"({"rval":0,"msg_id":260})");
  (void)timeline();
  refuse("video_resolution");
  EXPECT_EQ(timeline(), Timeline{"sleep 10"});
  EXPECT_EQ(cam_get_op_state(), 0U);
  expect_9_may_be_requested();
}

TEST_F(RefusedSetting, APreviewThatDoesNotStopLeavesTheResolution) {
  request_9();
  say(R"({"rval":-1,"msg_id":260})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("02", "04", "04")});
  expect_9_may_be_requested();
}

TEST_F(RefusedSetting, APreviewThatDoesNotStartLeavesTheResolution) {
  request_9();
  say(R"({"rval":0,"msg_id":260}{"rval":0,"msg_id":2,"type":"video_resolution"})");
  (void)timeline();
  say(R"({"rval":-1,"msg_id":259})");
  EXPECT_EQ(timeline(), (Timeline{"sleep 500", camera_ack("02", "04", "04"), "sleep 500"}));
  expect_9_may_be_requested();
}

TEST_F(RefusedSetting, AColourStyleIsAnsweredThoughRefused) {
  EXPECT_EQ(cam_set_color_style(2), 0);
  (void)timeline();
  refuse("color_style");
  EXPECT_EQ(timeline(), Timeline{"sleep 10"});
  EXPECT_EQ(confirmed(kColorStyle), 0);
  EXPECT_EQ(cam_set_color_style(2), 0);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("VIVID", "color_style")}));
}

TEST_F(RefusedSetting, ADefaultResetIsNotPendingAnyMore) {
  EXPECT_EQ(cam_request_default_setting(), 0);
  say(R"({"rval":0,"msg_id":260})");
  (void)timeline();
  refuse("default_setting");
  EXPECT_EQ(timeline(), Timeline{"sleep 10"});
  EXPECT_EQ(unanswered(kDefaultSetting), 0);
  // The next stop of the preview belongs to a resolution again.
  request(kResolution, 9);
  say(R"({"rval":0,"msg_id":260})");
  EXPECT_EQ(timeline(), Timeline{set_text("1280x720 200P 16:9", "video_resolution")});
}

TEST_F(RefusedSetting, AnotherTypeLeavesARequestThatWaits) {
  request_9();
  cam_set_color_style(2);
  cam_request_default_setting();
  refuse("contrast");
  EXPECT_EQ(unanswered(kResolution), kMsgStopPreview);
  EXPECT_EQ(supervisor::get_setting_pending(), 1);
  EXPECT_EQ(unanswered(kColorStyle), kMsgSet);
  EXPECT_EQ(unanswered(kDefaultSetting), kMsgStopPreview);
}

TEST_F(RefusedSetting, ATimelapseStopThatMetAPendingCommandMayBeSentAgain) {
  cam_set_op_state(kCamOpTimelapse);
  supervisor::set_record_cmd_pending(1);
  (void)timeline();
  EXPECT_EQ(cam_stop_timelapse(), 1) << "the pending flag";
  EXPECT_EQ(timeline(), Timeline{});
  supervisor::set_record_cmd_pending(0);
  EXPECT_EQ(cam_stop_timelapse(), 0);
  EXPECT_EQ(timeline(), Timeline{R"({"msg_id":514,"token":77})"});
}

TEST_F(RefusedSetting, ATimelapseMayStartAgainAfterItsConnectionIsGone) {
  cam_set_op_state(kCamOpTimelapse);
  camera_state.TimelapseState.store(camera::kTimelapseRunning);
  cam_connection_lost();
  (void)timeline();
  EXPECT_EQ(camera_state.TimelapseState.load(), kTimelapseIdle);
  EXPECT_EQ(cam_timelapse_control({0, 5, {300, {1.0F, 2.0F, 3.0F, 4.0F}}}), 0);
  EXPECT_EQ(timeline(), Timeline{set_text("5", "time_lapse_interval")});
}

}  // namespace
}  // namespace camera_test
