#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "groundstation/fake_camera.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(ShellProgram, LinesFromAPipeRunOnOneLink) {
  FakeCamera camera({});
  const ProgramResult result = run_with_camera(
      camera.port(), "shell", "# a comment\n\nphoto\nmode video\nrecord start\nrecord stop");
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("photo taken"));
  EXPECT_THAT(result.out, HasSubstr("video mode"));
  EXPECT_THAT(result.out, HasSubstr("recording\n"));
  EXPECT_THAT(result.out, HasSubstr("recording stopped"));
  EXPECT_EQ(camera.photos(), 1);
  const auto frames = camera.received();
  for (size_t i = 0; i < frames.size(); i++) EXPECT_EQ(frames[i].seq, i);
}

TEST(ShellProgram, HelpListsTheCommandsAndQuitEnds) {
  FakeCamera camera({});
  const ProgramResult result = run_with_camera(camera.port(), "shell", "help\nquit\nphoto\n");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("bitrate"));
  EXPECT_EQ(camera.photos(), 0);
}

TEST(ShellProgram, FailureDoesNotEndItButShowsInTheExitCode) {
  FakeCamera camera({});
  const ProgramResult refused = run_with_camera(camera.port(), "shell", "record stop\nphoto\n");
  EXPECT_EQ(refused.exit_code, 4);
  EXPECT_EQ(camera.photos(), 1);
  EXPECT_EQ(run_with_camera(camera.port(), "shell", "nonsense\n").exit_code, 2);
}

TEST(ShellProgram, ReportsThatNobodyWaitsForAreShown) {
  FakeCamera camera({.unasked_report = 1});
  const ProgramResult result =
      run_with_camera(camera.port(), "--json shell", "status --watch --seconds 0.5\n");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr(R"("command":"status","event":"camera_report","ok":true)"));
}

// The recording's report comes behind the acknowledgement that ends the command.
TEST(ShellProgram, WhatACommandHasDoneIsNotReportedOnceMore) {
  FakeCamera camera({.mode = 1});
  const ProgramResult result =
      run_with_camera(camera.port(), "--json shell", "record start\nstatus\nrecord stop\nstatus\n");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, Not(HasSubstr("event")));
}

TEST(ShellProgram, WrongWordsAreNamedWithTheNearestOne) {
  FakeCamera camera({});
  expect_failure(run_with_camera(camera.port(), "shell", "statsu\n"), 2,
                 "shell: there is no command statsu; did you mean status?\nTry \"help\".\n");
  const ProgramResult result =
      run_with_camera(camera.port(), "shell", "set white_balance Clody --json\n");
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.json()["command"], "set");
  EXPECT_EQ(result.json()["ok"], false);
  EXPECT_THAT(result.json()["error"], HasSubstr("did you mean Cloudy?"));
}

TEST(ShellProgram, HelpWorksForEveryCommand) {
  FakeCamera camera({});
  const ProgramResult result =
      run_with_camera(camera.port(), "shell", "help media get\nmedia get --help\nhelp\n");
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const size_t first = result.out.find("Usage: media get");
  ASSERT_NE(first, std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Usage: media get", first + 1), std::string::npos) << result.out;
}

// The same on a terminal of its own, which "script" provides.
ProgramResult run_on_terminal(FakeCamera& camera, const std::string& keys) {
  const std::string state = temporary_path("state");
  const ProgramResult result =
      run_with_camera(camera.port(), "shell' /dev/null", keys,
                      "XDG_STATE_HOME='" + state + "' TERM=dumb script -qefc '");
  std::filesystem::remove_all(state);
  return result;
}

TEST(ShellProgram, TabCompletesOnATerminal) {
  FakeCamera camera({.parameters = {{"ModelName", "FALK2"}}});
  const ProgramResult result =
      run_on_terminal(camera, "para\t\nset white_b\tClo\t\nget scene\t\nquit\n");
  EXPECT_EQ(result.exit_code, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("the Tab key completes"));
  EXPECT_THAT(result.out, HasSubstr("ModelName        FALK2"));
  EXPECT_THAT(result.out, HasSubstr("scene_white_balance is Cloudy"));
  EXPECT_THAT(result.out, HasSubstr("scene_white_balance Cloudy"));
}

TEST(ShellProgram, EndOfInputEndsItOnATerminal) {
  FakeCamera camera({});
  const ProgramResult result = run_on_terminal(camera, "nonsense\n");
  EXPECT_EQ(result.exit_code, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("camera> "));
}

// The end comes while the photo is on its way, and nobody but the terminal reads.
TEST(ShellProgram, EndOfInputDuringACommandEndsItBehindTheCommand) {
  FakeCamera camera({.lose_commands = 1});
  const ProgramResult result = run_on_terminal(camera, "photo\n");
  EXPECT_EQ(result.exit_code, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("photo taken"));
}

}  // namespace
}  // namespace groundstation_test
