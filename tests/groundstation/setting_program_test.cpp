// The commands about settings, parameters, the clock and telemetry, against a small camera.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "base/bytes.h"
#include "groundstation/fake_camera.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;

TEST(SettingProgram, SetSendsTheSettingAndWaitsForItsAcknowledgement) {
  FakeCamera camera({});
  const auto result =
      success(run_with_camera(camera.port(), "set scene_white_balance cloudy --json"));
  EXPECT_EQ(result["value"], 2);
  EXPECT_EQ(result["text"], "Cloudy");
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 1U);
  EXPECT_EQ(base::load_f32le(commands[0].payload), 2.0F);
  EXPECT_EQ(commands[0].payload[28], 180);
  EXPECT_EQ(commands[0].payload[31], 5);
}

TEST(SettingProgram, GetShowsWhatWasSet) {
  FakeCamera camera({});
  const std::string lines =
      "set iso 400\nset shutter 1/12.5\nset stamp off\nset low_light ON\nset Max_Agc 25\n"
      "set video_quality fine\n"
      "get iso shutter_time sec_stream_stamp max_gain video_quality\n";
  const auto result = success(run_with_camera(camera.port(), "--json shell", lines));
  const auto settings = result["settings"];
  EXPECT_EQ(settings["fix_iso_value"]["value"], 400);
  EXPECT_EQ(settings["shutter_time"]["text"], "1/12.5");
  EXPECT_EQ(settings["sec_stream_stamp"]["text"], "OFF");
  EXPECT_EQ(settings["Max_Agc"]["value"], 25);
  EXPECT_TRUE(settings["video_quality"].is_null());
  const ProgramResult all = run_with_camera(camera.port(), "get --all");
  EXPECT_THAT(all.out, HasSubstr("fix_iso_value       400\n"));
  EXPECT_THAT(all.out, HasSubstr("video_quality       not in the camera's status record\n"));
}

TEST(SettingProgram, WhatTheRecordLacksIs1WhenItIsAskedForByItself) {
  FakeCamera camera({});
  expect_failure(run_with_camera(camera.port(), "get video_quality"), 1,
                 "does not carry video_quality");
}

TEST(SettingProgram, WhatTheStatusForbidsIsToldAtOnce) {
  FakeCamera camera({});
  expect_failure(run_with_camera(camera.port(), "set Max_Agc 30"), 4,
                 "Max_Agc cannot be 30 now: low_light is OFF (first: set low_light ON)");
  expect_failure(run_with_camera(camera.port(), "set resolution 1280x720-30P"), 4,
                 "the camera is in photo mode (first: mode video)");
  const ProgramResult json = run_with_camera(camera.port(), "set resolution 1280x720-30P --json");
  EXPECT_EQ(json.json()["exit_code"], 4);
  EXPECT_TRUE(camera.received(76).empty());
}

