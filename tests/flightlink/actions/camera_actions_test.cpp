// COMMAND_LONG 2: what each camera action sends to the camera service, and when it is refused.
#include "flightlink/actions/camera_actions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/camera_socket.h"

namespace flightlink {
namespace {

using camera::confirm;
using namespace link_test;  // NOLINT

class CameraActions : public link_test::ReadyCamera {
 protected:
  // Refused, nothing sent, and no answer awaited.
  void expect_refused(int32_t action, const char* why) {
    EXPECT_EQ(camera_action(action, 50), -1) << why << ", action " << action;
    EXPECT_EQ(service_.sent(), "") << why << ", action " << action;
  }
  void expect_recording_command(int32_t action, const char* text) {
    EXPECT_EQ(camera_action(action, 0), 0);
    EXPECT_EQ(service_.sent(), text);
    EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
  }
  // Of a photo or a recording, which also a recording that runs keeps out.
  void expect_refused_outside(int32_t own_mode, int32_t action, int32_t (*pending)()) {
    set_mode(own_mode == camera::kModePhoto ? camera::kModeVideo : camera::kModePhoto);
    expect_refused(action, "the other mode");
    set_mode(own_mode);
    supervisor::set_recording(1);
    expect_refused(action, "recording");
    EXPECT_EQ(pending(), 0);
  }
  static void set_mode(int32_t mode) { confirm(camera::kCameraMode, mode); }

  CameraSocket service_;
};

TEST_F(CameraActions, AllAreRefusedUnlessTheCameraIsReady) {
  for (const int32_t mode : {camera::kModePhoto, camera::kModeVideo}) {
    set_mode(mode);
    for (int32_t action = 0; action <= 9; action++) {
      for (const Flag& flag : {kRecordPending, kSwitchPending, kSettingPending, kPhotoPending}) {
        flag.set(1);
        expect_refused(action, flag.name);
        flag.set(0);
      }
      supervisor::set_video_flowing(0);
      expect_refused(action, "no video flows");
      supervisor::set_video_flowing(1);
      for (const uint32_t operation : {1U, 8U, 16U, 26U}) {
        camera::cam_set_op_state(operation);
        expect_refused(action, "an operation is in flight");
      }
      camera::cam_clear_op_state();
    }
  }
}

TEST_F(CameraActions, FlagsThatAwaitNoAnswerRefuseNothing) {
  supervisor::set_sd_query_pending(1);
  supervisor::set_record_ack_via_uart(1);
  supervisor::set_photo_mode(1);
  supervisor::set_photo_sequence(1);
  EXPECT_EQ(camera_action(1, 0), 0);
  EXPECT_EQ(service_.sent(), kPhotoText);
}

TEST_F(CameraActions, OutsideTheTableIsRefused) {
  for (const int32_t mode : {camera::kModePhoto, camera::kModeVideo}) {
    set_mode(mode);
    for (const int32_t action : {5, 6, 7, 8, 10, 11, 255, 1000, -1}) {
      expect_refused(action, "no such action");
    }
    expect_refused(std::numeric_limits<int32_t>::min(), "no such action");
    expect_refused(std::numeric_limits<int32_t>::max(), "no such action");
  }
}

TEST_F(CameraActions, Action0SwitchesToPhotoMode) {
  set_mode(camera::kModeVideo);
  EXPECT_EQ(camera_action(0, 0), 0);
  EXPECT_EQ(service_.sent(), kModeText);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 1);
  EXPECT_EQ(camera::requested(camera::kCameraMode), camera::kModePhoto);
  EXPECT_EQ(camera::cam_get_mode(), camera::kModeVideo);
}

TEST_F(CameraActions, Action2SwitchesToVideoMode) {
  EXPECT_EQ(camera_action(2, 0), 0);
  EXPECT_EQ(service_.sent(), kModeText);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 1);
  EXPECT_EQ(camera::requested(camera::kCameraMode), camera::kModeVideo);
}

TEST_F(CameraActions, AModeThatIsThereAlreadyNeedsNothing) {
  EXPECT_EQ(camera_action(0, 0), 0);
  set_mode(camera::kModeVideo);
  EXPECT_EQ(camera_action(2, 0), 0);
  EXPECT_EQ(service_.sent(), "");
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  supervisor::set_recording(1);
  EXPECT_EQ(camera_action(2, 0), 0);
}

TEST_F(CameraActions, ARecordingKeepsTheMode) {
  supervisor::set_recording(1);
  expect_refused(2, "recording");
  set_mode(camera::kModeVideo);
  expect_refused(0, "recording");
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
}

TEST_F(CameraActions, Action1TakesAPhotoInPhotoMode) {
  EXPECT_EQ(camera_action(1, 0), 0);
  EXPECT_EQ(service_.sent(), kPhotoText);
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
  // The next one waits for the answer to this one.
  expect_refused(1, "photo pending");
}

TEST_F(CameraActions, APhotoIsRefusedInVideoModeAndWhileRecording) {
  expect_refused_outside(camera::kModePhoto, 1, supervisor::get_photo_pending);
}

TEST_F(CameraActions, Action3StartsARecordingInVideoMode) {
  set_mode(camera::kModeVideo);
  expect_recording_command(3, kStartText);
  EXPECT_EQ(supervisor::get_recording(), 0);
}

