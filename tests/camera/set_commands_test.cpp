// Every setting's command: its text, its operation code and its rules of refusal.
#include "camera/set_commands.h"

#include "camera/camera_rig.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/settings_table.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::Values;

struct SetterRow {
  const char* name;
  int32_t (*set)(int32_t value);
  int32_t value;
  Setting setting;
  const char* param;
  const char* type;
  uint32_t op;  // 0: none
};

class Setter : public CameraTest, public ::testing::WithParamInterface<SetterRow> {
 protected:
  Setter() {
    settle(kLowLight, GetParam().setting == kMaxAgc ? 1 : 0);
    settle(kResolution, 4);
  }
};

TEST_P(Setter, RequestsTheValueSetsTheCodeAndSends) {
  const SetterRow& row = GetParam();
  std::vector<int32_t> requested_first;
  at_sleep([&] { requested_first.push_back(requested(row.setting)); });
  const int32_t before = confirmed(row.setting);
  EXPECT_EQ(row.set(row.value), 0);
  EXPECT_EQ(requested(row.setting), row.value);
  EXPECT_EQ(confirmed(row.setting), before);
  EXPECT_EQ(cam_get_op_state(), row.op);
  const std::string text = set_text(row.param, row.type);
  if (row.op != 0) {
    EXPECT_EQ(timeline(), (Timeline{"sleep 10", text}));
    EXPECT_EQ(requested_first, std::vector<int32_t>{row.value});
  } else {
    EXPECT_EQ(timeline(), Timeline{text});
  }
}

TEST_P(Setter, WithoutAConnectionTheCameraStaysIdle) {
  const SetterRow& row = GetParam();
  disconnect();
  printed_by([&] { EXPECT_EQ(row.set(row.value), -2); });
  EXPECT_EQ(requested(row.setting), row.value);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    All, Setter,
    Values(
        SetterRow{"resolution", cam_set_resolution, 8, kResolution, "1280x720 120P 16:9",
                  "video_resolution", 0},
        SetterRow{"color0", cam_set_color_style, 0, kColorStyle, "Auto", "color_style", 7},
        SetterRow{"color1", cam_set_color_style, 1, kColorStyle, "BlackAndWhite", "color_style", 7},
        SetterRow{"color2", cam_set_color_style, 2, kColorStyle, "VIVID", "color_style", 7},
        SetterRow{"color3", cam_set_color_style, 3, kColorStyle, "70FILM", "color_style", 7},
        SetterRow{"quality0", cam_set_video_quality, 0, kVideoQuality, "sfine", "video_quality", 0},
        SetterRow{"quality1", cam_set_video_quality, 1, kVideoQuality, "fine", "video_quality", 0},
        SetterRow{"quality2", cam_set_video_quality, 2, kVideoQuality, "normal", "video_quality",
                  0},
        SetterRow{"balance0", cam_set_white_balance, 0, kWhiteBalance, "Auto",
                  "scene_white_balance", 5},
        SetterRow{"balance1", cam_set_white_balance, 1, kWhiteBalance, "Day", "scene_white_balance",
                  5},
        SetterRow{"balance2", cam_set_white_balance, 2, kWhiteBalance, "Cloudy",
                  "scene_white_balance", 5},
        SetterRow{"iso0", cam_set_iso, 0, kIso, "Auto", "fix_iso_value", 1},
        SetterRow{"iso1600", cam_set_iso, 1600, kIso, "1600", "fix_iso_value", 1},
        SetterRow{"exposure0", cam_set_exposure, 0, kExposure, "0", "fix_exposure", 3},
        SetterRow{"exposure4999", cam_set_exposure, 4999, kExposure, "4999", "fix_exposure", 3},
        SetterRow{"ae0", cam_set_ae_mode, 0, kAeMode, "off", "set_manual_ae_mode", 0},
        SetterRow{"ae1", cam_set_ae_mode, 1, kAeMode, "on", "set_manual_ae_mode", 0},
        SetterRow{"ae2", cam_set_ae_mode, 2, kAeMode, "shutter_priority", "set_manual_ae_mode", 0},
        SetterRow{"saturation", cam_set_saturation, 64, kSaturation, "64", "saturation", 11},
        SetterRow{"contrast", cam_set_contrast, INT32_MIN, kContrast, "-2147483648", "contrast",
                  12},
        SetterRow{"sharpness", cam_set_sharpness, 6, kSharpness, "6", "sharpness", 13},
        SetterRow{"shutter0", cam_set_shutter, 0, kShutter, "1/8", "shutter_time", 14},
        SetterRow{"shutter30", cam_set_shutter, 30, kShutter, "1/8000", "shutter_time", 14},
        SetterRow{"piv0", cam_set_piv_format, 0, kPivFormat, "JPG", "piv_format", 17},
        SetterRow{"piv1", cam_set_piv_format, 1, kPivFormat, "RAW", "piv_format", 17},
        SetterRow{"piv2", cam_set_piv_format, 2, kPivFormat, "JPG", "piv_format", 17},
        SetterRow{"stamp0", cam_set_stamp, 0, kStampOff, "ON", "sec_stream_stamp", 25},
        SetterRow{"stamp1", cam_set_stamp, 1, kStampOff, "OFF", "sec_stream_stamp", 25},
        SetterRow{"stamp7", cam_set_stamp, 7, kStampOff, "OFF", "sec_stream_stamp", 25},
        SetterRow{"agc", cam_set_max_agc, 36, kMaxAgc, "36", "Max_Agc", 20},
        SetterRow{"raw1", cam_set_raw_mode, 1, kRawMode, "ON", "raw_mode", 23},
        SetterRow{"raw0", cam_set_raw_mode, 0, kRawMode, "OFF", "raw_mode", 23},
        SetterRow{"lowlight1", cam_set_low_light, 1, kLowLight, "ON", "low_light_mode", 18},
        SetterRow{"lowlight0", cam_set_low_light, 0, kLowLight, "OFF", "low_light_mode", 18},
        SetterRow{"interval5", cam_set_timelapse_interval, 5, kTimelapseInterval, "5",
                  "time_lapse_interval", 0},
        SetterRow{"interval0", cam_set_timelapse_interval, 0, kTimelapseInterval, "OFF",
                  "time_lapse_interval", 0}),
    [](const auto& row) { return std::string(row.param.name); });