// A record that shows the state before comes late: what was just set holds.
TEST(SettingProgram, WhatWasJustSetIsNotForbidden) {
  FakeCamera camera({});
  const ProgramResult result =
      run_with_camera(camera.port(), "shell", "set low_light ON\nset Max_Agc 30\n");
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

// Every value that a setting can have, as status and get show it: both the same, and set takes it.
TEST(SettingProgram, StatusGetAndSetUseTheSameWords) {
  FakeCamera camera({.mode = 1});
  const std::string lines =
      "set color_style 70FILM\nset white_balance Cloudy\nset iso 400\nset exposure Auto\n"
      "set shutter 1/12.5\nset photo_format RAW\nset stamp OFF\nset contrast 7\n"
      "set resolution 1280x720-30P\nset low_light ON\nset Max_Agc 30\nset exposure_mode on\n"
      "get --all\n";
  const ProgramResult set = run_with_camera(camera.port(), "shell", lines);
  EXPECT_EQ(set.exit_code, 0) << set.err;
  const std::string status = run_with_camera(camera.port(), "status").out;
  for (const char* row :
       {"color style     70FILM", "white balance   Cloudy", "ISO             400",
        "exposure        Auto", "shutter         1/12.5", "photo format    RAW",
        "stamp           OFF", "contrast        7", "resolution      1280x720-30P",
        "low light       ON", "max gain        30", "exposure mode   on"}) {
    EXPECT_THAT(status, HasSubstr(row));
    const std::string value = std::string(row).substr(16);
    EXPECT_THAT(set.out, HasSubstr(" " + value + "\n"));
  }
  const auto told = success(run_with_camera(camera.port(), "status --json"))["status"];
  EXPECT_EQ(told["color_style"], "70FILM");
  EXPECT_EQ(told["resolution"], "1280x720-30P");
  EXPECT_EQ(told["iso"], 400);
}

TEST(SettingProgram, SilentRefusalEndsWithItsRule) {
  FakeCamera camera({.mode = 1, .refused_setting = 2});
  expect_failure(run_with_camera(camera.port(), "set resolution 6 --timeout 0.5"), 3,
                 "video_resolution was not confirmed (the camera takes it in video mode only");
}

TEST(SettingProgram, AcknowledgementOfAnotherValueDoesNotCount) {
  FakeCamera camera({.other_value = true});
  EXPECT_EQ(run_with_camera(camera.port(), "set contrast 0 --timeout 0.5").exit_code, 3);
}

TEST(SettingProgram, LostAcknowledgementIsAskedForAgain) {
  FakeCamera camera({.lose_acks = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "set contrast 70").exit_code, 0);
  EXPECT_EQ(camera.received(76).size(), 2U);
}

TEST(SettingProgram, TheStatusRecordProvesASettingWhoseAcknowledgementsAreLost) {
  FakeCamera camera({.lose_acks = 100});
  EXPECT_EQ(run_with_camera(camera.port(), "set contrast 70 --timeout 0.5").exit_code, 0);
  // It shows nothing when the value was the same before.
  EXPECT_EQ(run_with_camera(camera.port(), "set contrast 70 --timeout 0.5").exit_code, 3);
}

TEST(SettingProgram, FailedSettingIs1) {
  FakeCamera camera({.result = 4});
  EXPECT_EQ(run_with_camera(camera.port(), "set contrast 70").exit_code, 1);
  EXPECT_EQ(run_with_camera(camera.port(), "format --yes").exit_code, 1);
  const ProgramResult clock = run_with_camera(camera.port(), "clock --now --json");
  EXPECT_EQ(clock.exit_code, 1);
  EXPECT_EQ(clock.json()["result"], 4);
}

TEST(SettingProgram, TheResolutionThatIsSetAlreadySendsNothing) {
  FakeCamera camera({.mode = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "set video_resolution 1920x1080-30P").exit_code, 0);
  EXPECT_TRUE(camera.received(76).empty());
  EXPECT_EQ(run_with_camera(camera.port(), "set video_resolution 6").exit_code, 0);
  EXPECT_EQ(camera.received(76).size(), 1U);
}

TEST(SettingProgram, WrongUsageIs2) {
  for (const char* arguments : {"set", "set contrast", "set nonsense 1", "set contrast 256",
                                "set iso bright", "get nonsense", "format", "defaults", "timelapse",
                                "timelapse start --interval 16", "clock yesterday", "clock --now 5",
                                "telemetry", "link-quality 100", "link-quality 1 1 1 1 1 1 1 1"}) {
    EXPECT_EQ(run_program(arguments).exit_code, 2) << arguments;
  }
}

TEST(SettingProgram, HelpNamesTheValues) {
  const ProgramResult result = run_program("set --help");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("scene_white_balance white_balance   Auto, Day, Cloudy"));
}

TEST(SettingProgram, FormatAndDefaultsAreConfirmed) {
  FakeCamera camera({});
  EXPECT_EQ(run_with_camera(camera.port(), "format --yes").exit_code, 0);
  EXPECT_EQ(run_with_camera(camera.port(), "defaults --yes").exit_code, 0);
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_EQ(commands[0].payload[31], 1);
  EXPECT_EQ(commands[1].payload[31], 9);
}

