// Settings that take more than one step, the reset to the defaults, and the time-lapse.
#include <limits>

#include "camera/camera_rig.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class ResolutionRequest : public CameraTest {
 protected:
  ResolutionRequest() {
    settle(kCameraMode, 1);
    settle(kResolution, 4);
  }
  void expect_refused(int32_t index) {
    const int32_t before = requested(kResolution);
    (void)cam_request_resolution(index);
    EXPECT_EQ(timeline(), Timeline{}) << index;
    EXPECT_EQ(requested(kResolution), before);
    EXPECT_EQ(supervisor::get_setting_pending(), 0);
  }
  void expect_accepted(int32_t index) {
    EXPECT_EQ(cam_request_resolution(index), 0);
    EXPECT_EQ(timeline(), Timeline{kStopPreview}) << index;
    EXPECT_EQ(requested(kResolution), index);
    EXPECT_EQ(supervisor::get_setting_pending(), 1);
    supervisor::set_setting_pending(0);
    answered(kResolution);
    request(kResolution, 4);
  }
};

TEST_F(ResolutionRequest, StopsThePreviewFirst) {
  for (const int32_t index : {0, 1, 2, 3, 5, 6, 7, 8, 9, 10}) expect_accepted(index);
  EXPECT_EQ(confirmed(kResolution), 4);
}

TEST_F(ResolutionRequest, DoesNothingInPhotoMode) {
  settle(kCameraMode, 0);
  EXPECT_EQ(cam_request_resolution(0), 0);
  expect_refused(0);
}

TEST_F(ResolutionRequest, DoesNothingForWhatIsRequestedAlready) {
  expect_refused(4);
  EXPECT_EQ(cam_set_resolution(6), 0);
  (void)timeline();
  expect_refused(6);
}

TEST_F(ResolutionRequest, OutsideTheTableIsRefused) {
  for (const int32_t index : {11, -1, INT32_MAX, INT32_MIN}) expect_refused(index);
}

TEST_F(ResolutionRequest, HighRateNeedsAutomaticExposure) {
  for (const int32_t mode : {1, 2}) {
    settle(kAeMode, mode);
    for (const int32_t index : {8, 9, 10}) expect_refused(index);
    expect_accepted(6);
  }
}

TEST_F(ResolutionRequest, HighRateNeedsJpegPhotos) {
  settle(kPivFormat, 1);
  for (const int32_t index : {8, 9, 10}) expect_refused(index);
  expect_accepted(5);
  expect_accepted(6);
}

TEST_F(ResolutionRequest, LowLightAllows30pOnly) {
  settle(kLowLight, 1);
  for (const int32_t index : {1, 3, 5, 7, 8, 9, 10}) expect_refused(index);
  for (const int32_t index : {0, 2, 6}) expect_accepted(index);
}

TEST_F(ResolutionRequest, ALongShutterKeeps60pAway) {
  settle(kAeMode, 2);
  settle(kShutter, 8);
  for (const int32_t index : {1, 3, 5, 7}) expect_refused(index);
  expect_accepted(0);
  settle(kShutter, 9);
  for (const int32_t index : {1, 3, 5, 7}) expect_accepted(index);
  settle(kShutter, 8);
  for (const int32_t mode : {0, 1}) {
    settle(kAeMode, mode);
    expect_accepted(5);
  }
}

TEST_F(ResolutionRequest, WithoutAConnectionNothingIsPending) {
  disconnect();
  printed_by([] { EXPECT_EQ(cam_request_resolution(9), -2); });
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
}

TEST_F(ResolutionRequest, TheWholeRoad) {
  EXPECT_EQ(cam_request_resolution(9), 0);
  say(R"({"rval":0,"msg_id":260})");
  say(R"({"rval":0,"msg_id":2,"type":"video_resolution"})");
  EXPECT_EQ(confirmed(kResolution), 4);
  EXPECT_EQ(supervisor::get_setting_pending(), 1);
  say(R"({"rval":0,"msg_id":259})");
  EXPECT_EQ(timeline(),
            (Timeline{kStopPreview, set_text("1280x720 200P 16:9", "video_resolution"),
                      R"({"msg_id":259,"param":"none_force","token":77})", "sleep 10", "sleep 500",
                      "sleep 500", camera_ack("02", "00", "09"), "sleep 500"}));
  EXPECT_EQ(confirmed(kResolution), 9);
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
}

class SettingRequest : public CameraTest {};

