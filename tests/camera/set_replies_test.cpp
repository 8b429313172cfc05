// Answers to "set" (message 2).
#include <algorithm>

#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::Values;

constexpr uint32_t kAwaited = 25;  // some setting's answer is awaited

class SetReply : public CameraTest {
 protected:
  SetReply() { await(); }
  void await() {
    cam_set_op_state(kAwaited);
    (void)timeline();
  }
  static void confirm_type(const std::string& type) {
    say(R"({"rval":0,"msg_id":2,"type":")" + type + "\"}");
  }
  // The answer confirms what was requested; `said` follows, and the operation code is `op` then.
  void expect_confirmed(Setting setting, int32_t value, const std::string& type,
                        const Timeline& said, uint32_t op) {
    request(setting, value);
    confirm_type(type);
    EXPECT_EQ(timeline(), said);
    EXPECT_EQ(confirmed(setting), value);
    EXPECT_EQ(cam_get_op_state(), op);
  }
};

struct PlainRow {
  const char* type;
  Setting setting;
  const char* subject;
  int32_t value;
  const char* low_byte;
};

class PlainSetReply : public SetReply, public ::testing::WithParamInterface<PlainRow> {};

TEST_P(PlainSetReply, ConfirmsAcknowledgesAndIsIdle) {
  const PlainRow& row = GetParam();
  request(row.setting, row.value);
  bool confirmed_first = false;
  at_sleep([&] { confirmed_first = confirmed(row.setting) == row.value; });
  confirm_type(row.type);
  EXPECT_EQ(timeline(), (Timeline{camera_ack(row.subject, "00", row.low_byte), "sleep 10"}));
  EXPECT_TRUE(confirmed_first);
  EXPECT_EQ(requested(row.setting), row.value);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_P(PlainSetReply, AFailureIsOnlyIdle) {
  const PlainRow& row = GetParam();
  const int32_t before = confirmed(row.setting);
  request(row.setting, before + 1);
  for (const char* rval :
       {R"("rval":-1,)", R"("rval":1,)", "", R"("rval":"0",)", R"("rval":[],)"}) {
    await();
    say(std::string("{").append(rval) + R"("msg_id":2,"type":")" + row.type + "\"}");
    EXPECT_EQ(timeline(), Timeline{"sleep 10"}) << rval;
    EXPECT_EQ(cam_get_op_state(), 0U);
    EXPECT_EQ(confirmed(row.setting), before);
  }
}

INSTANTIATE_TEST_SUITE_P(All, PlainSetReply,
                         Values(PlainRow{"fix_iso_value", kIso, "06", 1600, "40"},
                                PlainRow{"fix_exposure", kExposure, "07", 8000, "40"},
                                PlainRow{"saturation", kSaturation, "0b", 64, "40"},
                                PlainRow{"contrast", kContrast, "0c", 128, "80"},
                                PlainRow{"sharpness", kSharpness, "0d", 6, "06"},
                                PlainRow{"piv_format", kPivFormat, "0f", 1, "01"},
                                PlainRow{"shutter_time", kShutter, "11", 30, "1e"},
                                PlainRow{"Max_Agc", kMaxAgc, "13", 33, "21"},
                                PlainRow{"raw_mode", kRawMode, "14", 1, "01"},
                                PlainRow{"sec_stream_stamp", kStampOff, "15", 1, "01"},
                                PlainRow{"saturation", kSaturation, "0b", -1, "ff"}),
                         [](const auto& row) {
                           return std::string(row.param.type) + std::to_string(row.index);
                         });

