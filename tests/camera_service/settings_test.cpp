#include "camera_service/settings.h"

#include <gtest/gtest.h>

namespace camera_service {
namespace {

TEST(Settings, BeginWithTheDefaultsOfTheCamera) {
  const Settings settings;
  EXPECT_EQ(settings.get("video_resolution"), "3840x2160 60P 16:9");
  EXPECT_EQ(settings.get("shutter_time"), "1/30");
  EXPECT_EQ(settings.get("saturation"), "60");
  EXPECT_EQ(settings.get("Max_Agc"), "25");
  EXPECT_EQ(settings.get("time_lapse_interval"), "OFF");
}

TEST(Settings, WordOutsideTheTableIsRefusedAndChangesNothing) {
  Settings settings;
  EXPECT_FALSE(settings.set("shutter_time", "1/7"));
  EXPECT_EQ(settings.get("shutter_time"), "1/30");
}

TEST(Settings, NumberHasToBeWholeAndInRange) {
  Settings settings;
  EXPECT_TRUE(settings.set("contrast", "255"));
  EXPECT_FALSE(settings.set("contrast", "256"));
  EXPECT_FALSE(settings.set("contrast", "-1"));
  EXPECT_FALSE(settings.set("contrast", "12x"));
  EXPECT_FALSE(settings.set("contrast", ""));
  EXPECT_EQ(settings.get("contrast"), "255");
}

TEST(Settings, WordsAndNumbersMeetInOneSetting) {
  Settings settings;
  EXPECT_TRUE(settings.set("fix_iso_value", "800"));
  EXPECT_EQ(settings.get("fix_iso_value"), "800");
  EXPECT_TRUE(settings.set("fix_iso_value", "Auto"));
  EXPECT_EQ(settings.get("fix_iso_value"), "Auto");
}

TEST(Settings, UnknownTypeIsRefused) {
  Settings settings;
  EXPECT_FALSE(Settings::known("shutter"));
  EXPECT_FALSE(settings.set("shutter", "1/30"));
}

TEST(Settings, DefaultSettingOnResetsEverything) {
  Settings settings;
  ASSERT_TRUE(settings.set("color_style", "VIVID"));
  ASSERT_TRUE(settings.set("sharpness", "9"));
  EXPECT_TRUE(settings.set("default_setting", "on"));
  EXPECT_EQ(settings.get("color_style"), "Auto");
  EXPECT_EQ(settings.get("sharpness"), "3");
}

TEST(Settings, DefaultsLeaveTheClockAlone) {
  Settings settings;
  ASSERT_TRUE(settings.set("camera_clock", "2020-01-01 12:00:00"));
  ASSERT_TRUE(settings.set("contrast", "7"));
  ASSERT_TRUE(settings.set("default_setting", "on"));
  EXPECT_EQ(settings.get("camera_clock"), "2020-01-01 12:00:00");
  EXPECT_EQ(settings.get("contrast"), "60");
}

}  // namespace
}  // namespace camera_service
