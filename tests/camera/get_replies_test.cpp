// Answers to "get" (message 1).
#include <optional>

#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/settings_table.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::Values;

constexpr uint32_t kOp = 25;
constexpr int32_t kBefore = 77;

class GetReply : public CameraTest {
 protected:
  GetReply() { await(); }
  void await() {
    cam_set_op_state(kOp);
    (void)timeline();
  }
  static void answer(const std::string& type, const std::string& param) {
    say(R"({"rval":0,"msg_id":1,"type":")" + type + R"(","param":")" + param + "\"}");
  }
};

struct Reply {
  const char* type;
  const char* param;
  Setting setting;
  int32_t value;
  bool confirmed_only = false;
};

class GetReplyOf : public GetReply, public ::testing::WithParamInterface<Reply> {};

TEST_P(GetReplyOf, IsTakenOver) {
  const Reply& row = GetParam();
  settle(row.setting, kBefore);
  answer(row.type, row.param);
  EXPECT_EQ(confirmed(row.setting), row.value);
  EXPECT_EQ(requested(row.setting), row.confirmed_only ? kBefore : row.value);
  EXPECT_EQ(timeline(), Timeline{"sleep 10"});
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_P(GetReplyOf, IsNotTakenOverWithoutSuccessAndText) {
  const Reply& row = GetParam();
  settle(row.setting, kBefore);
  const std::string type = R"(,"type":")" + std::string(row.type) + "\"";
  const std::string param = R"(,"param":")" + std::string(row.param) + "\"";
  for (const std::string& rest :
       {R"("rval":-1)" + type + param, R"("rval":1)" + type + param, R"("x":1)" + type + param,
        R"("rval":"0")" + type + param, R"("rval":0)" + type, R"("rval":0,"param":5)" + type,
        R"("rval":0,"param":null)" + type, R"("rval":0,"param":["5"])" + type}) {
    await();
    say(R"({"msg_id":1,)" + rest + "}");
    EXPECT_EQ(confirmed(row.setting), kBefore) << rest;
    EXPECT_EQ(requested(row.setting), kBefore) << rest;
    EXPECT_EQ(timeline(), Timeline{"sleep 10"}) << rest;
    EXPECT_EQ(cam_get_op_state(), 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, GetReplyOf,
    Values(Reply{"video_resolution", "1280x720 200P 16:9", kResolution, 9},
           Reply{"video_resolution", "640x480 30P 4:3", kResolution, 0},
           Reply{"fix_iso_value", "800", kIso, 800, true},
           Reply{"fix_iso_value", "Auto", kIso, 0, true},
           Reply{"fix_exposure", "4999", kExposure, 4999, true},
           Reply{"fix_exposure", "0", kExposure, 0, true},
           Reply{"time_lapse_interval", "OFF", kTimelapseTime, 0},
           Reply{"time_lapse_interval", "5", kTimelapseTime, 5},
           Reply{"shutter_time", "1/12.5", kShutter, 2}, Reply{"shutter_time", "1/7", kShutter, 31},
           Reply{"shutter_time", "1/8000", kShutter, 30},
           Reply{"low_light_mode", "ON", kLowLight, 1},
           Reply{"low_light_mode", "OFF", kLowLight, 0}, Reply{"Max_Agc", "36", kMaxAgc, 36},
           Reply{"Max_Agc", "99999999999999999999", kMaxAgc, 2147483647},
           Reply{"raw_mode", "ON", kRawMode, 1}, Reply{"raw_mode", "OFF", kRawMode, 0},
           Reply{"sec_stream_stamp", "ON", kStampOff, 0},
           Reply{"sec_stream_stamp", "OFF", kStampOff, 1}),
    [](const auto& row) { return std::string(row.param.type) + std::to_string(row.index); });

TEST_F(GetReply, WhileTheExposureIsManualAutoIsTheLowestValue) {
  for (const int32_t mode : {1, 2}) {
    confirm(kAeMode, mode);
    answer("fix_iso_value", "0");
    answer("fix_exposure", "Auto");
    EXPECT_EQ(confirmed(kIso), 100);
    EXPECT_EQ(confirmed(kExposure), 1);
    answer("fix_iso_value", "200");
    answer("fix_exposure", "30");
    EXPECT_EQ(confirmed(kIso), 200);
    EXPECT_EQ(confirmed(kExposure), 30);
  }
}

TEST_F(GetReply, TheIntervalItselfIsNotTouched) {
  settle(kTimelapseInterval, 3);
  answer("time_lapse_interval", "5");
  EXPECT_EQ(requested(kTimelapseInterval), 3);
  EXPECT_EQ(confirmed(kTimelapseInterval), 3);
}

class OtherGetReply : public GetReply, public ::testing::WithParamInterface<const char*> {};

TEST_P(OtherGetReply, LeavesEverythingAlone) {
  for (int setting = 0; setting < kSettingCount; setting++) {
    settle(static_cast<Setting>(setting), kBefore);
  }
  answer(GetParam(), "5");
  say(R"({"rval":-1,"msg_id":1,"type":")" + std::string(GetParam()) + "\"}");
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(cam_get_op_state(), kOp);
  for (int setting = 0; setting < kSettingCount; setting++) {
    EXPECT_EQ(confirmed(static_cast<Setting>(setting)), kBefore) << setting;
    EXPECT_EQ(requested(static_cast<Setting>(setting)), kBefore) << setting;
  }
}

INSTANTIATE_TEST_SUITE_P(All, OtherGetReply,
                         Values("camera_clock", "color_style", "video_quality",
                                "scene_white_balance", "set_manual_ae_mode", "default_setting",
                                "saturation", "contrast", "sharpness", "piv_format",
                                "time_lapse_time", "weather", ""));

TEST_F(GetReply, WithoutATypeNothingHappens) {
  say(R"({"rval":0,"msg_id":1,"param":"5"})");
  say(R"({"rval":0,"msg_id":1,"type":6,"param":"5"})");
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(cam_get_op_state(), kOp);
}

}  // namespace
}  // namespace camera_test