// The camera service forgets these two, so the settings file keeps them.
TEST_F(SetReply, AColourStyleIsSavedToo) {
  request(kColorStyle, 2);
  confirm_type("color_style");
  EXPECT_EQ(timeline(), (Timeline{camera_ack("03", "00", "02"), "sleep 10", "run rm /pref/cam.conf",
                                  "run echo colstyle=2 >> /pref/cam.conf"}));
  EXPECT_EQ(confirmed(kColorStyle), 2);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_F(SetReply, AWhiteBalanceIsSavedToo) {
  settle(kColorStyle, 3);
  request(kWhiteBalance, 1);
  confirm_type("scene_white_balance");
  EXPECT_EQ(timeline(), (Timeline{camera_ack("05", "00", "01"), "sleep 10", "run rm /pref/cam.conf",
                                  "run echo colstyle=3 >> /pref/cam.conf",
                                  "run echo wblance=1 >> /pref/cam.conf"}));
  EXPECT_EQ(confirmed(kWhiteBalance), 1);
}

TEST_F(SetReply, AColourStyleOrWhiteBalanceThatFailsIsOnlyIdle) {
  request(kColorStyle, 2);
  request(kWhiteBalance, 1);
  for (const char* type : {"color_style", "scene_white_balance"}) {
    await();
    say(R"({"rval":-1,"msg_id":2,"type":")" + std::string(type) + "\"}");
    EXPECT_EQ(timeline(), Timeline{"sleep 10"});
    EXPECT_EQ(cam_get_op_state(), 0U);
  }
  EXPECT_EQ(confirmed(kColorStyle), 0);
  EXPECT_EQ(confirmed(kWhiteBalance), 0);
}

TEST_F(SetReply, AReplyWithoutAKnownTypeIsOnlyIdle) {
  for (const char* reply :
       {R"({"rval":0,"msg_id":2})", R"({"rval":0,"msg_id":2,"type":"weather"})",
        R"({"rval":0,"msg_id":2,"type":""})", R"({"rval":0,"msg_id":2,"type":6})",
        R"({"rval":0,"msg_id":2,"type":null})", R"({"rval":-1,"msg_id":2})", R"({"msg_id":2})"}) {
    await();
    say(reply);
    EXPECT_EQ(timeline(), Timeline{"sleep 10"}) << reply;
    EXPECT_EQ(cam_get_op_state(), 0U);
  }
}

