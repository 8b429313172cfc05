#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/bytes.h"
#include "groundstation/fake_camera.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;

// The fourth byte of a 32-bit float, for parameters that are small whole numbers.
float parameter(const flightlink::MavlinkMessage& message, int number) {
  return base::load_f32le(message.payload + 4 * (number - 1));
}

TEST(Program, HelpNamesEveryCommandAndTheExitCodes) {
  const ProgramResult result = run_program("--help");
  EXPECT_EQ(result.exit_code, 0);
  for (const char* word :
       {"status", "photo", "record", "mode", "bitrate", "position", "live", "shell", "set", "get",
        "timelapse", "format", "defaults", "params", "clock", "telemetry", "link-quality",
        "GROUNDSTATION_CAMERA", "Exit status"}) {
    EXPECT_THAT(result.out, HasSubstr(word));
  }
  EXPECT_EQ(run_program("photo --help").exit_code, 0);
}

TEST(Program, WrongUsageIs2) {
  for (const char* arguments :
       {"", "nonsense", "photo --nonsense", "photo --sequence 3", "photo --mode XX",
        "mode sideways", "record", "bitrate many", "position 1 2", "position 91 0 0",
        "--camera here status", "live --seconds -1", "--timeout 0 status"}) {
    EXPECT_EQ(run_program(arguments).exit_code, 2) << arguments;
  }
  EXPECT_EQ(run_program("status", "", "GROUNDSTATION_CAMERA=nowhere").exit_code, 2);
}

TEST(Program, WithoutArgumentsTheShortHelpIsShown) {
  const ProgramResult result = run_program("");
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_THAT(result.err, HasSubstr("Usage: groundstation [OPTIONS] COMMAND\n"));
  EXPECT_THAT(result.err, HasSubstr("\n  photo "));
  EXPECT_EQ(result.out, "");
  EXPECT_LE(std::count(result.err.begin(), result.err.end(), '\n'), 40);
}

TEST(Program, WrongUsageIsAnObjectToo) {
  for (const char* arguments : {"--json", "--json nonsense", "photo --mode XX --json",
                                "set iso bright --json", "--json media get"}) {
    const ProgramResult result = run_program(arguments);
    EXPECT_EQ(result.exit_code, 2) << arguments;
    EXPECT_EQ(result.err, "") << arguments;
    const nlohmann::json object = result.json();
    ASSERT_TRUE(object.is_object()) << result.out;
    EXPECT_EQ(object["ok"], false) << arguments;
    EXPECT_TRUE(object["command"].is_string()) << arguments;
    EXPECT_EQ(object["exit_code"], 2) << arguments;
    EXPECT_TRUE(object["error"].is_string()) << arguments;
  }
  EXPECT_EQ(run_program("photo --mode XX --json").json()["command"], "photo");
}

TEST(Program, WrongUsageSaysWhereTheHelpIs) {
  EXPECT_EQ(run_program("photo --moed PW").err,
            "photo: there is no option --moed; did you mean --mode?\n"
            "Try \"groundstation photo --help\".\n");
}

TEST(Program, NoCameraIs3WithASentence) {
  expect_failure(run_with_camera(free_port(), "status --timeout 0.3"), 3,
                 "no camera: no heartbeat from 127.0.0.1:");
  const ProgramResult json = run_with_camera(free_port(), "photo --timeout 0.3 --json");
  EXPECT_EQ(json.exit_code, 3);
  EXPECT_EQ(json.json()["ok"], false);
  EXPECT_EQ(json.json()["exit_code"], 3);
  EXPECT_EQ(json.json()["command"], "photo");
}

TEST(Program, AddressMayComeFromTheEnvironment) {
  FakeCamera camera({});
  const ProgramResult result =
      run_program("--local 127.0.0.1:0 status", "",
                  "GROUNDSTATION_CAMERA=127.0.0.1:" + std::to_string(camera.port()));
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(Program, StatusIsATable) {
  FakeCamera camera({});
  const ProgramResult result = run_with_camera(camera.port(), "status");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("  mode            photo\n"));
  EXPECT_THAT(result.out, HasSubstr("  resolution      1920x1080-30P\n"));
  EXPECT_THAT(result.out, HasSubstr("  space           500 of 1000 MB free\n"));
}

