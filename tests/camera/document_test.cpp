// docs/messages.json against the tables and the record of the program.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>

#include "base/bytes.h"
#include "camera/camera_rig.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "camera/status_record.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using nlohmann::json;

class Document : public CameraTest {
 protected:
  static std::string value(const char* table, int number) {
    return document.at("values").at(table).at(std::to_string(number)).get<std::string>();
  }
  static const json& layout(uint8_t id, const std::string& name) {
    for (const json& message : document.at("messages")) {
      if (message.at("id") != id) continue;
      for (const json& found : message.at("layouts")) {
        if (found.at("layout") == name) return found;
      }
    }
    throw std::out_of_range(name);
  }

  static const json document;
};
const json Document::document = json::parse(std::ifstream(SOURCE_DIR "/docs/messages.json"));

TEST_F(Document, HasTheProgramsResolutionsAndShutterTimes) {
  for (int i = 0; i < kResolutions; i++) {
    EXPECT_EQ(value("resolution", i) + " 16:9", cam_resolution_text(i));
  }
  EXPECT_EQ(document.at("values").at("resolution").size(), size_t{kResolutions});
  for (int i = 0; i < kShutterTimes; i++) EXPECT_EQ(value("shutter", i), cam_shutter_text(i));
}

TEST_F(Document, HasTheSubjectOfEachSettingsAcknowledgement) {
  size_t compared = 0;
  for (const json& row : document.at("settings")) {
    if (!row.contains("type")) continue;
    const auto type = row.at("type").get<std::string>();
    const SettingRow* setting = setting_of_type(cam_setting_type_code(type.c_str()));
    ASSERT_NE(setting, nullptr) << type;
    EXPECT_EQ(row.at("subject"), setting->subject) << type;
    compared++;
  }
  EXPECT_EQ(compared, 18U);
}

TEST_F(Document, ReadsTheStatusRecordAsItIsMade) {
  const std::map<std::string, std::pair<Setting, int32_t>> kSettings = {
      {"resolution", {kResolution, 10}},     {"color_style", {kColorStyle, 3}},
      {"white_balance", {kWhiteBalance, 2}}, {"ae_mode", {kAeMode, 1}},
      {"camera_mode", {kCameraMode, 1}},     {"iso", {kIso, 51200}},
      {"exposure", {kExposure, 6000}},       {"saturation", {kSaturation, 250}},
      {"contrast", {kContrast, 77}},         {"sharpness", {kSharpness, 5}},
      {"shutter", {kShutter, 29}},           {"photo_format", {kPivFormat, 1}},
      {"low_light", {kLowLight, 1}},         {"max_agc", {kMaxAgc, 45}},
      {"raw_mode", {kRawMode, 1}},           {"stamp", {kStampOff, 1}}};
  for (const auto& [name, setting] : kSettings) confirm(setting.first, setting.second);
  camera_state.TimelapseState.store(2);
  camera_state.SdStatus.store(kSdFormatUnknown);
  uint8_t record[flightlink::kStatusRecordSize];
  cam_status_record(record);

  size_t read = 0;
  for (const json& field : layout(76, "status record").at("fields")) {
    if (!field.contains("bits")) continue;
    const uint32_t word = base::load_u32le(record + field.at("offset").get<size_t>());
    for (const json& bits : field.at("bits")) {
      const auto name = bits.at("name").get<std::string>();
      const uint64_t mask = (uint64_t{1} << bits.at("count").get<int>()) - 1;
      const uint64_t shown = word >> bits.at("from").get<int>() & mask;
      const int32_t wanted = name == "timelapse" ? 2
                             : name == "sd_code" ? cam_sd_report_code(kSdFormatUnknown)
                                                 : kSettings.at(name).second;
      EXPECT_EQ(shown, static_cast<uint64_t>(wanted)) << name;
      read++;
    }
  }
  EXPECT_EQ(read, kSettings.size() + 2);
}

}  // namespace
}  // namespace camera_test
