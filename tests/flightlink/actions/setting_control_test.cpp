// COMMAND_LONG 180: which setting each component number sets, what it is given, and when it is
// refused. What each setting itself refuses is tested with the camera's settings.
#include "flightlink/actions/setting_control.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/camera_socket.h"

namespace flightlink {
namespace {

using camera::confirm;
using namespace link_test;  // NOLINT

constexpr int kAeMode = 8;
constexpr int kTimelapse = 16;

std::string set_text(const std::string& param, const std::string& type) {
  return R"({"msg_id":2,"token":7,"param":")" + param + R"(","type":")" + type + "\"}";
}

CommandLong setting(int sub, float value) {
  CommandLong command{};
  command.command = 180;
  command.target_component = static_cast<uint8_t>(sub);
  command.param[0] = value;
  return command;
}

class SettingControl : public link_test::ReadyCamera {
 protected:
  SettingControl() {
    confirm(camera::kResolution, 4);  // 1920x1080 30P
    camera::request(camera::kResolution, 4);
  }
  void expect_refused(const CommandLong& command, const std::string& why) {
    EXPECT_EQ(setting_control(command), -1)
        << why << ", sub " << static_cast<int>(command.target_component);
    EXPECT_EQ(service_.sent(), "") << why;
  }
  // The command is carried out, and the service is told this.
  void expect_sent(const CommandLong& command, const std::string& text) {
    EXPECT_EQ(setting_control(command), 0) << text;
    EXPECT_EQ(service_.sent(), text);
  }
  static CommandLong start_timelapse() {
    CommandLong command = setting(kTimelapse, 20);
    command.param[2] = 5;
    return command;
  }

  CameraSocket service_;
};

TEST_F(SettingControl, EachComponentSetsItsSetting) {
  struct Row {
    int sub;
    float value;
    const char* param;
    const char* type;
  };
  const Row rows[] = {
      {3, 3, "70FILM", "color_style"},
      {4, 2, "normal", "video_quality"},
      {5, 1, "Day", "scene_white_balance"},
      {6, 0, "Auto", "fix_iso_value"},
      {6, 800, "800", "fix_iso_value"},
      {7, 0, "0", "fix_exposure"},
      {7, 12500, "12500", "fix_exposure"},
      {kAeMode, 2, "shutter_priority", "set_manual_ae_mode"},
      {11, 59, "59", "saturation"},
      {12, 61, "61", "contrast"},
      {13, 4, "4", "sharpness"},
      {15, 1, "RAW", "piv_format"},
      {17, 12, "1/120", "shutter_time"},
      {18, 1, "ON", "low_light_mode"},
      {19, 30, "30", "Max_Agc"},
      {20, 1, "ON", "raw_mode"},
      {21, 1, "OFF", "sec_stream_stamp"},
  };
  for (const Row& row : rows) {
    camera::cam_settings_init();
    confirm(camera::kResolution, 4);
    confirm(camera::kLowLight, row.sub == 19 ? 1 : 0);
    camera::cam_clear_op_state();
    EXPECT_EQ(setting_control(setting(row.sub, row.value)), 0) << row.sub;
    EXPECT_EQ(service_.sent(), set_text(row.param, row.type)) << row.sub;
  }
}

TEST_F(SettingControl, ValuesAreTruncatedTowardZeroAndSaturated) {
  struct Row {
    float value;
    const char* param;
  };
  const float infinity = std::numeric_limits<float>::infinity();
  const Row rows[] = {{59.9F, "59"},
                      {-0.9F, "0"},
                      {-59.9F, "-59"},
                      {std::nanf(""), "0"},
                      {1e30F, "2147483647"},
                      {-1e30F, "-2147483648"},
                      {infinity, "2147483647"},
                      {-infinity, "-2147483648"}};
  for (const Row& row : rows) {
    camera::cam_clear_op_state();
    EXPECT_EQ(setting_control(setting(11, row.value)), 0) << row.value;
    EXPECT_EQ(service_.sent(), set_text(row.param, "saturation")) << row.value;
  }
}

TEST_F(SettingControl, OddValuesOutsideATableSendNothing) {
  struct Row {
    int sub;
    int result;
  };
  const float odd[] = {-1, 1e30F, -1e30F, 11, 100};
  for (const Row& row : {Row{2, -1}, {3, -1}, {4, 0}, {5, 0}, {17, -1}}) {
    for (const float value : odd) {
      if (row.sub == 17 && value == 11) continue;  // a shutter time
      confirm(camera::kCameraMode, camera::kModeVideo);
      EXPECT_EQ(setting_control(setting(row.sub, value)), row.result) << row.sub << " " << value;
      EXPECT_EQ(service_.sent(), "") << row.sub << " " << value;
    }
  }
}

TEST_F(SettingControl, TheOthersDoNothing) {
  for (const int sub : {0, 10, 14, 22, 23, 100, 255}) {
    EXPECT_EQ(setting_control(setting(sub, 1)), 0) << sub;
    EXPECT_EQ(service_.sent(), "") << sub;
    EXPECT_EQ(camera::cam_get_op_state(), camera::kCamOpIdle) << sub;
  }
}

TEST_F(SettingControl, ABusyCameraRefusesAll) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  for (int sub = 0; sub <= 23; sub++) {
    for (const Flag& flag : {kPhotoPending, kSwitchPending, kSettingPending, kQueryPending}) {
      flag.set(1);
      expect_refused(setting(sub, 1), flag.name);
      flag.set(0);
    }
    for (const uint32_t operation : {1U, 8U, 10U, 26U}) {
      camera::cam_set_op_state(operation);
      expect_refused(setting(sub, 1), "an operation is in flight");
    }
    if (sub != kTimelapse) {
      camera::cam_set_op_state(camera::kCamOpTimelapse);
      expect_refused(setting(sub, 1), "a time-lapse runs");
    }
    camera::cam_clear_op_state();
  }
}

