// COMMAND_LONG 203, digicam control: photos with a name of their own, and recordings that the
// flight controller asks for.
#include <gtest/gtest.h>

#include <cmath>

#include "flightlink/actions/camera_actions.h"
#include "support/camera_socket.h"

namespace flightlink {
namespace {

using camera::confirm;
using namespace link_test;  // NOLINT

CommandLong digicam(float param7, float param5 = 0, float param6 = 0) {
  CommandLong command{};
  command.param[4] = param5;
  command.param[5] = param6;
  command.param[6] = param7;
  command.command = 203;
  return command;
}

class Digicam : public link_test::ReadyCamera {
 protected:
  CameraSocket service_;
};

TEST_F(Digicam, Value1TakesAPhotoWithModeAndSequence) {
  EXPECT_EQ(digicam_control(digicam(1, 2, 3)), 0);
  EXPECT_EQ(service_.sent(), kPhotoText);
  EXPECT_EQ(supervisor::get_photo_mode(), 3);
  EXPECT_EQ(supervisor::get_photo_sequence(), 3);
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
}

TEST_F(Digicam, Value1TruncatesEachParameter) {
  EXPECT_EQ(digicam_control(digicam(1.99F, 4.9F, 7.9F)), 0);
  EXPECT_EQ(service_.sent(), kPhotoText);
  EXPECT_EQ(supervisor::get_photo_mode(), 5);
  EXPECT_EQ(supervisor::get_photo_sequence(), 7);
}

TEST_F(Digicam, Value1KeepsTheLowByteOfTheCounters) {
  digicam_control(digicam(1, 255, 259));
  EXPECT_EQ(supervisor::get_photo_mode(), 0);
  EXPECT_EQ(supervisor::get_photo_sequence(), 3);
  // The highest integer and one more: low byte 0. Not-a-number is 0.
  digicam_control(digicam(1, 1e20F, std::nanf("")));
  EXPECT_EQ(supervisor::get_photo_mode(), 0);
  EXPECT_EQ(supervisor::get_photo_sequence(), 0);
}

TEST_F(Digicam, Value1WithRawConfirmedIsRefusedAndLeavesTheCounters) {
  confirm(camera::kPivFormat, 1);
  supervisor::set_photo_mode(5);
  supervisor::set_photo_sequence(6);
  EXPECT_EQ(digicam_control(digicam(1, 2, 3)), -1);
  EXPECT_EQ(service_.sent(), "");
  EXPECT_EQ(supervisor::get_photo_mode(), 5);
  EXPECT_EQ(supervisor::get_photo_sequence(), 6);
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
}

TEST_F(Digicam, Value1StoresTheCountersAlsoWhenThePhotoIsRefused) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  EXPECT_EQ(digicam_control(digicam(1, 2, 3)), -1);
  EXPECT_EQ(service_.sent(), "");
  EXPECT_EQ(supervisor::get_photo_mode(), 3);
  EXPECT_EQ(supervisor::get_photo_sequence(), 3);
}

TEST_F(Digicam, Value1NeedsAReadyCamera) {
  supervisor::set_video_flowing(0);
  EXPECT_EQ(digicam_control(digicam(1)), -1);
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(Digicam, Value2StopsARunningRecording) {
  supervisor::set_record_ack_via_uart(1);
  supervisor::set_recording(1);
  supervisor::set_video_flowing(0);  // asks for nobody's readiness
  EXPECT_EQ(digicam_control(digicam(2)), 0);
  EXPECT_EQ(service_.sent(), kStopText);
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
}

TEST_F(Digicam, Value2WithoutARecordingOnlyClearsTheRequest) {
  supervisor::set_record_ack_via_uart(1);
  EXPECT_EQ(digicam_control(digicam(2)), 0);
  EXPECT_EQ(service_.sent(), "");
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 0);
}

TEST_F(Digicam, Value2SendsNoSecondStopWhileOneIsAwaited) {
  supervisor::set_recording(1);
  supervisor::set_record_cmd_pending(1);
  digicam_control(digicam(2));
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(Digicam, Value3StartsARecordingInVideoMode) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  supervisor::set_video_flowing(0);
  EXPECT_EQ(digicam_control(digicam(3)), 0);
  EXPECT_EQ(service_.sent(), kStartText);
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 1);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
}

TEST_F(Digicam, Value3InPhotoModeSwitchesFirst) {
  EXPECT_EQ(digicam_control(digicam(3)), 0);
  EXPECT_EQ(service_.sent(), kModeText);
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 1);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 1);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  EXPECT_EQ(camera::camera_state.pending_record_after_switch.load(), 1);
}

TEST_F(Digicam, Value3WithoutAConnectionLeavesNothingPending) {
  camera::cam_json_withdraw();
  EXPECT_EQ(digicam_control(digicam(3)), -2);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  EXPECT_EQ(camera::camera_state.pending_record_after_switch.load(), 0);
  confirm(camera::kCameraMode, camera::kModeVideo);
  EXPECT_EQ(digicam_control(digicam(3)), -2);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

TEST_F(Digicam, Value4StopsARunningTimelapseOnce) {
  camera::cam_set_op_state(camera::kCamOpTimelapse);
  EXPECT_EQ(digicam_control(digicam(4)), 0);
  EXPECT_EQ(service_.sent(), kStopText);
  supervisor::set_record_cmd_pending(0);
  EXPECT_EQ(digicam_control(digicam(4)), 0);
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(Digicam, Value4WithoutATimelapseDoesNothing) {
  EXPECT_EQ(digicam_control(digicam(4)), 0);
  camera::cam_set_op_state(2);
  EXPECT_EQ(digicam_control(digicam(4)), 0);
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(Digicam, OtherValuesDoNothing) {
  supervisor::set_record_ack_via_uart(1);
  supervisor::set_recording(1);
  for (const float value : {0.0F, 0.99F, -1.0F, 5.0F, 100.0F, 1e20F, -1e20F}) {
    EXPECT_EQ(digicam_control(digicam(value)), 0) << value;
  }
  EXPECT_EQ(digicam_control(digicam(std::nanf(""))), 0);
  EXPECT_EQ(service_.sent(), "");
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 1);
  EXPECT_EQ(supervisor::get_photo_mode(), 0);
}

}  // namespace
}  // namespace flightlink
