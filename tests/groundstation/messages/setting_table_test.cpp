#include "groundstation/messages/setting_table.h"

#include <gtest/gtest.h>

#include <set>

namespace groundstation_test {
namespace {

using groundstation::find_setting;
using groundstation::parse_setting;
using groundstation::Setting;
using groundstation::setting_text;

std::optional<int32_t> parse(const char* name, const char* text, bool any = false) {
  return parse_setting(*find_setting(name), text, any);
}

TEST(SettingTable, HasEverySettingThatTheCameraTakesAValueFor) {
  std::set<int> subs;
  for (const Setting& setting : groundstation::settings()) subs.insert(setting.sub);
  EXPECT_EQ(subs, (std::set<int>{2, 3, 4, 5, 6, 7, 8, 11, 12, 13, 15, 17, 18, 19, 20, 21}));
}

TEST(SettingTable, FindsEitherNameInAnyCase) {
  EXPECT_EQ(find_setting("scene_white_balance")->sub, 5);
  EXPECT_EQ(find_setting("White_Balance")->sub, 5);
  EXPECT_EQ(find_setting("max_agc")->sub, 19);
  EXPECT_EQ(find_setting("white balance")->sub, 5);
  EXPECT_EQ(find_setting("balance"), nullptr);
  EXPECT_EQ(find_setting(""), nullptr);
}

TEST(SettingTable, TakesWordsAndNumbers) {
  EXPECT_EQ(parse("color_style", "blackandwhite"), 1);
  EXPECT_EQ(parse("color_style", "3"), 3);
  EXPECT_EQ(parse("fix_iso_value", "auto"), 0);
  EXPECT_EQ(parse("fix_iso_value", "400"), 400);
  EXPECT_EQ(parse("shutter_time", "1/12.5"), 2);
  EXPECT_EQ(parse("set_manual_ae_mode", "Shutter_Priority"), 2);
  EXPECT_EQ(parse("sec_stream_stamp", "on"), 0);
  EXPECT_EQ(parse("sec_stream_stamp", "off"), 1);
  EXPECT_EQ(parse("raw_mode", "on"), 1);
  EXPECT_EQ(parse("saturation", "255"), 255);
}

TEST(SettingTable, TakesAResolutionInEveryNotation) {
  EXPECT_EQ(parse("video_resolution", "1920x1080 30P 16:9"), 4);
  EXPECT_EQ(parse("video_resolution", "1920x1080-30p"), 4);
  EXPECT_EQ(parse("video_resolution", "1920X1080 120P"), 10);
  EXPECT_FALSE(parse("video_resolution", "1920x1080").has_value());
}

TEST(SettingTable, RefusesOtherTexts) {
  for (const char* text : {"", "-", "-1", "3 ", " 1", "1x", "99999999999", "Sunny", "3"}) {
    EXPECT_FALSE(parse("scene_white_balance", text).has_value()) << text;
  }
  EXPECT_FALSE(parse("saturation", "256").has_value());
  EXPECT_FALSE(parse("Max_Agc", "64").has_value());
}

TEST(SettingTable, AnyNumberIsOneThatAFloatCarries) {
  EXPECT_EQ(parse("scene_white_balance", "-7", true), -7);
  EXPECT_EQ(parse("scene_white_balance", "16777216", true), 16777216);
  EXPECT_FALSE(parse("scene_white_balance", "16777217", true).has_value());
  EXPECT_FALSE(parse("scene_white_balance", "Sunny", true).has_value());
}

TEST(SettingTable, WhatIsShownCanBeSet) {
  EXPECT_EQ(setting_text(*find_setting("resolution"), 10), "1920x1080-120P");
  EXPECT_EQ(setting_text(*find_setting("resolution"), 11), "11");
  EXPECT_EQ(setting_text(*find_setting("iso"), 400), "400");
  for (const Setting& setting : groundstation::settings()) {
    for (int32_t value = 0; value <= setting.high; value++) {
      ASSERT_EQ(parse_setting(setting, setting_text(setting, static_cast<uint32_t>(value)), false),
                value)
          << setting.name;
    }
  }
}

TEST(SettingTable, HelpNamesEveryValueInShortLines) {
  const std::string help = groundstation::settings_help();
  for (const char* text :
       {"video_quality", "sfine, fine, normal (0 to 2)", "photo_format", "1280x720-200P", "1/12.5",
        "Auto (0) or a number to 65535", "\n  sharpness"}) {
    EXPECT_NE(help.find(text), std::string::npos) << text;
  }
  size_t begin = 0;
  for (size_t end = help.find('\n'); end != std::string::npos; end = help.find('\n', begin)) {
    EXPECT_LE(end - begin, 80U);
    begin = end + 1;
  }
}

}  // namespace
}  // namespace groundstation_test