TEST(Program, StatusAsJsonSurvivesNoiseOnTheLink) {
  FakeCamera camera({.noise = true, .recording = true, .mode = 1});
  const auto object = run_with_camera(camera.port(), "--json status").json();
  EXPECT_EQ(object["ok"], true);
  EXPECT_EQ(object["recording"], true);
  EXPECT_EQ(object["status"]["mode"], "video");
  EXPECT_EQ(object["status"]["free_mb"], 500.0);
}

TEST(Program, WatchShowsTheStatusEverySecond) {
  FakeCamera camera({});
  const ProgramResult result =
      run_with_camera(camera.port(), "--json status --watch --seconds 1.5");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 3);
  EXPECT_EQ(result.json()["ok"], true);
  EXPECT_EQ(result.json()["command"], "status");
}

struct FailureRow {
  const char* name;
  CameraScript script;
  const char* arguments;
  int exit_code;
  const char* words;
};

class ProgramFailure : public ::testing::TestWithParam<FailureRow> {};

TEST_P(ProgramFailure, IsToldInWords) {
  const FailureRow& row = GetParam();
  FakeCamera camera(row.script);
  expect_failure(run_with_camera(camera.port(), row.arguments), row.exit_code, row.words);
}

INSTANTIATE_TEST_SUITE_P(
    All, ProgramFailure,
    ::testing::Values(FailureRow{"CameraWithoutStatusIsATimeout",
                                 {.status = false},
                                 "status --timeout 0.5",
                                 3,
                                 "sends heartbeats but no status"},
                      FailureRow{
                          "FailedPhotoIs1", {.result = 4}, "photo", 1, "could not take the photo"},
                      FailureRow{"SilentRefusalSaysWhatToCheck",
                                 {.ready = false},
                                 "photo --timeout 2",
                                 3,
                                 "encoder delivers live video"},
                      FailureRow{"PhotoWithoutReportIsATimeout",
                                 {.lose_reports = true},
                                 "photo --timeout 1",
                                 3,
                                 "did not report it as tagged"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Program, PhotoIsTakenOnce) {
  FakeCamera camera({});
  const auto result = success(run_with_camera(camera.port(), "photo --json"));
  EXPECT_EQ(result["ok"], true);
  EXPECT_EQ(camera.photos(), 1);
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 1U);
  EXPECT_EQ(parameter(commands[0], 1), 1.0F);
  EXPECT_EQ(commands[0].payload[28], 2);
}

TEST(Program, PhotoSwitchesToPhotoModeFirst) {
  FakeCamera camera({.mode = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "photo").exit_code, 0);
  EXPECT_EQ(camera.photos(), 1);
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_EQ(parameter(commands[0], 1), 0.0F);
}

TEST(Program, NamedPhotoCarriesModeAndSequence) {
  FakeCamera camera({});
  EXPECT_EQ(run_with_camera(camera.port(), "photo --mode pw --sequence 3").exit_code, 0);
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 1U);
  EXPECT_EQ(commands[0].payload[28], 203);
  EXPECT_EQ(parameter(commands[0], 5), 1.0F);
  EXPECT_EQ(parameter(commands[0], 6), 3.0F);
  EXPECT_EQ(parameter(commands[0], 7), 1.0F);
}

TEST(Program, RefusalsThatTheStatusShowsAre4AtOnce) {
  FakeCamera recording({.recording = true, .mode = 1});
  EXPECT_EQ(run_with_camera(recording.port(), "photo").exit_code, 4);
  EXPECT_EQ(run_with_camera(recording.port(), "mode photo").exit_code, 4);
  EXPECT_EQ(run_with_camera(recording.port(), "record start").exit_code, 4);
  FakeCamera raw({.raw = true});
  EXPECT_EQ(run_with_camera(raw.port(), "photo --mode PR").exit_code, 4);
  EXPECT_EQ(run_with_camera(raw.port(), "record stop").exit_code, 4);
  EXPECT_TRUE(recording.received(76).empty());
  EXPECT_TRUE(raw.received(76).empty());
}

TEST(Program, LostPhotoCommandIsSentAgain) {
  FakeCamera camera({.lose_commands = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "photo").exit_code, 0);
  EXPECT_EQ(camera.photos(), 1);
  EXPECT_EQ(camera.received(76).size(), 2U);
}

TEST(Program, LostAcknowledgementTakesNoSecondPhoto) {
  FakeCamera camera({.lose_acks = 1, .lose_reports = true});
  expect_failure(run_with_camera(camera.port(), "photo --timeout 6"), 3, "it may have been taken");
  EXPECT_EQ(camera.photos(), 1);
  EXPECT_EQ(camera.received(76).size(), 1U);
}