TEST_F(SettingRequest, ADefaultResetStopsThePreviewFirst) {
  EXPECT_EQ(cam_request_default_setting(), 0);
  EXPECT_EQ(unanswered(kDefaultSetting), kMsgStopPreview);
  say(R"({"rval":0,"msg_id":260})");
  say(R"({"rval":0,"msg_id":2,"type":"default_setting"})");
  EXPECT_EQ(timeline(), (Timeline{kStopPreview, set_text("on", "default_setting"),
                                  "run rm /pref/cam.conf", camera_ack("09", "00", "00")}));
  EXPECT_EQ(unanswered(kDefaultSetting), 0);
}

TEST_F(SettingRequest, WithoutAConnectionNoResetIsPending) {
  disconnect();
  printed_by([] { EXPECT_EQ(cam_request_default_setting(), -2); });
  EXPECT_EQ(unanswered(kDefaultSetting), 0);
}

TEST_F(SettingRequest, AManualAeModeIsOnlySet) {
  settle(kResolution, 4);
  EXPECT_EQ(cam_apply_ae_mode(1), 0);
  EXPECT_EQ(cam_apply_ae_mode(2), 0);
  EXPECT_EQ(timeline(), (Timeline{set_text("on", "set_manual_ae_mode"),
                                  set_text("shutter_priority", "set_manual_ae_mode")}));
}

TEST_F(SettingRequest, AnAutomaticAeModeResetsExposureAndIsoTwice) {
  settle(kResolution, 4);
  (void)cam_apply_ae_mode(0);
  const std::string exposure = set_text("0", "fix_exposure");
  const std::string iso = set_text("Auto", "fix_iso_value");
  EXPECT_EQ(timeline(),
            (Timeline{set_text("off", "set_manual_ae_mode"), "sleep 10", exposure, "sleep 10",
                      exposure, "sleep 200", "sleep 10", iso, "sleep 10", iso}));
  EXPECT_EQ(requested(kAeMode), 0);
  EXPECT_EQ(requested(kExposure), 0);
  EXPECT_EQ(requested(kIso), 0);
}

TEST_F(SettingRequest, AtHighRateNoAeModeIsApplied) {
  for (const int32_t resolution : {8, 9, 10}) {
    settle(kResolution, resolution);
    for (const int32_t mode : {0, 1, 2}) (void)cam_apply_ae_mode(mode);
  }
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(SettingRequest, LowLightNeeds30pAndAutomaticExposure) {
  for (const int32_t resolution : {1, 3, 5, 7, 8, 9, 10}) {
    settle(kResolution, resolution);
    (void)cam_request_low_light(1);
  }
  settle(kResolution, 4);
  for (const int32_t mode : {1, 2}) {
    settle(kAeMode, mode);
    (void)cam_request_low_light(1);
    (void)cam_request_low_light(0);
  }
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(requested(kLowLight), 0);
  settle(kAeMode, 0);
  for (const int32_t resolution : {0, 2, 4, 6}) {
    settle(kResolution, resolution);
    EXPECT_EQ(cam_request_low_light(1), 0);
    EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("ON", "low_light_mode")}));
  }
}

TEST_F(SettingRequest, LowLightLeavesRawPhotosFirst) {
  settle(kResolution, 4);
  settle(kPivFormat, 1);
  EXPECT_EQ(cam_request_low_light(1), 0);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("JPG", "piv_format"), "sleep 200",
                                  "sleep 10", set_text("ON", "low_light_mode")}));
}

TEST_F(SettingRequest, OtherTextsOfTheService) {
  EXPECT_EQ(cam_format_sd(), 0);
  EXPECT_EQ(cam_cmd_2817(), 0);
  EXPECT_EQ(cam_cmd_773(), 0);
  EXPECT_EQ(cam_cmd_2561(), 0);
  EXPECT_EQ(cam_cmd_8194(), 0);
  EXPECT_EQ(timeline(),
            (Timeline{R"({"msg_id":4,"token":77,"param":"C"})", R"({"msg_id":2817,"token":77})",
                      R"({"msg_id":773,"token":77})", R"({"msg_id":2561,"token":77})",
                      R"({"msg_id":8194,"token":77})"}));
}

