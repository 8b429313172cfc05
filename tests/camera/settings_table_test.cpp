// The tables of the settings, and the readers of the service's texts.
#include "camera/settings_table.h"

#include <array>
#include <future>
#include <optional>

#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/text_codes.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class CamSettings : public CameraTest {};

TEST_F(CamSettings, TheDefaultsAreRequestedAndConfirmed) {
  constexpr std::array<std::pair<Setting, int32_t>, 19> kDefaults = {{{kResolution, 1},
                                                                      {kColorStyle, 0},
                                                                      {kWhiteBalance, 0},
                                                                      {kIso, 0},
                                                                      {kExposure, 0},
                                                                      {kAeMode, 0},
                                                                      {kSaturation, 60},
                                                                      {kContrast, 60},
                                                                      {kSharpness, 3},
                                                                      {kShutter, 6},
                                                                      {kPivFormat, 0},
                                                                      {kLowLight, 0},
                                                                      {kRawMode, 0},
                                                                      {kStampOff, 0},
                                                                      {kMaxAgc, 25},
                                                                      {kTimelapseInterval, 0},
                                                                      {kTimelapseTime, 0},
                                                                      {kStreamRate, 2048},
                                                                      {kCameraMode, 0}}};
  for (int setting = 0; setting < kSettingCount; setting++) {
    settle(static_cast<Setting>(setting), 99);
  }
  for (const Setting setting : kMarkedSettings) base::set_waiting(*mark_of(setting), 2);
  cam_settings_init();
  for (const auto& [setting, value] : kDefaults) {
    EXPECT_EQ(requested(setting), value) << "setting " << setting;
    EXPECT_EQ(confirmed(setting), value) << "setting " << setting;
  }
  for (const Setting setting : kMarkedSettings) EXPECT_EQ(unanswered(setting), 0) << setting;
}

TEST_F(CamSettings, RequestedAndConfirmedAreTwoValues) {
  request(kContrast, 80);
  EXPECT_EQ(confirmed(kContrast), 60);
  confirm(kContrast, 70);
  EXPECT_EQ(requested(kContrast), 80);
  EXPECT_EQ(confirmed(kContrast), 70);
  EXPECT_EQ(confirmed(kSaturation), 60);
}

TEST_F(CamSettings, TheDispatchReadsConfirmedValues) {
  struct Reader {
    int32_t (*get)();
    Setting setting;
    int32_t at_first;
  };
  for (const Reader& reader :
       {Reader{cam_get_stream_bitrate, kStreamRate, 2048},
        Reader{cam_get_piv_format, kPivFormat, 0}, Reader{cam_get_mode, kCameraMode, 0}}) {
    request(reader.setting, 512);
    EXPECT_EQ(reader.get(), reader.at_first) << reader.setting;
    confirm(reader.setting, 1024);
    EXPECT_EQ(reader.get(), 1024) << reader.setting;
  }
}

TEST_F(CamSettings, TheValuesOfTheStatusRecordWaitForTheStateLock) {
  constexpr std::array kGuarded = {kCameraMode, kIso,       kExposure,  kSaturation,
                                   kContrast,   kSharpness, kPivFormat, kLowLight,
                                   kRawMode,    kStampOff,  kMaxAgc};
  std::vector<std::future<void>> writers;
  {
    const std::lock_guard lock(cam_json_context.StateLock);
    for (const Setting setting : kGuarded) {
      writers.push_back(std::async(std::launch::async, [setting] { confirm(setting, 9); }));
      writers.push_back(std::async(std::launch::async, [setting] { (void)confirmed(setting); }));
    }
    (void)writers.front().wait_for(std::chrono::milliseconds(100));
    for (size_t i = 0; i < writers.size(); i++) {
      EXPECT_EQ(writers[i].wait_for(std::chrono::seconds(0)), std::future_status::timeout)
          << "setting " << kGuarded.at(i / 2);
    }
  }
  for (auto& writer : writers) writer.get();
  for (const Setting setting : kGuarded) EXPECT_EQ(confirmed(setting), 9) << "setting " << setting;
}

