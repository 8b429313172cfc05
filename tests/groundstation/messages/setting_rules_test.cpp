#include "groundstation/messages/setting_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace groundstation_test {
namespace {

using groundstation::CameraStatus;
using groundstation::find_setting;
using ::testing::HasSubstr;

struct Row {
  const char* name;
  CameraStatus status;
  const char* setting;
  int32_t value;
  const char* why;  // empty: the camera takes it
};

class SettingRules : public ::testing::TestWithParam<Row> {};

TEST_P(SettingRules, SayWhatTheCameraRefuses) {
  const Row& row = GetParam();
  const std::string why = setting_refusal(row.status, false, *find_setting(row.setting), row.value);
  if (std::string(row.why).empty()) {
    EXPECT_EQ(why, "");
  } else {
    EXPECT_THAT(why, HasSubstr(row.why));
  }
}

using S = CameraStatus;
using Changes = std::vector<std::pair<uint32_t S::*, uint32_t>>;

// At 1920x1080 30P.
CameraStatus photo() {
  CameraStatus status{};
  status.resolution = 4;
  return status;
}

CameraStatus video(const Changes& changes = {}) {
  CameraStatus status = photo();
  status.mode = groundstation::kModeVideo;
  for (const auto& [field, value] : changes) status.*field = value;
  return status;
}

INSTANTIATE_TEST_SUITE_P(
    Resolution, SettingRules,
    ::testing::Values(
        Row{"PhotoMode", photo(), "resolution", 6, "in photo mode (first: mode video)"},
        Row{"VideoMode", video(), "resolution", 10, ""},
        Row{"LowLightAt60", video({{&S::low_light, 1}}), "resolution", 5, "low_light is ON"},
        Row{"LowLightAtHighRate", video({{&S::low_light, 1}}), "resolution", 8,
            "set low_light OFF"},
        Row{"LowLightAt30", video({{&S::low_light, 1}}), "resolution", 6, ""},
        Row{"SlowShutterAt60", video({{&S::exposure_mode, 2}, {&S::shutter, 8}}), "resolution", 5,
            "shutter is 1/50 in shutter priority"},
        Row{"ShutterAt60", video({{&S::exposure_mode, 2}, {&S::shutter, 9}}), "resolution", 5, ""},
        Row{"SlowShutterOfNoPriority", video({{&S::exposure_mode, 1}, {&S::shutter, 0}}),
            "resolution", 5, ""},
        Row{"AeAtHighRate", video({{&S::exposure_mode, 1}}), "resolution", 9,
            "exposure_mode is on"},
        Row{"RawAtHighRate", video({{&S::photo_format, 1}}), "resolution", 9,
            "photo_format is RAW"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Others, SettingRules,
    ::testing::Values(
        Row{"ShutterAt30", video(), "shutter", 0, ""},
        Row{"ShutterAt60", video({{&S::resolution, 5}}), "shutter", 9, ""},
        Row{"SlowShutterAt60", video({{&S::resolution, 5}}), "shutter", 8,
            "resolution is 1920x1080-60P, where the shutter is 1/60 or shorter"},
        Row{"ShutterAtHighRate", video({{&S::resolution, 10}}), "shutter", 14, ""},
        Row{"SlowShutterAtHighRate", video({{&S::resolution, 10}}), "shutter", 13,
            "1/200 or shorter"},
        Row{"ExposureAtHighRate", video({{&S::resolution, 8}}), "exposure", 5000, ""},
        Row{"ShortExposureAtHighRate", video({{&S::resolution, 8}}), "exposure", 4999,
            "5000 or more"},
        Row{"Exposure", video(), "exposure", 0, ""},
        Row{"AeAtHighRate", video({{&S::resolution, 8}}), "exposure_mode", 0, "stays as it is"},
        Row{"RawAtHighRate", video({{&S::resolution, 8}}), "photo_format", 1, "photos are JPG"},
        Row{"JpgAtHighRate", video({{&S::resolution, 8}}), "photo_format", 0, ""},
        Row{"LowLight", video(), "low_light", 1, ""},
        Row{"LowLightAt60P", video({{&S::resolution, 7}}), "low_light", 1, "not one at 30P"},
        Row{"LowLightOffAt60P", video({{&S::resolution, 7}}), "low_light", 0, "not one at 30P"},
        Row{"LowLightWithAe", video({{&S::exposure_mode, 2}}), "low_light", 1,
            "exposure_mode is shutter_priority"},
        Row{"GainWithoutLowLight", video(), "Max_Agc", 30, "set low_light ON"},
        Row{"Gain", video({{&S::low_light, 1}}), "Max_Agc", 30, ""},
        Row{"DuringATimelapse", video({{&S::timelapse, 1}}), "contrast", 30, "timelapse stop"},
        Row{"InPhotoMode", photo(), "contrast", 30, ""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SettingRulesOf, ARecordingKeepsItsResolution) {
  EXPECT_THAT(setting_refusal(video(), true, *find_setting("resolution"), 6),
              HasSubstr("record stop"));
  EXPECT_EQ(setting_refusal(video(), true, *find_setting("contrast"), 6), "");
}

TEST(SettingRulesOf, ATimelapseNeedsItsResolutionAndAShutter) {
  EXPECT_EQ(timelapse_refusal(video()), "");
  EXPECT_THAT(timelapse_refusal(video({{&S::resolution, 6}})), HasSubstr("1920x1080-30P only"));
  EXPECT_THAT(timelapse_refusal(video({{&S::timelapse, 1}})), HasSubstr("under way already"));
  EXPECT_THAT(timelapse_refusal(video({{&S::exposure_mode, 2}, {&S::shutter, 5}})),
              HasSubstr("shutter is 1/25"));
  EXPECT_EQ(timelapse_refusal(video({{&S::exposure_mode, 2}, {&S::shutter, 6}})), "");
}

}  // namespace
}  // namespace groundstation_test