TEST_F(SettingControl, OnlyAConnectedCameraTakesSettings) {
  for (const int32_t state : {0, 1, 3}) {
    camera::cam_json_context.ConnState.store(state);
    for (const int sub : {0, 1, 6, 9, kTimelapse}) expect_refused(setting(sub, 1), "connection");
  }
  camera::cam_json_context.ConnState.store(camera::kCamConnected);
  expect_sent(setting(6, 100), set_text("100", "fix_iso_value"));
}

TEST_F(SettingControl, NeitherRecordingNorMissingVideoRefusesASetting) {
  supervisor::set_recording(1);
  supervisor::set_record_cmd_pending(1);
  supervisor::set_video_flowing(0);
  expect_sent(setting(5, 2), set_text("Cloudy", "scene_white_balance"));
}

TEST_F(SettingControl, Sub1FormatsTheCard) {
  expect_sent(setting(1, 0), R"({"msg_id":4,"token":7,"param":"C"})");
  EXPECT_EQ(supervisor::get_setting_pending(), 1);
  expect_refused(setting(1, 0), "a format runs");
}

TEST_F(SettingControl, ARecordingKeepsCardResolutionAndDefaults) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  supervisor::set_recording(1);
  for (const int sub : {1, 2, 9}) expect_refused(setting(sub, 0), "recording");
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
  EXPECT_EQ(camera::unanswered(camera::kDefaultSetting), 0);
  EXPECT_EQ(camera::requested(camera::kResolution), 4);
}

TEST_F(SettingControl, Sub2RequestsAResolution) {
  expect_sent(setting(2, 0), "");  // photo mode: nothing
  confirm(camera::kCameraMode, camera::kModeVideo);
  expect_sent(setting(2, 2.9F), R"({"msg_id":260,"token":7})");
  EXPECT_EQ(camera::requested(camera::kResolution), 2);
  EXPECT_EQ(supervisor::get_setting_pending(), 1);
}

TEST_F(SettingControl, Sub8AppliesAnAeModeWithItsSettings) {
  EXPECT_EQ(setting_control(setting(kAeMode, 0)), 0);
  const std::string exposure = set_text("0", "fix_exposure");
  const std::string iso = set_text("Auto", "fix_iso_value");
  EXPECT_EQ(service_.sent(),
            set_text("off", "set_manual_ae_mode") + exposure + exposure + iso + iso);
}

TEST_F(SettingControl, Sub9AsksForTheDefaultSettings) {
  expect_sent(setting(9, 0), R"({"msg_id":260,"token":7})");
  EXPECT_EQ(camera::unanswered(camera::kDefaultSetting), camera::kMsgStopPreview);
}

TEST_F(SettingControl, Sub16TakesItsEightValues) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  CommandLong command = setting(kTimelapse, 20.9F);
  command.param[1] = 1.5F;
  command.param[2] = 5.9F;  // the interval
  command.param[3] = 99;
  command.param[4] = 2.5F;
  command.param[5] = 3.5F;
  command.param[6] = 4.5F;
  expect_sent(command, set_text("5", "time_lapse_interval"));
  const TimelapseParameters saved = camera::saved_timelapse_parameters();
  EXPECT_EQ(saved.count, 20);
  EXPECT_EQ(saved.values[0], 1.5F);
  EXPECT_EQ(saved.values[1], 2.5F);
  EXPECT_EQ(saved.values[2], 3.5F);
  EXPECT_EQ(saved.values[3], 4.5F);
}

TEST_F(SettingControl, Sub16KeepsOddFloatsAsTheyAre) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  CommandLong command = setting(kTimelapse, std::nanf(""));
  command.param[2] = 15.5F;
  command.param[1] = std::nanf("");
  command.param[4] = std::numeric_limits<float>::infinity();
  expect_sent(command, set_text("15", "time_lapse_interval"));
  const TimelapseParameters saved = camera::saved_timelapse_parameters();
  EXPECT_EQ(saved.count, 0);
  EXPECT_TRUE(std::isnan(saved.values[0]));
  EXPECT_TRUE(std::isinf(saved.values[1]));
}

TEST_F(SettingControl, Sub16IsForVideoModeAndIntervals1To15) {
  expect_refused(start_timelapse(), "photo mode");
  confirm(camera::kCameraMode, camera::kModeVideo);
  for (const float interval : {0.0F, 0.9F, 16.0F, -1.0F, 1e30F, std::nanf("")}) {
    CommandLong command = start_timelapse();
    command.param[2] = interval;
    expect_refused(command, "interval");
  }
  confirm(camera::kResolution, 0);
  expect_refused(start_timelapse(), "resolution");
}

TEST_F(SettingControl, Sub16PassesTheGateWhileATimelapseRuns) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  camera::cam_set_op_state(camera::kCamOpTimelapse);
  supervisor::set_sd_query_pending(1);
  CommandLong stop = setting(kTimelapse, 0);
  stop.confirmation = 2;
  expect_sent(stop, R"({"msg_id":514,"token":7})");
  expect_sent(stop, "");
  expect_refused(start_timelapse(), "a time-lapse runs");
  confirm(camera::kCameraMode, camera::kModePhoto);
  expect_refused(stop, "photo mode");
}

TEST_F(SettingControl, OtherTimelapseCommandsDoNothing) {
  confirm(camera::kCameraMode, camera::kModeVideo);
  for (const uint8_t number : {uint8_t{1}, uint8_t{3}, uint8_t{255}}) {
    CommandLong command = start_timelapse();
    command.confirmation = number;
    expect_sent(command, "");
  }
}

}  // namespace
}  // namespace flightlink