TEST_F(CameraActions, ARecordingIsRefusedInPhotoModeAndWhileOneRuns) {
  expect_refused_outside(camera::kModeVideo, 3, supervisor::get_record_cmd_pending);
}

TEST_F(CameraActions, Action4StopsARecording) {
  set_mode(camera::kModeVideo);
  supervisor::set_recording(1);
  expect_recording_command(4, kStopText);
  expect_refused(4, "record command pending");
}

TEST_F(CameraActions, WithoutAConnectionNothingStaysPending) {
  camera::cam_json_withdraw();
  EXPECT_EQ(camera_action(1, 0), -2);
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
  EXPECT_EQ(camera_action(2, 0), -2);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  set_mode(camera::kModeVideo);
  EXPECT_EQ(camera_action(0, 0), -2);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  EXPECT_EQ(camera_action(3, 0), -2);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  EXPECT_EQ(camera_action(4, 0), -2);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

struct SignalRow {
  int32_t signal;
  const char* text;
};

std::string rate_text(const char* rate) {
  return std::string("{\"msg_id\":16,\"token\":7,\"param\":\"") + rate + "\"}";
}

TEST_F(CameraActions, Action9ChoosesTheStreamRateBySignal) {
  confirm(camera::kStreamRate, 50);
  const SignalRow rows[] = {
      {2, "512"},   {3, "512"},   {39, "512"},  {40, "1024"},  {55, "1024"},
      {69, "1024"}, {70, "2048"}, {99, "2048"}, {100, "2048"},
  };
  for (const SignalRow& row : rows) {
    EXPECT_EQ(camera_action(9, row.signal), 0) << row.signal;
    EXPECT_EQ(service_.sent(), rate_text(row.text)) << row.signal;
    EXPECT_EQ(mavlink_context.throttle_flag.load(), 1U) << row.signal;
  }
}

TEST_F(CameraActions, Action9WithoutASignalClearsTheThrottleFlagOnly) {
  confirm(camera::kStreamRate, 50);
  for (const int32_t signal : {1, 0, -1, 101, 1000, std::numeric_limits<int32_t>::min(),
                               std::numeric_limits<int32_t>::max()}) {
    mavlink_context.throttle_flag.store(1);
    EXPECT_EQ(camera_action(9, signal), 0) << signal;
    EXPECT_EQ(service_.sent(), "") << signal;
    EXPECT_EQ(mavlink_context.throttle_flag.load(), 0U) << signal;
  }
}

TEST_F(CameraActions, Action9SendsNothingForTheConfirmedRate) {
  const int32_t rates[][2] = {{512, 39}, {1024, 40}, {2048, 70}};
  for (const auto& [rate, signal] : rates) {
    confirm(camera::kStreamRate, rate);
    EXPECT_EQ(camera_action(9, signal), 0);
    EXPECT_EQ(service_.sent(), "") << rate;
  }
}

TEST_F(CameraActions, PeerNibble10TurnsEveryRateInto1024) {
  confirm(camera::kStreamRate, 50);
  mavlink_context.peer_nibble.store(10);
  for (const int32_t signal : {2, 39, 40, 69, 70, 100}) {
    EXPECT_EQ(camera_action(9, signal), 0);
    EXPECT_EQ(service_.sent(), rate_text("1024")) << signal;
  }
  confirm(camera::kStreamRate, 1024);
  EXPECT_EQ(camera_action(9, 2), 0);
  EXPECT_EQ(service_.sent(), "");
  for (const uint8_t nibble : {uint8_t{9}, uint8_t{11}}) {
    mavlink_context.peer_nibble.store(nibble);
    camera_action(9, 2);
    EXPECT_EQ(service_.sent(), rate_text("512"));
  }
}

CommandLong action_command(float param1, float param2) {
  CommandLong command{};
  command.param[0] = param1;
  command.param[1] = param2;
  command.command = 2;
  return command;
}

TEST_F(CameraActions, ACommandTruncatesItsParameters) {
  EXPECT_EQ(camera_action_command(action_command(1.9F, 0)), 0);
  EXPECT_EQ(service_.sent(), kPhotoText);
  supervisor::set_photo_pending(0);
  confirm(camera::kStreamRate, 50);
  camera_action_command(action_command(9, 39.9F));
  EXPECT_EQ(service_.sent(), rate_text("512"));
  // -0.9 and not-a-number are action 0: already in photo mode.
  EXPECT_EQ(camera_action_command(action_command(-0.9F, 0)), 0);
  EXPECT_EQ(camera_action_command(action_command(std::nanf(""), 0)), 0);
  EXPECT_EQ(camera_action_command(action_command(1e20F, 0)), -1);
  EXPECT_EQ(camera_action_command(action_command(-1e20F, 0)), -1);
  EXPECT_EQ(camera_action_command(action_command(std::numeric_limits<float>::infinity(), 0)), -1);
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(CameraActions, EveryCommandClearsThrottleFlagAndPhotoMode) {
  for (const float action : {1.0F, 5.0F, 100.0F}) {
    mavlink_context.throttle_flag.store(1);
    supervisor::set_photo_mode(3);
    supervisor::set_photo_sequence(4);
    camera_action_command(action_command(action, 0));
    EXPECT_EQ(mavlink_context.throttle_flag.load(), 0U);
    EXPECT_EQ(supervisor::get_photo_mode(), 0);
    EXPECT_EQ(supervisor::get_photo_sequence(), 4);
  }
}

}  // namespace
}  // namespace flightlink
