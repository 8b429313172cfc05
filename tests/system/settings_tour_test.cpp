// The settings as a ground station sees them: everything that can be set is set over the link and
// read back from the status record, with the real program and the stand-in of the camera service.
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT
using Json = nlohmann::json;

constexpr const char* kLines = "/tmp/ground.lines";

struct Told {
  int status = -1;
  std::vector<Json> results;  // of the commands, without the reports in between
  std::string output;
};

// Runs the lines in one shell of the ground station, on one link.
Told ground(const std::string& lines) {
  write_file(kLines, lines);
  const CommandResult run =
      run_command({"sh", "-c", "exec on-peer \"$0\" --json --timeout 20 shell <\"$1\"",
                   BIN_DIR "/groundstation", kLines},
                  seconds(240), sanitizer_options());
  Told told{run.status, {}, run.output};
  std::istringstream stream(run.output);
  for (std::string line; std::getline(stream, line);) {
    Json object = Json::parse(line, nullptr, false);
    if (object.is_object() && !object.contains("event")) told.results.push_back(std::move(object));
  }
  return told;
}

struct Step {
  const char* name;
  std::string value;
  int number;  // what the status record shows then
};

// Sets and reads back; each step has two results.
void expect_read_back(const std::vector<Step>& steps) {
  std::string lines;
  for (const Step& step : steps) {
    lines += std::string("set ") + step.name + " " + step.value + "\nget " + step.name + "\n";
  }
  const Told told = ground(lines);
  EXPECT_EQ(told.status, 0) << told.output;
  ASSERT_EQ(told.results.size(), 2 * steps.size()) << told.output;
  for (size_t i = 0; i < steps.size(); i++) {
    const Json& set = told.results[2 * i];
    const Json& get = told.results[2 * i + 1];
    EXPECT_EQ(set["ok"], true) << steps[i].name << " " << steps[i].value << ": " << set;
    EXPECT_EQ(get["settings"][steps[i].name]["value"], steps[i].number)
        << steps[i].name << " " << steps[i].value;
  }
}

class SettingsTour : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    camera = std::make_unique<RunningCameraService>();
    maintask = std::make_unique<RunningMaintask>();
    {
      PeerLink peer;
      PeerSocket video{8856};
      EXPECT_TRUE(wait_for_live_video(peer, video)) << maintask->process().output();
    }
    const Told told = ground("mode video\nset video_resolution 1920x1080-30P\n");
    EXPECT_EQ(told.status, 0) << told.output;
  }
  static void TearDownTestSuite() {
    maintask.reset();
    camera.reset();
  }
  void TearDown() override { EXPECT_TRUE(maintask->runs()); }

  // What the camera service has.
  static Json at_camera() {
    return Json::parse(RunningCameraService::control({"state"}), nullptr, false);
  }

  static std::unique_ptr<RunningCameraService> camera;
  static std::unique_ptr<RunningMaintask> maintask;
};
std::unique_ptr<RunningCameraService> SettingsTour::camera;
std::unique_ptr<RunningMaintask> SettingsTour::maintask;

TEST_F(SettingsTour, ChoicesAreReadBack) {
  expect_read_back({{"color_style", "BlackAndWhite", 1},
                    {"color_style", "VIVID", 2},
                    {"color_style", "Auto", 0},
                    {"color_style", "70FILM", 3},
                    {"scene_white_balance", "Day", 1},
                    {"scene_white_balance", "Auto", 0},
                    {"scene_white_balance", "Cloudy", 2},
                    {"piv_format", "RAW", 1},
                    {"piv_format", "JPG", 0},
                    {"sec_stream_stamp", "OFF", 1},
                    {"sec_stream_stamp", "ON", 0},
                    {"sec_stream_stamp", "OFF", 1}});
  const Json settings = at_camera()["settings"];
  EXPECT_EQ(settings["color_style"], "70FILM");
  EXPECT_EQ(settings["scene_white_balance"], "Cloudy");
  EXPECT_EQ(settings["piv_format"], "JPG");
  EXPECT_EQ(settings["sec_stream_stamp"], "OFF");
}