class Setters : public CameraTest {};

TEST_F(Setters, ATextIsTheServicesOwnByteForByte) {
  cam_json_context.Token.store(7);
  EXPECT_EQ(cam_set_iso(0), 0);
  EXPECT_EQ(cam_set_exposure(0), 0);
  EXPECT_EQ(cam_set_clock("2020-01-01 08:00:00"), 0);
  EXPECT_EQ(
      timeline(),
      (Timeline{"sleep 10", R"({"msg_id":2,"token":7,"param":"Auto","type":"fix_iso_value"})",
                "sleep 10", R"({"msg_id":2,"token":7,"param":"0","type":"fix_exposure"})",
                R"({"msg_id":2,"token":7,"type":"camera_clock","param":"2020-01-01 08:00:00"})"}));
}

TEST_F(Setters, ATimelapseTimeIsOnlySent) {
  EXPECT_EQ(cam_set_timelapse_time(-12), 0);
  EXPECT_EQ(timeline(), Timeline{set_text("-12", "time_lapse_time")});
  EXPECT_EQ(requested(kTimelapseTime), 0);
}

TEST_F(Setters, ValuesOutsideTheTablesSendNothing) {
  for (const auto set : {cam_set_color_style, cam_set_video_quality, cam_set_white_balance,
                         cam_set_ae_mode, cam_set_resolution, cam_set_shutter}) {
    for (const int32_t outside : {-1, 31, INT32_MAX, INT32_MIN}) (void)set(outside);
  }
  (void)cam_set_color_style(4);
  (void)cam_set_video_quality(3);
  (void)cam_set_white_balance(3);
  (void)cam_set_ae_mode(3);
  EXPECT_EQ(timeline(), Timeline{});
  for (const Setting setting : {kColorStyle, kVideoQuality, kWhiteBalance, kAeMode}) {
    EXPECT_EQ(requested(setting), 0) << setting;
  }
  EXPECT_EQ(requested(kResolution), 1);
  EXPECT_EQ(requested(kShutter), 6);
}

TEST_F(Setters, AColourChangeWaitsForTheAnswerToTheOneBefore) {
  EXPECT_EQ(cam_set_color_style(1), 0);
  (void)timeline();
  (void)cam_set_color_style(2);
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(requested(kColorStyle), 1);
  say(R"({"rval":0,"msg_id":2,"type":"color_style"})");
  EXPECT_EQ(confirmed(kColorStyle), 1);
  (void)timeline();
  EXPECT_EQ(cam_set_color_style(2), 0);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("VIVID", "color_style")}));
}

