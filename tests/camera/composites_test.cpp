// Requests that need a mode switch first, the stop of a time-lapse, and whether the camera is
// ready.
#include "camera/camera_ready.h"
#include "camera/camera_rig.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/switches.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class CamComposites : public CameraTest {
 protected:
  static int32_t photo_waits() { return camera_state.pending_photo_after_switch.load(); }
  static int32_t record_waits() { return camera_state.pending_record_after_switch.load(); }
};

struct RequestRow {
  const char* name;
  int32_t mode;  // confirmed
  int32_t (*ask)();
  const char* sent;
  int32_t requested_mode;
  int32_t photo_waits;
  int32_t record_waits;
  int32_t record_pending;
  int32_t switch_pending;
};

class CamRequest : public CamComposites, public ::testing::WithParamInterface<RequestRow> {};

TEST_P(CamRequest, IsCarriedOutAtOnceOrAfterASwitchOfTheMode) {
  const RequestRow& row = GetParam();
  settle(kCameraMode, row.mode);
  EXPECT_EQ(row.ask(), 0);
  EXPECT_EQ(timeline(), Timeline{row.sent});
  EXPECT_EQ(requested(kCameraMode), row.requested_mode);
  EXPECT_EQ(photo_waits(), row.photo_waits);
  EXPECT_EQ(record_waits(), row.record_waits);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), row.record_pending);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), row.switch_pending);
}

INSTANTIATE_TEST_SUITE_P(
    All, CamRequest,
    ::testing::Values(RequestRow{"APhotoIsTakenAtOnceInPhotoMode", 0, cam_photo_request,
                                 R"({"msg_id":769,"token":77})", 0, 0, 0, 0, 0},
                      RequestRow{"APhotoInVideoModeSwitchesFirst", 1, cam_photo_request,
                                 R"({"msg_id":772,"token":77})", 0, 1, 0, 0, 1},
                      RequestRow{"ARecordingStartsAtOnceInVideoMode", 1, cam_record_request,
                                 R"({"msg_id":513,"token":77})", 1, 0, 0, 1, 0},
                      RequestRow{"ARecordingInPhotoModeSwitchesFirst", 0, cam_record_request,
                                 R"({"msg_id":772,"token":77})", 1, 0, 1, 0, 1}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(CamComposites, TheConfirmedModeDecidesNotTheRequestedOne) {
  request(kCameraMode, 1);
  EXPECT_EQ(cam_photo_request(), 0);
  EXPECT_EQ(timeline(), Timeline{R"({"msg_id":769,"token":77})"});
}

TEST_F(CamComposites, WithoutAConnectionNothingWaits) {
  disconnect();
  printed_by([] { EXPECT_EQ(cam_record_request(), -2); });
  EXPECT_EQ(record_waits(), 0);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  settle(kCameraMode, 1);
  printed_by([] { EXPECT_EQ(cam_photo_request(), -2); });
  EXPECT_EQ(photo_waits(), 0);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  printed_by([] { EXPECT_EQ(cam_record_request(), -2); });
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

TEST_F(CamComposites, ATimelapseIsStoppedOnce) {
  cam_set_op_state(16);
  (void)timeline();
  EXPECT_EQ(cam_stop_timelapse(), 0);
  EXPECT_EQ(camera_state.TimelapseStopSent.load(), 1);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
  supervisor::set_record_cmd_pending(0);
  EXPECT_EQ(cam_stop_timelapse(), 0);
  EXPECT_EQ(timeline(), Timeline{R"({"msg_id":514,"token":77})"});
}

TEST_F(CamComposites, OnlyARunningTimelapseIsStopped) {
  for (const uint32_t code : {0U, 15U, 17U}) {
    cam_set_op_state(code);
    (void)timeline();
    EXPECT_EQ(cam_stop_timelapse(), 0);
    EXPECT_EQ(camera_state.TimelapseStopSent.load(), 0);
    EXPECT_EQ(timeline(), Timeline{});
  }
}

TEST_F(CamComposites, AStopThatCouldNotBeSentMayBeSentAgain) {
  cam_set_op_state(16);
  disconnect();
  printed_by([] { EXPECT_EQ(cam_stop_timelapse(), -2); });
  EXPECT_EQ(camera_state.TimelapseStopSent.load(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

TEST_F(CamComposites, TheCameraIsReadyWhileVideoFlowsAndNothingIsPending) {
  EXPECT_EQ(camera_ready(), 0) << "no video";
  supervisor::set_video_flowing(1);
  EXPECT_EQ(camera_ready(), 1);
  using Setter = void (*)(int32_t);
  const auto ready_while = [](Setter set) {
    set(1);
    const int32_t ready = camera_ready();
    set(0);
    EXPECT_EQ(camera_ready(), 1);
    return ready;
  };
  for (const Setter set : {supervisor::set_record_cmd_pending, supervisor::set_mode_switch_pending,
                           supervisor::set_setting_pending, supervisor::set_photo_pending}) {
    EXPECT_EQ(ready_while(set), 0);
  }
  for (const Setter set : {supervisor::set_recording, supervisor::set_sd_query_pending,
                           supervisor::set_record_ack_via_uart, supervisor::set_photo_mode,
                           supervisor::set_photo_sequence}) {
    EXPECT_EQ(ready_while(set), 1);
  }
  for (const uint32_t code : {1U, 8U, 16U, 26U}) {
    cam_set_op_state(code);
    EXPECT_EQ(camera_ready(), 0) << code;
  }
  cam_set_op_state(0);
  EXPECT_EQ(camera_ready(), 1);
}

}  // namespace
}  // namespace camera_test