TEST_F(SetReply, AClockIsAcknowledgedInTheShortForm) {
  confirm_type("camera_clock");
  EXPECT_EQ(timeline(), (Timeline{"app 52: 00 00 6f 00 00 00 00", "sleep 10"}));
  EXPECT_EQ(supervisor::get_clock_set_ok(), 1);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_F(SetReply, AClockThatIsRefusedIsNotSet) {
  say(R"({"rval":-1,"msg_id":2,"type":"camera_clock"})");
  EXPECT_EQ(timeline(), Timeline{"sleep 10"});
  EXPECT_EQ(supervisor::get_clock_set_ok(), 0);
}

TEST_F(SetReply, AResolutionIsConfirmedByThePreviewResetOnly) {
  request(kResolution, 4);
  confirm_type("video_resolution");
  EXPECT_EQ(timeline(),
            (Timeline{R"({"msg_id":259,"param":"none_force","token":77})", "sleep 10"}));
  EXPECT_EQ(confirmed(kResolution), 1);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_F(SetReply, AVideoQualityIsAcknowledgedEmpty) {
  request(kVideoQuality, 2);
  confirm_type("video_quality");
  EXPECT_EQ(timeline(), Timeline{camera_ack("00", "00", "00")});
  EXPECT_EQ(cam_get_op_state(), kAwaited);
}

TEST_F(SetReply, AnAutomaticExposureAsksForNothing) {
  confirm(kAeMode, 1);
  expect_confirmed(kAeMode, 0, "set_manual_ae_mode", {camera_ack("08", "00", "00")}, kAwaited);
}

TEST_F(SetReply, AManualExposureAsksForIsoAndExposure) {
  request(kAeMode, 1);
  confirm_type("set_manual_ae_mode");
  Timeline all = timeline();
  std::erase(all, camera_ack("08", "00", "01"));
  EXPECT_EQ(all, (Timeline{"sleep 10", R"({"msg_id":1,"token":77,"type":"fix_iso_value"})",
                           "sleep 10", R"({"msg_id":1,"token":77,"type":"fix_exposure"})"}));
  EXPECT_EQ(confirmed(kAeMode), 1);
  EXPECT_EQ(cam_get_op_state(), 4U);
}

TEST_F(SetReply, AManualExposureIsAcknowledgedOnce) {
  request(kAeMode, 1);
  confirm_type("set_manual_ae_mode");
  EXPECT_EQ(std::ranges::count(timeline(), camera_ack("08", "00", "01")), 1);
}

TEST_F(SetReply, AShutterPriorityAsksForTheShutter) {
  request(kAeMode, 2);
  confirm_type("set_manual_ae_mode");
  const Timeline all = timeline();
  EXPECT_THAT(all, ::testing::UnorderedElementsAre(
                       "sleep 10", R"({"msg_id":1,"token":77,"type":"shutter_time"})",
                       camera_ack("08", "00", "02")));
  EXPECT_EQ(confirmed(kAeMode), 2);
  EXPECT_EQ(cam_get_op_state(), 15U);
}

TEST_F(SetReply, ADefaultResetRemovesTheSettingsFile) {
  base::set_waiting(*mark_of(kDefaultSetting), 2);
  confirm_type("default_setting");
  EXPECT_EQ(timeline(), (Timeline{"run rm /pref/cam.conf", camera_ack("09", "00", "00")}));
  EXPECT_EQ(unanswered(kDefaultSetting), 0);
  EXPECT_EQ(cam_get_op_state(), kAwaited);
}

void store_timelapse(int32_t stop_sent, int32_t state) {
  camera_state.TimelapseStopSent.store(stop_sent);
  camera_state.TimelapseState.store(state);
}
void expect_timelapse(int32_t stop_sent, int32_t state) {
  EXPECT_EQ(camera_state.TimelapseStopSent.load(), stop_sent);
  EXPECT_EQ(camera_state.TimelapseState.load(), state);
}

TEST_F(SetReply, AnIntervalStartsTheTimelapse) {
  store_timelapse(1, 2);
  expect_confirmed(kTimelapseInterval, 5, "time_lapse_interval",
                   {"sleep 10", camera_ack("00", "00", "00")}, 16);
  expect_timelapse(1, 2);
}

TEST_F(SetReply, AnIntervalOf0EndsTheTimelapse) {
  confirm(kTimelapseInterval, 5);
  store_timelapse(1, 2);
  cam_set_op_state(16);
  (void)timeline();
  expect_confirmed(kTimelapseInterval, 0, "time_lapse_interval",
                   {"sleep 10", camera_ack("00", "00", "00")}, 0);
  expect_timelapse(0, 0);
}

TEST_F(SetReply, ATimelapseTimeIsConfirmed) {
  expect_confirmed(kTimelapseTime, 9, "time_lapse_time", {camera_ack("00", "00", "00")}, kAwaited);
}

TEST_F(SetReply, LowLightAsksForTheGainBeforeItsAcknowledgement) {
  request(kLowLight, 1);
  std::vector<uint32_t> codes;
  at_sleep([&] { codes.push_back(cam_get_op_state()); });
  confirm_type("low_light_mode");
  EXPECT_EQ(timeline(),
            (Timeline{"sleep 10", "sleep 10", R"({"msg_id":1,"token":77,"type":"Max_Agc"})",
                      camera_ack("12", "00", "01")}));
  EXPECT_EQ(codes, (std::vector<uint32_t>{0, 21}));
  EXPECT_EQ(confirmed(kLowLight), 1);
  EXPECT_EQ(cam_get_op_state(), 21U);
}

TEST_F(SetReply, SpecialTypesThatFailAreOnlyIdle) {
  request(kLowLight, 1);
  request(kAeMode, 1);
  request(kTimelapseInterval, 5);
  request(kTimelapseTime, 5);
  for (const char* type :
       {"video_resolution", "video_quality", "set_manual_ae_mode", "default_setting",
        "time_lapse_interval", "time_lapse_time", "low_light_mode"}) {
    await();
    say(R"({"rval":-9,"msg_id":2,"type":")" + std::string(type) + "\"}");
    EXPECT_EQ(timeline(), Timeline{"sleep 10"}) << type;
    EXPECT_EQ(cam_get_op_state(), 0U);
  }
  EXPECT_EQ(confirmed(kLowLight), 0);
  EXPECT_EQ(confirmed(kAeMode), 0);
  EXPECT_EQ(confirmed(kTimelapseInterval), 0);
  EXPECT_EQ(confirmed(kTimelapseTime), 0);
}

TEST_F(SetReply, WithoutAConnectionTheFollowUpQueryLeavesTheCameraIdle) {
  disconnect();
  request(kLowLight, 1);
  printed_by([] { confirm_type("low_light_mode"); });
  EXPECT_EQ(cam_get_op_state(), 0U);
}

}  // namespace
}  // namespace camera_test