TEST_F(Setters, AtHighRateShortExposuresOnly) {
  for (const int32_t resolution : {8, 9, 10}) {
    settle(kResolution, resolution);
    for (const int32_t value : {4999, 0, -1, INT32_MIN}) {
      EXPECT_EQ(cam_set_exposure(value), 4999);
      EXPECT_EQ(requested(kExposure), 0);
    }
    EXPECT_EQ(timeline(), Timeline{});
    EXPECT_EQ(cam_set_exposure(5000), 0);
    EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("5000", "fix_exposure")}));
    request(kExposure, 0);
  }
}

TEST_F(Setters, TheConfirmedResolutionDecides) {
  confirm(kResolution, 4);
  request(kResolution, 9);
  EXPECT_EQ(cam_set_exposure(4999), 0);
  EXPECT_EQ(cam_set_shutter(0), 0);
  EXPECT_EQ(cam_set_piv_format(1), 0);
  EXPECT_EQ(timeline().size(), 6U);
}

TEST_F(Setters, TheShutterFollowsTheFrameRate) {
  struct Row {
    int32_t resolution;
    int32_t shortest;
  };
  for (const Row row : {Row{0, 0}, Row{2, 0}, Row{4, 0}, Row{6, 0}, Row{1, 9}, Row{3, 9}, Row{5, 9},
                        Row{7, 9}, Row{8, 14}, Row{9, 14}, Row{10, 14}}) {
    settle(kResolution, row.resolution);
    for (int32_t index = 0; index <= 30; index++) {
      request(kShutter, 99);
      (void)cam_set_shutter(index);
      const bool sent = !timeline().empty();
      EXPECT_EQ(sent, index >= row.shortest) << "resolution " << row.resolution << ", " << index;
      EXPECT_EQ(requested(kShutter), sent ? index : 99);
    }
  }
}

TEST_F(Setters, RawPhotosAreRefusedAtHighRate) {
  for (const int32_t resolution : {8, 9, 10}) {
    settle(kResolution, resolution);
    (void)cam_set_piv_format(1);
    EXPECT_EQ(timeline(), Timeline{});
    EXPECT_EQ(requested(kPivFormat), 0);
  }
  EXPECT_EQ(cam_set_piv_format(0), 0);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("JPG", "piv_format")}));
}

TEST_F(Setters, TheGainIsSetInLowLightOnly) {
  request(kLowLight, 1);
  EXPECT_EQ(cam_set_max_agc(30), 0) << "returns the confirmed low light";
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(requested(kMaxAgc), 25);
}

struct QueryRow {
  const char* type;
  int32_t (*query)();
  uint32_t op;
  int32_t unconnected;
};

class Query : public CameraTest, public ::testing::WithParamInterface<QueryRow> {};

TEST_P(Query, SetsItsCodeAndAsks) {
  const QueryRow& row = GetParam();
  EXPECT_EQ(row.query(), 0);
  EXPECT_EQ(cam_get_op_state(), row.op);
  Timeline expected{R"({"msg_id":1,"token":77,"type":")" + std::string(row.type) + "\"}"};
  if (row.op != 0) expected.insert(expected.begin(), "sleep 10");
  EXPECT_EQ(timeline(), expected);
}

TEST_P(Query, WithoutAConnectionTheCameraStaysIdle) {
  const QueryRow& row = GetParam();
  disconnect();
  printed_by([&] { EXPECT_EQ(row.query(), row.unconnected); });
  EXPECT_EQ(cam_get_op_state(), 0U);
}

INSTANTIATE_TEST_SUITE_P(All, Query,
                         Values(QueryRow{"shutter_time", cam_query_shutter, 15, 0},
                                QueryRow{"fix_iso_value", cam_query_iso, 2, 0},
                                QueryRow{"fix_exposure", cam_query_exposure, 4, 0},
                                QueryRow{"Max_Agc", cam_query_max_agc, 21, -2},
                                QueryRow{"low_light_mode", cam_query_low_light, 19, -2},
                                QueryRow{"raw_mode", cam_query_raw_mode, 24, -2},
                                QueryRow{"sec_stream_stamp", cam_query_stamp, 26, -2},
                                QueryRow{"video_resolution", cam_query_resolution, 0, -2}),
                         [](const auto& row) { return std::string(row.param.type); });

}  // namespace
}  // namespace camera_test