TEST_F(SettingsTour, NumbersAreReadBack) {
  expect_read_back({{"fix_iso_value", "400", 400},
                    {"fix_iso_value", "Auto", 0},
                    {"fix_iso_value", "65535", 65535},
                    {"fix_exposure", "5000", 5000},
                    {"fix_exposure", "0", 0},
                    {"fix_exposure", "65535", 65535},
                    {"saturation", "0", 0},
                    {"saturation", "255", 255},
                    {"contrast", "61", 61},
                    {"sharpness", "7", 7}});
  const Json settings = at_camera()["settings"];
  EXPECT_EQ(settings["fix_iso_value"], "65535");
  EXPECT_EQ(settings["fix_exposure"], "65535");
  EXPECT_EQ(settings["saturation"], "255");
  EXPECT_EQ(settings["contrast"], "61");
  EXPECT_EQ(settings["sharpness"], "7");
}

TEST_F(SettingsTour, EveryShutterTimeIsReadBack) {
  std::vector<Step> steps;
  for (int index = 0; index <= 30; index++) {
    steps.push_back({"shutter_time", std::to_string(index), index});
  }
  steps.push_back({"shutter_time", "1/12.5", 2});
  steps.push_back({"shutter_time", "1/60", 9});
  expect_read_back(steps);
  EXPECT_EQ(at_camera()["settings"]["shutter_time"], "1/60");
}

TEST_F(SettingsTour, ExposureModesBringTheirOwnValues) {
  // Shutter priority asks the camera for its shutter, AE on for ISO and exposure, where automatic
  // shows as the lowest value; off makes both automatic.
  expect_read_back({{"set_manual_ae_mode", "shutter_priority", 2},
                    {"set_manual_ae_mode", "off", 0},
                    {"set_manual_ae_mode", "on", 1}});
  const Told on = ground("get fix_iso_value fix_exposure\n");
  ASSERT_EQ(on.results.size(), 1U) << on.output;
  EXPECT_EQ(on.results[0]["settings"]["fix_iso_value"]["value"], 100);
  EXPECT_EQ(on.results[0]["settings"]["fix_exposure"]["value"], 1);
  expect_read_back({{"set_manual_ae_mode", "off", 0}, {"fix_iso_value", "Auto", 0}});
  EXPECT_EQ(at_camera()["settings"]["set_manual_ae_mode"], "off");
}

TEST_F(SettingsTour, LowLightRawModeAndGainGoTogether) {
  expect_read_back({{"low_light_mode", "ON", 1},
                    {"Max_Agc", "40", 40},
                    {"raw_mode", "ON", 1},
                    {"low_light_mode", "ON", 1},
                    {"low_light_mode", "OFF", 0},
                    {"raw_mode", "OFF", 0}});
  const Json settings = at_camera()["settings"];
  EXPECT_EQ(settings["Max_Agc"], "40");
  EXPECT_EQ(settings["raw_mode"], "OFF");
  // Without low light nothing is sent.
  const Told refused = ground("set Max_Agc 41\nget Max_Agc\n");
  EXPECT_EQ(refused.status, 4) << refused.output;
  ASSERT_EQ(refused.results.size(), 2U) << refused.output;
  EXPECT_EQ(refused.results[1]["settings"]["Max_Agc"]["value"], 40);
}

TEST_F(SettingsTour, ResolutionsAreReadBack) {
  expect_read_back({{"video_resolution", "1280x720-30P", 6},
                    {"video_resolution", "3840x2160-60P", 1},
                    {"video_resolution", "1920x1080-120P", 10},
                    {"video_resolution", "1920x1080-30P", 4}});
  EXPECT_EQ(at_camera()["settings"]["video_resolution"], "1920x1080 30P 16:9");
}

TEST_F(SettingsTour, VideoQualityIsConfirmedButNotShown) {
  const Told told = ground("set video_quality normal\nget --all\n");
  EXPECT_EQ(told.status, 0) << told.output;
  ASSERT_EQ(told.results.size(), 2U) << told.output;
  EXPECT_TRUE(told.results[1]["settings"]["video_quality"].is_null());
  EXPECT_EQ(told.results[1]["settings"].size(), 16U);
  EXPECT_EQ(at_camera()["settings"]["video_quality"], "normal");
}

