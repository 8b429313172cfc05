#include "camera_service/interplay.h"

#include <gtest/gtest.h>

namespace camera_service {
namespace {

constexpr const char* k30 = "1920x1080 30P 16:9";
constexpr const char* k60 = "1920x1080 60P 16:9";
constexpr const char* k120 = "1920x1080 120P 16:9";
constexpr const char* k200 = "1280x720 200P 16:9";

// The camera at a resolution with one more setting.
Settings at(const char* resolution, const char* type = nullptr, const char* value = nullptr) {
  Settings settings;
  EXPECT_TRUE(settings.set("video_resolution", resolution));
  if (type != nullptr) {
    EXPECT_TRUE(settings.set(type, value));
  }
  return settings;
}

TEST(Interplay, MostSettingsGoWithAll) {
  for (const char* resolution : {k30, k60, k120, k200}) {
    const Settings settings = at(resolution);
    EXPECT_TRUE(allowed_together(settings, "color_style", "VIVID"));
    EXPECT_TRUE(allowed_together(settings, "fix_iso_value", "100"));
    EXPECT_TRUE(allowed_together(settings, "time_lapse_time", "7"));
    EXPECT_TRUE(allowed_together(settings, "default_setting", "on"));
  }
}

TEST(Interplay, AResolutionHasToFitWhatIsSet) {
  struct Row {
    const char* type;
    const char* value;
    bool at_60;
    bool at_high;
  };
  for (const Row& row :
       {Row{"contrast", "7", true, true}, Row{"low_light_mode", "ON", false, false},
        Row{"piv_format", "RAW", true, false}, Row{"set_manual_ae_mode", "on", true, false},
        Row{"set_manual_ae_mode", "shutter_priority", false, false},
        Row{"shutter_time", "1/8", true, true}, Row{"raw_mode", "ON", true, true}}) {
    const Settings settings = at(k30, row.type, row.value);
    EXPECT_TRUE(allowed_together(settings, "video_resolution", "3840x2160 30P 16:9")) << row.value;
    EXPECT_EQ(allowed_together(settings, "video_resolution", k60), row.at_60) << row.value;
    EXPECT_EQ(allowed_together(settings, "video_resolution", k120), row.at_high) << row.value;
    EXPECT_EQ(allowed_together(settings, "video_resolution", k200), row.at_high) << row.value;
  }
}

TEST(Interplay, ShutterPriorityAt60pNeedsAShortShutter) {
  Settings settings = at(k30, "set_manual_ae_mode", "shutter_priority");
  ASSERT_TRUE(settings.set("shutter_time", "1/50"));
  EXPECT_FALSE(allowed_together(settings, "video_resolution", k60));
  ASSERT_TRUE(settings.set("shutter_time", "1/60"));
  EXPECT_TRUE(allowed_together(settings, "video_resolution", k60));
}

TEST(Interplay, TheShutterIsNoLongerThanAPicture) {
  EXPECT_TRUE(allowed_together(at(k30), "shutter_time", "1/8"));
  EXPECT_FALSE(allowed_together(at(k60), "shutter_time", "1/12.5"));
  EXPECT_FALSE(allowed_together(at(k60), "shutter_time", "1/50"));
  EXPECT_TRUE(allowed_together(at(k60), "shutter_time", "1/60"));
  for (const char* high : {k120, k200}) {
    EXPECT_FALSE(allowed_together(at(high), "shutter_time", "1/160"));
    EXPECT_TRUE(allowed_together(at(high), "shutter_time", "1/200"));
  }
}

TEST(Interplay, AHighRateKeepsExposureAeModeAndRawAway) {
  const Settings settings = at(k200);
  EXPECT_FALSE(allowed_together(settings, "fix_exposure", "4999"));
  EXPECT_FALSE(allowed_together(settings, "fix_exposure", "0"));
  EXPECT_FALSE(allowed_together(settings, "fix_exposure", "Auto"));
  EXPECT_TRUE(allowed_together(settings, "fix_exposure", "5000"));
  EXPECT_TRUE(allowed_together(at(k60), "fix_exposure", "4999"));
  EXPECT_FALSE(allowed_together(settings, "set_manual_ae_mode", "on"));
  EXPECT_TRUE(allowed_together(settings, "set_manual_ae_mode", "off"));
  EXPECT_TRUE(allowed_together(at(k60), "set_manual_ae_mode", "on"));
  EXPECT_FALSE(allowed_together(settings, "piv_format", "RAW"));
  EXPECT_TRUE(allowed_together(settings, "piv_format", "JPG"));
  EXPECT_TRUE(allowed_together(at(k60), "piv_format", "RAW"));
}

TEST(Interplay, LowLightNeeds30pAndPlainPictures) {
  EXPECT_TRUE(allowed_together(at(k30), "low_light_mode", "ON"));
  for (const char* other : {k60, k120, k200}) {
    EXPECT_FALSE(allowed_together(at(other), "low_light_mode", "ON")) << other;
    EXPECT_TRUE(allowed_together(at(other), "low_light_mode", "OFF")) << other;
  }
  EXPECT_FALSE(allowed_together(at(k30, "set_manual_ae_mode", "on"), "low_light_mode", "ON"));
  EXPECT_FALSE(allowed_together(at(k30, "piv_format", "RAW"), "low_light_mode", "ON"));
  EXPECT_FALSE(allowed_together(at(k30, "raw_mode", "ON"), "low_light_mode", "ON"));
  EXPECT_TRUE(allowed_together(at(k30, "raw_mode", "ON"), "low_light_mode", "OFF"));
}

TEST(Interplay, RawModeAndTheGainFollowLowLight) {
  const Settings dark = at(k30, "low_light_mode", "ON");
  EXPECT_FALSE(allowed_together(dark, "raw_mode", "ON"));
  EXPECT_TRUE(allowed_together(dark, "raw_mode", "OFF"));
  EXPECT_TRUE(allowed_together(dark, "Max_Agc", "30"));
  EXPECT_TRUE(allowed_together(at(k30), "raw_mode", "ON"));
  EXPECT_FALSE(allowed_together(at(k30), "Max_Agc", "30"));
}

TEST(Interplay, ATimelapseNeeds1920x1080At30p) {
  EXPECT_TRUE(allowed_together(at(k30), "time_lapse_interval", "5"));
  EXPECT_FALSE(allowed_together(at(k60), "time_lapse_interval", "5"));
  EXPECT_FALSE(allowed_together(at("2560x1440 30P 16:9"), "time_lapse_interval", "5"));
  EXPECT_TRUE(allowed_together(at(k60), "time_lapse_interval", "OFF"));
  Settings settings = at(k30, "set_manual_ae_mode", "shutter_priority");
  ASSERT_TRUE(settings.set("shutter_time", "1/25"));
  EXPECT_FALSE(allowed_together(settings, "time_lapse_interval", "5"));
  ASSERT_TRUE(settings.set("shutter_time", "1/30"));
  EXPECT_TRUE(allowed_together(settings, "time_lapse_interval", "5"));
}

}  // namespace
}  // namespace camera_service