TEST(SettingProgram, TimelapseStartsInVideoModeAndStops) {
  FakeCamera camera({});
  const ProgramResult stop = run_with_camera(camera.port(), "timelapse stop");
  EXPECT_EQ(stop.exit_code, 4);
  EXPECT_THAT(stop.err, HasSubstr("no time-lapse is under way"));
  const ProgramResult start = run_with_camera(
      camera.port(), "timelapse start --interval 7 --count 3 --values 1.5 2 --json");
  EXPECT_EQ(start.exit_code, 0) << start.err;
  EXPECT_EQ(start.json()["interval"], 7);
  EXPECT_EQ(run_with_camera(camera.port(), "timelapse start").exit_code, 4);
  EXPECT_EQ(run_with_camera(camera.port(), "timelapse stop").exit_code, 0);
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 3U);  // video mode, start, stop
  EXPECT_EQ(base::load_f32le(commands[1].payload), 3.0F);
  EXPECT_EQ(base::load_f32le(commands[1].payload + 4), 1.5F);
  EXPECT_EQ(base::load_f32le(commands[1].payload + 8), 7.0F);
  EXPECT_EQ(base::load_f32le(commands[1].payload + 16), 2.0F);
  EXPECT_EQ(commands[2].payload[32], 2);
}

TEST(SettingProgram, TimelapseNeedsItsResolution) {
  FakeCamera camera({.mode = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "set resolution 6").exit_code, 0);
  expect_failure(run_with_camera(camera.port(), "timelapse start"), 4, "1920x1080-30P only");
}

TEST(SettingProgram, ParamsAreListedWithoutALostOne) {
  FakeCamera camera({.parameters = {{"ModelName", "FALK2"}, {"WifiChannel", "149"}, {"X", ""}},
                     .lose_parameters = 2});
  const ProgramResult result = run_with_camera(camera.port(), "params");
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.out, "ModelName        FALK2\nWifiChannel      149\nX                \n");
  EXPECT_EQ(camera.received(21).size(), 2U);
  const auto object = run_with_camera(camera.port(), "params --json").json();
  EXPECT_EQ(object["params"][1]["name"], "WifiChannel");
  EXPECT_EQ(object["params"][1]["value"], "149");
}

TEST(SettingProgram, NoParameterIs3) {
  FakeCamera camera({});
  expect_failure(run_with_camera(camera.port(), "params --timeout 2"), 3, "no parameter came");
}

TEST(SettingProgram, ClockSendsMillisecondsAndHours) {
  FakeCamera camera({});
  const auto result =
      success(run_with_camera(camera.port(), "clock 2020-01-01T00:00:00 --offset 8 --json"));
  EXPECT_EQ(result["time"], "2020-01-01 08:00:00");
  const auto messages = camera.received(111);
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(base::load_u64le(messages[0].payload), 1577836800000U);
  EXPECT_EQ(base::load_u32le(messages[0].payload + 8), 8U);
}

TEST(SettingProgram, TelemetryIsPlayedFromAFile) {
  FakeCamera camera({});
  const std::string path = temporary_path("flight.csv");
  std::ofstream(path) << "105,1,1,2,3,4,5,6,7,8,9,10,11,12,13,14\n"
                         "107,2,1,2,3,4,5,6,7,8,9,10,11,12,13,-1\n90\n";
  const auto result = success(
      run_with_camera(camera.port(), "telemetry " + path + " --rate 1000 --times 2 --json"));
  EXPECT_EQ(result["messages"], 6);
  EXPECT_EQ(camera.received(105).size(), 2U);
  EXPECT_EQ(camera.received(107).size(), 2U);
  EXPECT_EQ(camera.received(90).size(), 2U);
  std::ofstream(path) << "what\n";
  EXPECT_EQ(run_with_camera(camera.port(), "telemetry " + path).exit_code, 1);
  EXPECT_EQ(run_with_camera(camera.port(), "telemetry /nonexistent").exit_code, 1);
}

TEST(SettingProgram, LinkQualityIsSentSoOften) {
  FakeCamera camera({});
  const ProgramResult result =
      run_with_camera(camera.port(), "link-quality 100 90 13 0 2 --times 3");
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 3U);
  EXPECT_EQ(commands[2].payload[28], 203);
  EXPECT_EQ(commands[2].payload[31], 14);
  EXPECT_EQ(base::load_f32le(commands[2].payload), 100.0F);
  EXPECT_EQ(base::load_f32le(commands[2].payload + 4), 13.0F);
  EXPECT_EQ(base::load_f32le(commands[2].payload + 12), 2.0F);
  EXPECT_EQ(base::load_f32le(commands[2].payload + 24), 90.0F);
}

}  // namespace
}  // namespace groundstation_test