TEST_F(SettingsTour, ASettingThatTheCameraTurnsDownIsNotConfirmed) {
  expect_read_back({{"contrast", "60", 60}});
  RunningCameraService::control({"refuse", "contrast"});
  const Told refused = ground("set contrast 80 --timeout 3\nget contrast\n");
  EXPECT_EQ(refused.status, 3) << refused.output;
  ASSERT_EQ(refused.results.size(), 2U) << refused.output;
  EXPECT_EQ(refused.results[1]["settings"]["contrast"]["value"], 60);
  RunningCameraService::control({"clear"});
  expect_read_back({{"contrast", "80", 80}});
}

TEST_F(SettingsTour, ATimelapseRunsAndEnds) {
  const Told told = ground("timelapse start --interval 2 --count 3\nstatus\ntimelapse stop\n");
  EXPECT_EQ(told.status, 0) << told.output;
  ASSERT_EQ(told.results.size(), 3U) << told.output;
  EXPECT_EQ(told.results[1]["status"]["timelapse"], "running");
  EXPECT_EQ(at_camera()["settings"]["time_lapse_interval"], "OFF");
  EXPECT_FALSE(at_camera()["time_lapse"]["running"]);
}

TEST_F(SettingsTour, TheParameterListIsTheDeviceProfile) {
  const Told told = ground("params\n");
  EXPECT_EQ(told.status, 0) << told.output;
  ASSERT_EQ(told.results.size(), 1U) << told.output;
  const Json& rows = told.results[0]["params"];
  ASSERT_EQ(rows.size(), 10U);
  Json object;
  for (const Json& row : rows) object[row["name"].get<std::string>()] = row["value"];
  EXPECT_EQ(object["ModelName"], "FALK2");
  EXPECT_EQ(object["HardwareVersion"], "V1.3");  // 15 characters, as many as fit
  EXPECT_EQ(object["Manufacturer"], "KORVAN # Camera");
  EXPECT_EQ(object["LensType"], "FIXED");
}

TEST_F(SettingsTour, TelemetryIsLogged) {
  write_file("/tmp/flight.csv",
             "105,1000,1,2,3,4,5,6,7,8,9,10,11,12,13,65535\n"
             "107,2000,-1.5,2,3,4,5,6,7,8,9,10,11,12,13,-5\n90\n");
  const Told told = ground("telemetry /tmp/flight.csv\n");
  EXPECT_EQ(told.status, 0) << told.output;
  EXPECT_TRUE(poll_until(
      [] {
        return read_file("/tmp/SD0/GimbalDataLog0.txt") ==
                   "1000,1.00000,2.00000,3.00000,4.00000,5.00000,6.00000,7.00000,8.00000,9.00000,"
                   "10.00000,11.00000,12.00000,13.00000,65535\n" &&
               read_file("/tmp/SD0/FlyctlDataLog0.txt") ==
                   "2000,-1.500,2.000,3.000,4.000,5.000,6.000,7.000,8.000,9.000,10.000,11.000,"
                   "12.000,13.000,-005\n";
      },
      seconds(5)))
      << read_file("/tmp/SD0/GimbalDataLog0.txt") << read_file("/tmp/SD0/FlyctlDataLog0.txt");
}

TEST_F(SettingsTour, TheBoardsRefusalToSetTheClockIsReported) {
  const Told told = ground("clock 2020-01-01T00:00:00\n");
  EXPECT_EQ(told.status, 1) << told.output;
  ASSERT_EQ(told.results.size(), 1U) << told.output;
  EXPECT_EQ(told.results[0]["result"], 4);
}

// The last one: the status record keeps what was confirmed before.
TEST_F(SettingsTour, DefaultsAndFormatReachTheCamera) {
  expect_read_back({{"saturation", "99", 99}});
  const Told defaults = ground("defaults --yes\n");
  EXPECT_EQ(defaults.status, 0) << defaults.output;
  EXPECT_EQ(at_camera()["settings"]["saturation"], "60");
  write_file("/tmp/SD0/KRVMEDIA/PIC/20200101_120000AB.JPG", "x");
  const Told format = ground("format --yes\n");
  EXPECT_EQ(format.status, 0) << format.output;
  EXPECT_FALSE(file_exists("/tmp/SD0/KRVMEDIA/PIC/20200101_120000AB.JPG"));
}

}  // namespace