TEST_F(CamSettings, TheResolutionTextsAreTheServicesOwn) {
  constexpr std::array kTexts = {
      "3840x2160 30P 16:9", "3840x2160 60P 16:9", "2560x1440 30P 16:9",  "2560x1440 60P 16:9",
      "1920x1080 30P 16:9", "1920x1080 60P 16:9", "1280x720 30P 16:9",   "1280x720 60P 16:9",
      "1280x720 120P 16:9", "1280x720 200P 16:9", "1920x1080 120P 16:9",
  };
  for (size_t i = 0; i < kTexts.size(); i++) {
    EXPECT_STREQ(cam_resolution_text(static_cast<int32_t>(i)), kTexts.at(i));
    EXPECT_EQ(cam_parse_resolution(kTexts.at(i)), static_cast<int32_t>(i)) << kTexts.at(i);
  }
  for (const int32_t outside : {-1, 11, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(cam_resolution_text(outside), nullptr);
  }
}

TEST_F(CamSettings, AResolutionIsFoundAnywhereInTheText) {
  EXPECT_EQ(cam_parse_resolution("NTSC 1280x720 200P 4:3"), 9);
  EXPECT_EQ(cam_parse_resolution("1920x1080 120P"), 10);
  EXPECT_EQ(cam_parse_resolution("1920x1080 24P 16:9"), 0);
  EXPECT_EQ(cam_parse_resolution("1920X1080 60p"), 0);
  EXPECT_EQ(cam_parse_resolution(""), 0);
}

TEST_F(CamSettings, TheFirstResolutionOfTheServicesOrderWins) {
  // Each text holds two neighbours of the order, the later one first.
  constexpr std::array<std::pair<const char*, int32_t>, 10> kPairs = {{
      {"3840x2160 30P 3840x2160 60P", 1},
      {"2560x1440 60P 3840x2160 30P", 0},
      {"2560x1440 30P 2560x1440 60P", 3},
      {"1920x1080 120P 2560x1440 30P", 2},
      {"1920x1080 60P 1920x1080 120P", 10},
      {"1920x1080 30P 1920x1080 60P", 5},
      {"1280x720 200P 1920x1080 30P", 4},
      {"1280x720 120P 1280x720 200P", 9},
      {"1280x720 60P 1280x720 120P", 8},
      {"1280x720 30P 1280x720 60P", 7},
  }};
  for (const auto& [text, index] : kPairs) EXPECT_EQ(cam_parse_resolution(text), index) << text;
}

TEST_F(CamSettings, ResolutionsComeInThreeFamilies) {
  for (const int32_t index : {0, 2, 4, 6}) {
    EXPECT_TRUE(is_30p(index) && !is_60p(index) && !is_high_rate(index)) << index;
  }
  for (const int32_t index : {1, 3, 5, 7}) {
    EXPECT_TRUE(!is_30p(index) && is_60p(index) && !is_high_rate(index)) << index;
  }
  for (const int32_t index : {8, 9, 10}) {
    EXPECT_TRUE(!is_30p(index) && !is_60p(index) && is_high_rate(index)) << index;
  }
  for (const int32_t index : {-1, 11}) {
    EXPECT_TRUE(!is_30p(index) && !is_60p(index) && !is_high_rate(index)) << index;
  }
}

TEST_F(CamSettings, TheShutterTimesAreFoundBothWays) {
  constexpr std::array kTexts = {
      "1/8",    "1/10",   "1/12.5", "1/15",   "1/20",   "1/25",   "1/30",   "1/40",
      "1/50",   "1/60",   "1/80",   "1/100",  "1/120",  "1/160",  "1/200",  "1/240",
      "1/320",  "1/400",  "1/500",  "1/640",  "1/800",  "1/1000", "1/1250", "1/1600",
      "1/2000", "1/2500", "1/3200", "1/4000", "1/5000", "1/6400", "1/8000",
  };
  static_assert(kTexts.size() == 31);
  for (size_t i = 0; i < kTexts.size(); i++) {
    EXPECT_STREQ(cam_shutter_text(static_cast<int32_t>(i)), kTexts.at(i));
    EXPECT_EQ(cam_shutter_index(kTexts.at(i)), static_cast<int32_t>(i));
  }
  for (const int32_t outside : {-1, 31, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(cam_shutter_text(outside), nullptr);
  }
}

TEST_F(CamSettings, AShutterTimeIsComparedAsAWhole) {
  for (const char* text : {"", "1/7", "1/", "1/80000", " 1/8", "1/8 ", "1/12", "auto"}) {
    EXPECT_EQ(cam_shutter_index(text), 31) << text;
  }
  EXPECT_EQ(cam_shutter_index(nullptr), 31);
}

TEST_F(CamSettings, TypesHaveCodes) {
  expect_codes(cam_setting_type_code, {{"camera_clock", 1},        {"video_resolution", 2},
                                       {"color_style", 3},         {"video_quality", 4},
                                       {"scene_white_balance", 5}, {"fix_iso_value", 6},
                                       {"set_manual_ae_mode", 7},  {"fix_exposure", 8},
                                       {"default_setting", 9},     {"saturation", 10},
                                       {"contrast", 11},           {"sharpness", 12},
                                       {"piv_format", 13},         {"time_lapse_interval", 14},
                                       {"time_lapse_time", 15},    {"shutter_time", 16},
                                       {"low_light_mode", 17},     {"Max_Agc", 18},
                                       {"raw_mode", 19},           {"sec_stream_stamp", 20}},
               {"", "saturatio", "max_agc", "RAW_MODE"}, 21);
}

TEST_F(CamSettings, TheFirstTypeOfTheOrderWins) {
  constexpr std::array<std::pair<const char*, int32_t>, 19> kOrder = {{{"camera_clock", 1},
                                                                       {"color_style", 3},
                                                                       {"scene_white_balance", 5},
                                                                       {"video_quality", 4},
                                                                       {"video_resolution", 2},
                                                                       {"fix_iso_value", 6},
                                                                       {"fix_exposure", 8},
                                                                       {"set_manual_ae_mode", 7},
                                                                       {"default_setting", 9},
                                                                       {"saturation", 10},
                                                                       {"contrast", 11},
                                                                       {"sharpness", 12},
                                                                       {"piv_format", 13},
                                                                       {"time_lapse_interval", 14},
                                                                       {"time_lapse_time", 15},
                                                                       {"shutter_time", 16},
                                                                       {"low_light_mode", 17},
                                                                       {"raw_mode", 19},
                                                                       {"Max_Agc", 18}}};
  std::string later = "sec_stream_stamp";
  for (size_t i = kOrder.size(); i-- > 0;) {
    const auto& [text, code] = kOrder.at(i);
    EXPECT_EQ(cam_setting_type_code((later + text).c_str()), code) << later << text;
    later = text;
  }
}

TEST_F(CamSettings, OnMeansThatTheTextHoldsOn) {
  for (const char* text : {"ON", "xONx", "OFF ON"}) {
    EXPECT_EQ(cam_param_is_on(text), 1) << text;
    EXPECT_EQ(cam_param_is_not_on(text), 0) << text;
  }
  for (const char* text : {"", "OFF", "on", "O N"}) {
    EXPECT_EQ(cam_param_is_on(text), 0) << text;
    EXPECT_EQ(cam_param_is_not_on(text), 1) << text;
  }
}

TEST_F(CamSettings, NumbersAreReadFromTheStartOfTheText) {
  constexpr std::array<std::pair<const char*, int32_t>, 15> kNumbers = {{
      {"0", 0},
      {"5", 5},
      {"-7", -7},
      {"+8", 8},
      {"  12 EV", 12},
      {"007", 7},
      {"0x10", 0},
      {"3.9", 3},
      {"1e3", 1},
      {"", 0},
      {"Auto", 0},
      {"2147483647", 2147483647},
      {"2147483648", 2147483647},
      {"-2147483649", -2147483647 - 1},
      {"99999999999999999999999999", 2147483647},
  }};
  for (const auto& [text, value] : kNumbers) EXPECT_EQ(cam_param_int(text), value) << text;
}

TEST_F(CamSettings, OffIsTheNumber0) {
  EXPECT_EQ(cam_param_int_or_off("OFF"), 0);
  EXPECT_EQ(cam_param_int_or_off("5"), 5);
  EXPECT_EQ(cam_param_int_or_off("5 OFF"), 0);
  EXPECT_EQ(cam_param_int_or_off("off"), 0);
  EXPECT_EQ(cam_param_int_or_off("-99999999999999999999999999"), -2147483647 - 1);
}

}  // namespace
}  // namespace camera_test
