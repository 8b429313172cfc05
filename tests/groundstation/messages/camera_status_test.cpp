#include "groundstation/messages/camera_status.h"

#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>

#include "groundstation/messages/setting_table.h"

namespace groundstation_test {
namespace {

using groundstation::CameraStatus;
using groundstation::decode_camera_status;

// What a camera sends that has just started.
constexpr std::array<uint8_t, 33> kFresh = {
    0x01, 0x00, 0x20, 0x00, 0,    0,    0,    0,    0, 0,    0,    0, 0, 0, 0, 0, 0x3C,
    0x3C, 0x03, 0x06, 0x19, 0x00, 0x00, 0x00, 0x00, 0, 0x80, 0x3F, 2, 0, 0, 0, 0};

TEST(CameraStatus, FreshCamera) {
  const auto status = decode_camera_status(kFresh.data(), kFresh.size());
  ASSERT_TRUE(status.has_value());
  CameraStatus expected{};
  expected.resolution = 1;
  expected.sd_code = 2;
  expected.saturation = 60;
  expected.contrast = 60;
  expected.sharpness = 3;
  expected.shutter = 6;
  expected.max_gain = 25;
  EXPECT_EQ(*status, expected);
}

TEST(CameraStatus, EveryFieldIsReadFromItsBits) {
  // 0x07952A34: resolution 4, style 3, balance 10, exposure mode 2, mode 5, card 9, time-lapse 7.
  // 0x13880190: ISO 400, exposure 5000. 16.0 and 2.5 MB.
  // 0x7F050607: saturation 7, contrast 6, sharpness 5, shutter 31, RAW, low light. 0x000001BF: gain
  // 63, raw mode, stamp off.
  constexpr std::array<uint8_t, 33> kBytes = {
      0x34, 0x2A, 0x95, 0x07, 0x90, 0x01, 0x88, 0x13, 0, 0,    0x80, 0x41, 0, 0, 0x20, 0x40, 7,
      6,    5,    0x7F, 0xBF, 0x01, 0,    0,    0,    0, 0x80, 0x3F, 2,    0, 0, 0,    0};
  const auto status = decode_camera_status(kBytes.data(), kBytes.size());
  ASSERT_TRUE(status.has_value());
  const CameraStatus expected{.mode = 5,
                              .resolution = 4,
                              .iso = 400,
                              .exposure = 5000,
                              .exposure_mode = 2,
                              .shutter = 31,
                              .white_balance = 10,
                              .color_style = 3,
                              .saturation = 7,
                              .contrast = 6,
                              .sharpness = 5,
                              .photo_format = 1,
                              .raw_mode = 1,
                              .low_light = 1,
                              .max_gain = 63,
                              .stamp_off = 1,
                              .timelapse = 7,
                              .sd_code = 9,
                              .total_mb = 16.0F,
                              .free_mb = 2.5F};
  EXPECT_EQ(*status, expected);
}

TEST(CameraStatus, ShortRecordIsRefused) {
  EXPECT_FALSE(decode_camera_status(kFresh.data(), 32).has_value());
}

TEST(CameraStatus, JsonHasWordsForChoicesAndNumbersForNumbers) {
  const auto object =
      groundstation::status_json(*decode_camera_status(kFresh.data(), kFresh.size()));
  EXPECT_EQ(object["mode"], "photo");
  EXPECT_EQ(object["resolution"], "3840x2160-60P");
  EXPECT_EQ(object["shutter"], "1/30");
  EXPECT_EQ(object["iso"], 0);
  EXPECT_EQ(object["max_gain"], 25);
  EXPECT_EQ(object["stamp"], "ON");
  EXPECT_EQ(object["sd_card"], "not known yet");
  EXPECT_EQ(object["sd_code"], 2);
  EXPECT_EQ(object["free_mb"], 0.0);
}

// One vocabulary: the word that status shows is one that the setting takes, and its label names it.
TEST(CameraStatus, EverySettingIsWrittenAsItIsSet) {
  size_t shown = 0;
  for (const groundstation::StatusField& field : groundstation::status_fields()) {
    if (field.text != nullptr) continue;
    const groundstation::Setting* setting = groundstation::find_setting(field.label);
    ASSERT_NE(setting, nullptr) << field.label;
    ASSERT_EQ(setting->field, field.member) << field.label;
    shown++;
    for (int32_t value = 0; value <= setting->high; value++) {
      const auto number = static_cast<uint32_t>(value);
      CameraStatus status{};
      status.*field.member = number;
      const std::string text = groundstation::status_text(field, number);
      ASSERT_EQ(text, groundstation::setting_text(*setting, number));
      ASSERT_EQ(groundstation::parse_setting(*setting, text, false), value) << text;
      const nlohmann::json told = groundstation::status_json(status)[field.key];
      const std::string word = told.is_string() ? told.get<std::string>() : told.dump();
      ASSERT_EQ(groundstation::parse_setting(*setting, word, false), value) << word;
    }
  }
  // Every setting but video_quality, which the record does not carry.
  EXPECT_EQ(shown, groundstation::settings().size() - 1);
}

TEST(CameraStatus, ValuesOutsideTheirTableAreShownAsNumbersOrUnknown) {
  CameraStatus status{};
  status.resolution = 11;
  status.shutter = 31;
  status.mode = 15;
  const auto object = groundstation::status_json(status);
  EXPECT_EQ(object["resolution"], "11");
  EXPECT_EQ(object["shutter"], "31");
  EXPECT_EQ(object["mode"], "unknown (15)");
  EXPECT_EQ(groundstation::sd_code_text(255), "unknown (255)");
  EXPECT_EQ(groundstation::sd_code_text(10), "unknown (10)");
}

}  // namespace
}  // namespace groundstation_test