TEST(Program, ReportAloneProvesThePhoto) {
  FakeCamera camera({.lose_acks = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "photo").exit_code, 0);
  EXPECT_EQ(camera.photos(), 1);
}

TEST(Program, RecordStartSwitchesToVideoModeAndStopEnds) {
  FakeCamera camera({});
  const ProgramResult start = run_with_camera(camera.port(), "record start");
  EXPECT_EQ(start.exit_code, 0) << start.err;
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_EQ(parameter(commands[0], 1), 2.0F);
  EXPECT_EQ(parameter(commands[1], 1), 3.0F);
  const auto stop = success(run_with_camera(camera.port(), "record stop --json"));
  EXPECT_EQ(stop["recording"], false);
}

TEST(Program, LostRecordCommandIsSentAgain) {
  FakeCamera camera({.lose_commands = 1, .mode = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "record start").exit_code, 0);
  EXPECT_EQ(camera.received(76).size(), 2U);
}

TEST(Program, HeartbeatProvesARecordingWhoseAcknowledgementIsLost) {
  FakeCamera camera({.lose_acks = 1, .lose_reports = true, .mode = 1});
  EXPECT_EQ(run_with_camera(camera.port(), "record start").exit_code, 0);
}

TEST(Program, FailedRecordingAndModeSwitchAre1) {
  FakeCamera video({.result = 4, .mode = 1});
  EXPECT_EQ(run_with_camera(video.port(), "record start").exit_code, 1);
  EXPECT_EQ(run_with_camera(video.port(), "mode photo").exit_code, 1);
}

TEST(Program, CommandIsSentFourTimesAtMost) {
  FakeCamera camera({.ready = false});
  EXPECT_EQ(run_with_camera(camera.port(), "mode video --timeout 6").exit_code, 3);
  EXPECT_EQ(camera.received(76).size(), 4U);
}

TEST(Program, ModeThatIsSetAlreadySendsNothing) {
  FakeCamera camera({});
  const auto object = run_with_camera(camera.port(), "mode photo --json").json();
  EXPECT_EQ(object["switched"], false);
  EXPECT_TRUE(camera.received(76).empty());
  EXPECT_EQ(run_with_camera(camera.port(), "mode video --json").json()["switched"], true);
}

TEST(Program, BitrateSendsTheSignalOnce) {
  FakeCamera camera({});
  EXPECT_EQ(run_with_camera(camera.port(), "bitrate 70").exit_code, 0);
  const auto commands = camera.received(76);
  ASSERT_EQ(commands.size(), 1U);
  EXPECT_EQ(parameter(commands[0], 1), 9.0F);
  EXPECT_EQ(parameter(commands[0], 2), 70.0F);
}

TEST(Program, PositionTakesNegativeNumbers) {
  FakeCamera camera({});
  const auto result =
      success(run_with_camera(camera.port(), "position 22.5 -114.0000001 -123.4 --json"));
  EXPECT_EQ(result["latitude_e7"], 225000000);
  EXPECT_EQ(result["longitude_e7"], -1140000001);
  EXPECT_EQ(result["altitude_tenths"], -1234);
  const auto places = camera.received(24);
  ASSERT_FALSE(places.empty());
  // 225000000 is 0x0D693A40, -1140000001 is 0xBC0CFAFF
  EXPECT_EQ(base::load_u32le(places[0].payload + 8), 0x0D693A40U);
  EXPECT_EQ(base::load_u32le(places[0].payload + 12), 0xBC0CFAFFU);
  EXPECT_FALSE(camera.received(141).empty());
}

TEST(Program, FramesComeFromOneSystemWithRunningNumbers) {
  FakeCamera camera({});
  run_with_camera(camera.port(), "--link-level 10 photo");
  const auto frames = camera.received();
  ASSERT_GE(frames.size(), 2U);
  for (size_t i = 0; i < frames.size(); i++) {
    EXPECT_EQ(frames[i].seq, i);
    EXPECT_EQ(frames[i].sysid >> 4, 0);
  }
  EXPECT_EQ(frames[0].msgid, 0);
  EXPECT_EQ(frames[0].len, 9);
  EXPECT_EQ(frames[0].payload[7], 0xA0);
}

}  // namespace
}  // namespace groundstation_test
