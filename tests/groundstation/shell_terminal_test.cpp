// The shell on a terminal, as somebody types there.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "groundstation/fake_camera.h"
#include "groundstation/fake_media_camera.h"
#include "groundstation/run_program.h"
#include "groundstation/terminal_program.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kPrompt = "camera> ";
constexpr const char* kUp = "\x1b[A";
constexpr const char* kControlC = "\x03";
constexpr const char* kControlD = "\x04";

CameraScript with_parameter() { return {.parameters = {{"ModelName", "FALK2"}}}; }

// A shell whose history lies in a folder of its own.
class ShellTerminal : public ::testing::Test {
 protected:
  ~ShellTerminal() override { std::filesystem::remove_all(state_); }

  [[nodiscard]] std::string arguments(FakeCamera& camera) const {
    return fmt::format("--camera 127.0.0.1:{} --bind 127.0.0.1:0 shell", camera.port());
  }
  [[nodiscard]] std::string environment(const std::string& terminal = "xterm") const {
    return fmt::format("XDG_STATE_HOME='{}' TERM={} LANG=C.UTF-8", state_, terminal);
  }

  std::string state_ = temporary_path("state");
};

TEST_F(ShellTerminal, KeepsItsHistoryFromSessionToSession) {
  FakeCamera camera(with_parameter());
  {
    TerminalProgram shell(arguments(camera), environment());
    ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
    shell.type("params\r");
    ASSERT_TRUE(shell.shows("ModelName")) << shell.output();
    ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
    shell.type("quit\r");
    EXPECT_EQ(shell.ends(), 0);
  }
  TerminalProgram shell(arguments(camera), environment());
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type(std::string(kUp) + kUp + "\r");  // quit, then params
  EXPECT_TRUE(shell.shows("ModelName")) << shell.output();
  shell.type(kControlD);
  EXPECT_EQ(shell.ends(), 0);
}

TEST_F(ShellTerminal, WorksWithoutAPlaceForItsHistory) {
  FakeCamera camera(with_parameter());
  TerminalProgram shell(arguments(camera), "XDG_STATE_HOME=/proc TERM=xterm");
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type("params\r");
  EXPECT_TRUE(shell.shows("ModelName")) << shell.output();
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type("quit\r");
  EXPECT_EQ(shell.ends(), 0);
}

TEST_F(ShellTerminal, ControlCClearsTheLine) {
  FakeCamera camera(with_parameter());
  TerminalProgram shell(arguments(camera), environment());
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type("photo");
  ASSERT_TRUE(shell.shows("photo")) << shell.output();
  shell.type(kControlC);
  ASSERT_TRUE(shell.shows("^C")) << shell.output();
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type("params\r");
  EXPECT_TRUE(shell.shows("ModelName")) << shell.output();
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type("quit\r");
  EXPECT_EQ(shell.ends(), 0);
  EXPECT_EQ(camera.photos(), 0);
}

// The camera reports something again and again meanwhile.
TEST_F(ShellTerminal, ReportsLeaveTheTypedLineWhole) {
  CameraScript script = with_parameter();
  script.unasked_report = 1;
  FakeCamera camera(script);
  for (const char* terminal : {"xterm", "dumb"}) {
    TerminalProgram shell(arguments(camera), environment(terminal), 40);
    ASSERT_TRUE(shell.shows("photo taken")) << shell.output();
    for (const char key : std::string("params")) {
      shell.type(std::string(1, key));
      ASSERT_TRUE(shell.shows("photo taken")) << shell.output();
    }
    EXPECT_TRUE(shell.shows("camera> params")) << shell.output();
    shell.type("\r");
    EXPECT_TRUE(shell.shows("ModelName        FALK2")) << shell.output();
    ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
    shell.type("quit\r");
    EXPECT_EQ(shell.ends(), 0);
  }
}

TEST_F(ShellTerminal, TabKnowsTheFilesOnTheCard) {
  FakeCamera camera({});
  FakeMediaCamera card(
      {.photos = {{"20200101_120000PW01.JPG", "abc"}, {"20200101_130000AA.JPG", "d"}},
       .videos = {{"20200102_120000AB.MP4", "efgh"}}});
  TerminalProgram shell(arguments(camera), environment());
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type(fmt::format("media --port {} info 20200102\t", card.port()));
  // What is typed already is not drawn once more.
  ASSERT_TRUE(shell.shows("_120000AB.MP4 ")) << shell.output();
  shell.type("\r");
  EXPECT_TRUE(shell.shows("video, 4 bytes")) << shell.output();
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type(fmt::format("media --port {} info *PW*\t", card.port()));
  ASSERT_TRUE(shell.shows("20200101_120000PW01.JPG ")) << shell.output();
  shell.type("\r");
  EXPECT_TRUE(shell.shows("photo, 3 bytes")) << shell.output();
  shell.type("quit\r");
  EXPECT_EQ(shell.ends(), 0);
}

TEST_F(ShellTerminal, DoesNotReportItsOwnCommands) {
  FakeCamera camera({.mode = 1});
  TerminalProgram shell(arguments(camera), environment());
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  for (const char* line : {"record start", "status", "record stop", "photo", "set iso 400"}) {
    shell.type(std::string(line) + "\r");
    ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  }
  shell.type("quit\r");
  EXPECT_EQ(shell.ends(), 0);
  EXPECT_EQ(camera.photos(), 1);
  EXPECT_THAT(shell.output(), Not(HasSubstr("* ")));
}

TEST_F(ShellTerminal, AWrongWordIsNamedAndTheShellGoesOn) {
  FakeCamera camera(with_parameter());
  TerminalProgram shell(arguments(camera), environment());
  ASSERT_TRUE(shell.shows(kPrompt)) << shell.output();
  shell.type("parms\r");
  EXPECT_TRUE(shell.shows("there is no command parms; did you mean params?")) << shell.output();
  shell.type("help timelapse start\r");
  EXPECT_TRUE(shell.shows("Usage: timelapse start [OPTIONS]")) << shell.output();
  shell.type("quit\r");
  EXPECT_EQ(shell.ends(), 0);
}

}  // namespace
}  // namespace groundstation_test