TEST_F(SettingRequest, TheClockIsATextOfUpTo100Bytes) {
  EXPECT_EQ(cam_set_clock("2020-01-01 12:00:00"), 0);
  EXPECT_EQ(
      timeline(),
      Timeline{R"({"msg_id":2,"token":77,"type":"camera_clock","param":"2020-01-01 12:00:00"})"});
  EXPECT_EQ(cam_set_clock(nullptr), 0);
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(cam_set_clock(std::string(200, 'x').c_str()), 0);
  const Timeline cut = timeline();
  ASSERT_EQ(cut.size(), 1U);
  // The head has 55 bytes; one of the 100 is the terminator.
  EXPECT_EQ(cut[0],
            R"({"msg_id":2,"token":77,"type":"camera_clock","param":")" + std::string(45, 'x'));
}

class TimelapseControl : public CameraTest {
 protected:
  TimelapseControl() { settle(kResolution, 4); }
  static int32_t control(int32_t cmd, int32_t interval = 5) {
    return cam_timelapse_control({cmd, interval, {300, {1.0F, -2.0F, 0.5F, 8.0F}}});
  }
  void expect_refused(int32_t cmd, int32_t interval = 5) {
    camera_state.TimelapseShots.store(3);
    settle(kTimelapseInterval, 4);
    (void)timeline();
    (void)control(cmd, interval);
    EXPECT_EQ(timeline(), Timeline{});
    EXPECT_EQ(camera_state.TimelapseShots.load(), 3);
    EXPECT_EQ(camera_state.timelapse_count_parameter.load(), 0);
    EXPECT_EQ(requested(kTimelapseInterval), 4);
    EXPECT_EQ(confirmed(kTimelapseInterval), 4);
  }
};

TEST_F(TimelapseControl, AStartSavesTheParametersAndSendsTheInterval) {
  camera_state.TimelapseShots.store(3);
  confirm(kTimelapseInterval, 4);
  EXPECT_EQ(control(0), 0);
  EXPECT_EQ(timeline(), Timeline{set_text("5", "time_lapse_interval")});
  EXPECT_EQ(camera_state.TimelapseShots.load(), 0);
  EXPECT_EQ(confirmed(kTimelapseInterval), 0);
  EXPECT_EQ(requested(kTimelapseInterval), 5);
  cam_set_op_state(16);
  (void)timeline();
  say(R"({"rval":0,"msg_id":513})");
  EXPECT_EQ(timeline().back(), timelapse_report(kTimelapseRunning));
}

TEST_F(TimelapseControl, TheIntervalIs1To15) {
  for (const int32_t interval : {0, -1, 16, INT32_MAX, INT32_MIN}) expect_refused(0, interval);
  for (const int32_t interval : {1, 15}) {
    EXPECT_EQ(control(0, interval), 0);
    EXPECT_EQ(timeline(), Timeline{set_text(std::to_string(interval), "time_lapse_interval")});
  }
}

TEST_F(TimelapseControl, AStartNeedsAnIdleCamera) {
  for (const uint32_t op : {1U, 16U}) {
    cam_set_op_state(op);
    expect_refused(0);
  }
  cam_set_op_state(0);
  for (const int32_t state : {1, 2, 3, 4}) {
    camera_state.TimelapseState.store(state);
    expect_refused(0);
  }
}

TEST_F(TimelapseControl, EveryCommandNeeds1920x1080At30) {
  cam_set_op_state(16);
  for (const int32_t resolution : {0, 1, 2, 3, 5, 6, 7, 8, 9, 10}) {
    settle(kResolution, resolution);
    expect_refused(2);
  }
  cam_set_op_state(0);
  settle(kResolution, 5);
  request(kResolution, 4);
  expect_refused(0);
}

TEST_F(TimelapseControl, ALongShutterKeepsItAway) {
  settle(kAeMode, 2);
  settle(kShutter, 5);
  expect_refused(0);
  settle(kShutter, 6);
  EXPECT_EQ(control(0), 0);
  settle(kAeMode, 1);
  settle(kShutter, 5);
  EXPECT_EQ(control(0), 0);
  EXPECT_EQ(timeline().size(), 2U);
}

TEST_F(TimelapseControl, Command2StopsAndOthersDoNothing) {
  cam_set_op_state(16);
  for (const int32_t cmd : {1, 3, -1, INT32_MAX}) expect_refused(cmd);
  EXPECT_EQ(control(2), 0);
  EXPECT_EQ(timeline(), Timeline{R"({"msg_id":514,"token":77})"});
  EXPECT_EQ(camera_state.TimelapseStopSent.load(), 1);
}

}  // namespace
}  // namespace camera_test
