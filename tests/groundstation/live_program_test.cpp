#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "groundstation/fake_camera.h"
#include "groundstation/live/sample_stream.h"
#include "groundstation/run_program.h"
#include "support/loopback.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;

std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::vector<Bytes> cut(const std::string& stream, size_t size) {
  std::vector<Bytes> pieces;
  for (size_t at = 0; at < stream.size(); at += size) {
    const std::string piece = stream.substr(at, size);
    pieces.emplace_back(piece.begin(), piece.end());
  }
  return pieces;
}

TEST(LiveProgram, WritesWholePicturesFromTheFirstKeyPictureOn) {
  const uint16_t port = free_port();
  const Bytes cycle = join({kPicture5, kSps, kPps, kKey, kPicture1, kPicture2, kPicture3});
  FakeCamera camera({.live_port = port, .live = cut(text_of(cycle), 7)});
  const std::string file = temporary_path("live.h264");
  const ProgramResult result = run_with_camera(
      camera.port(), fmt::format("live --json --seconds 1 --port {} -o {}", port, file));
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  const std::string written = read_file(file);
  // The camera sends the cycle again and again, and its first picture is left out once.
  std::string expected = text_of(cycle).substr(kPicture5.size());
  while (expected.size() < written.size()) expected += text_of(cycle);
  EXPECT_EQ(written, expected.substr(0, written.size()));
  const std::string rest = expected.substr(written.size(), 4);
  EXPECT_TRUE(rest.empty() || rest == std::string({0, 0, 0, 1}));
  const auto object = result.json();
  EXPECT_EQ(object["bytes_written"], written.size());
  EXPECT_GT(object["datagrams"], 100);
  EXPECT_GT(object["mbit_per_s"], 0.0);
  // Picture 5 behind picture 3 lacks one, in every cycle.
  EXPECT_GT(object["gaps"], 5);
  std::filesystem::remove(file);
}

// A camera that sends a small stream; so many datagrams, or without end.
struct StreamingCamera {
  uint16_t port = free_port();
  FakeCamera camera;
  explicit StreamingCamera(int datagrams = -1)
      : camera({.live_port = port,
                .live = cut(text_of(join({kSps, kPps, kKey, kPicture1})), 9),
                .live_count = datagrams}) {}
  ProgramResult live(const std::string& arguments, const std::string& before = "") {
    return run_with_camera(camera.port(), fmt::format("live --port {} {}", port, arguments), "",
                           before);
  }
};

// The only program of that name that the ground station finds; "" as a script: there is none.
struct PlayerFolder : OwnPath {
  explicit PlayerFolder(const std::string& name = "", const std::string& script = "")
      : OwnPath("bin") {
    std::filesystem::create_directories(path);
    if (name.empty()) return;
    const std::string file = path + "/" + name;
    std::ofstream(file) << "#!/bin/sh\nPATH=/usr/bin:/bin\n" << script;
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  }
  [[nodiscard]] std::string before() const { return "env PATH=" + path; }
};

TEST(LiveProgram, AStreamThatStandsStillAtTheEndIs3) {
  StreamingCamera source(100);
  const ProgramResult result = source.live("--json --seconds 2");
  EXPECT_EQ(result.exit_code, 3) << result.out << result.err;
  const auto object = result.json();
  EXPECT_EQ(object["ok"], false);
  EXPECT_EQ(object["command"], "live");
  EXPECT_EQ(object["exit_code"], 3);
  EXPECT_EQ(object["stalled"], true);
  EXPECT_GE(object["stalls"], 1);
  EXPECT_GT(object["longest_pause_ms"], 500.0);
  EXPECT_GT(object["pictures"], 5);
}

TEST(LiveProgram, AStreamThatStandsStillIsToldInWords) {
  StreamingCamera source(100);
  OwnPath file("live.h264");
  const ProgramResult result = source.live("--seconds 2 -o " + file.path);
  expect_failure(result, 3, "no live video came in the last ");
  EXPECT_THAT(result.out, HasSubstr(" 1 stalls"));
  // What came before is kept.
  EXPECT_GT(read_file(file.path).size(), 100U);
}

TEST(LiveProgram, FiguresComeAsObjectsEveryInterval) {
  StreamingCamera source;
  const ProgramResult result = source.live("--json --seconds 1.5 --interval 0.25");
  ASSERT_EQ(result.exit_code, 0) << result.err;
  std::istringstream lines(result.out);
  std::string line;
  size_t flowing = 0;
  double seconds = -1;
  while (std::getline(lines, line)) {
    const auto object = nlohmann::json::parse(line, nullptr, false);
    ASSERT_TRUE(object.is_object()) << line;
    EXPECT_EQ(object["command"], "live");
    EXPECT_TRUE(object["ok"].is_boolean());
    EXPECT_GE(object["seconds"], seconds);
    seconds = object["seconds"];
    if (object.contains("event") && object["ok"] == true) flowing++;
  }
  EXPECT_GE(flowing, 3U) << result.out;
  EXPECT_FALSE(result.json().contains("event"));
  EXPECT_EQ(result.json()["ok"], true);
}

TEST(LiveProgram, AFileThatIsThereIsKeptUnlessForced) {
  StreamingCamera source;
  OwnPath file("live.h264");
  std::ofstream(file.path) << "mine";
  const ProgramResult kept = source.live("--seconds 0.5 -o " + file.path);
  expect_failure(kept, 1, "exists already (--force replaces it)");
  EXPECT_EQ(read_file(file.path), "mine");
  EXPECT_EQ(source.live("--seconds 0.5 --force -o " + file.path).exit_code, 0);
  EXPECT_EQ(read_file(file.path).substr(0, kSps.size()), text_of(kSps));
}

TEST(LiveProgram, WithoutAPictureNoFileIsMadeAndNoneIsLost) {
  StreamingCamera source(0);
  OwnPath file("live.h264");
  EXPECT_EQ(source.live("--timeout 0.5 -o " + file.path).exit_code, 3);
  EXPECT_FALSE(std::filesystem::exists(file.path));
  std::ofstream(file.path) << "mine";
  EXPECT_EQ(source.live("--timeout 0.5 --force -o " + file.path).exit_code, 3);
  EXPECT_EQ(read_file(file.path), "mine");
}

TEST(LiveProgram, APipeThatNobodyReadsIs1) {
  StreamingCamera source;
  OwnPath pipe("pipe");
  ASSERT_EQ(::mkfifo(pipe.path.c_str(), 0600), 0);
  expect_failure(source.live("--seconds 0.5 -o " + pipe.path), 1, "nobody reads the pipe");
}

TEST(LiveProgram, APortThatIsTakenIs3) {
  StreamingCamera source;
  const base::Descriptor taken = support::open_loopback(&source.port);
  expect_failure(source.live("--seconds 0.5"), 3, "another program here receives it");
}

TEST(LiveProgram, PlaysInFfplayOrMpv) {
  for (const char* name : {"ffplay", "mpv"}) {
    StreamingCamera source;
    OwnPath shown("shown");
    const PlayerFolder player(name, fmt::format("exec cat >{}\n", shown.path));
    const ProgramResult result = source.live("--json --seconds 0.5 --play", player.before());
    ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
    const std::string video = read_file(shown.path);
    EXPECT_EQ(video.substr(0, kSps.size()), text_of(kSps));
    EXPECT_EQ(video.size(), result.json()["bytes_written"]);
    EXPECT_EQ(result.json()["not_shown"], 0);
  }
}

TEST(LiveProgram, WithoutAPlayerItSaysWhatToInstall) {
  StreamingCamera source;
  expect_failure(source.live("--seconds 0.5 --play", PlayerFolder().before()), 1,
                 "neither ffplay nor mpv is installed");
  EXPECT_FALSE(source.camera.stream_on());
}

TEST(LiveProgram, ClosingThePlayerEndsItInOrder) {
  StreamingCamera source;
  const PlayerFolder player("ffplay", "head -c 60 >/dev/null\nexit 0\n");
  const ProgramResult result = source.live("--json --play", player.before());
  EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
  EXPECT_FALSE(source.camera.stream_on());
}

TEST(LiveProgram, APlayerThatFailsIs1) {
  StreamingCamera source;
  const PlayerFolder player("ffplay", "exit 3\n");
  expect_failure(source.live("--play", player.before()), 1, "ffplay ended with status 3");
}

// It neither holds up the recording nor outlives the command.
TEST(LiveProgram, APlayerThatIsTooSlowMissesPictures) {
  const uint16_t port = free_port();
  const Bytes large = join({kPicture1, Bytes(60'000, 0xFF)});
  FakeCamera camera({.live_port = port, .live = {join({kSps, kPps, kKey}), large, large, large}});
  OwnPath pid("pid");
  const PlayerFolder player("ffplay", fmt::format("echo $$ >{}\nexec sleep 1000\n", pid.path));
  const ProgramResult result = run_with_camera(
      camera.port(), fmt::format("live --seconds 2 --play --port {}", port), "", player.before());
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("pictures not shown since ffplay is too slow"));
  EXPECT_NE(::kill(std::stoi(read_file(pid.path)), 0), 0);
}

TEST(LiveProgram, SwitchesTheStreamOnAndOffAgain) {
  const uint16_t port = free_port();
  FakeCamera camera(
      {.live_port = port, .live = cut(text_of(join({kSps, kPps, kKey, kPicture1})), 9)});
  EXPECT_EQ(
      run_with_camera(camera.port(), fmt::format("live --seconds 0.5 --port {}", port)).exit_code,
      0);
  EXPECT_FALSE(camera.stream_on());
  EXPECT_EQ(camera.link_status(), 0);
  const auto switches = camera.received(67);
  ASSERT_GE(switches.size(), 2U);
  EXPECT_EQ(switches.front().payload[3], 1);
  EXPECT_EQ(switches.back().payload[3], 0);
}

TEST(LiveProgram, ShowsProgressAsLinesUnlessQuiet) {
  const uint16_t port = free_port();
  FakeCamera camera(
      {.live_port = port, .live = cut(text_of(join({kSps, kPps, kKey, kPicture1})), 9)});
  const std::string arguments = fmt::format("live --seconds 1.3 --port {}", port);
  const ProgramResult shown = run_with_camera(camera.port(), arguments);
  EXPECT_THAT(shown.err, testing::AllOf(HasSubstr("Mbit/s"), HasSubstr("0 stalls")));
  EXPECT_THAT(shown.out, HasSubstr("live video: 1.3 s"));
  const ProgramResult quiet = run_with_camera(camera.port(), arguments + " --quiet");
  EXPECT_EQ(std::count(quiet.out.begin(), quiet.out.end(), '\n'), 1);
  EXPECT_EQ(quiet.err, "");
}

TEST(LiveProgram, StandardOutputCarriesOnlyVideo) {
  const uint16_t port = free_port();
  FakeCamera camera(
      {.live_port = port, .live = cut(text_of(join({kSps, kPps, kKey, kPicture1})), 9)});
  const ProgramResult result =
      run_with_camera(camera.port(), fmt::format("live --seconds 0.5 --port {} -o -", port));
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.out.substr(0, kSps.size()), text_of(kSps));
  EXPECT_EQ(result.out.find("live video"), std::string::npos);
  EXPECT_THAT(result.err, HasSubstr("live video: "));
}

TEST(LiveProgram, InterruptEndsItInOrder) {
  const uint16_t port = free_port();
  FakeCamera camera(
      {.live_port = port, .live = cut(text_of(join({kSps, kPps, kKey, kPicture1})), 9)});
  const ProgramResult result = run_with_camera(
      camera.port(), fmt::format("live --json --port {}", port), "", "timeout -s INT 1.5");
  EXPECT_EQ(result.json()["ok"], true) << result.out << result.err;
  EXPECT_FALSE(camera.stream_on());
}

TEST(LiveProgram, NoVideoIs3AndSwitchesOff) {
  const uint16_t port = free_port();
  FakeCamera camera({.live_port = port});
  expect_failure(
      run_with_camera(camera.port(), fmt::format("live --seconds 1 --port {} --timeout 0.7", port)),
      3, "no live video came");
  EXPECT_FALSE(camera.stream_on());
}

TEST(LiveProgram, NoKeyPictureIs3) {
  const uint16_t port = free_port();
  FakeCamera camera({.live_port = port, .live = {kPicture1, kPicture2}});
  expect_failure(
      run_with_camera(camera.port(), fmt::format("live --seconds 1 --port {} --timeout 0.7", port)),
      3, "no key picture");
}

TEST(LiveProgram, FileThatCannotBeWrittenIs1) {
  FakeCamera camera({});
  expect_failure(
      run_with_camera(camera.port(),
                      fmt::format("live --seconds 1 --port {} -o /nowhere/a.h264", free_port())),
      1, "cannot write /nowhere/a.h264");
}

TEST(LiveProgram, FullDiskIs1) {
  const uint16_t port = free_port();
  FakeCamera camera(
      {.live_port = port, .live = cut(text_of(join({kSps, kPps, kKey, kPicture1})), 9)});
  expect_failure(run_with_camera(camera.port(),
                                 fmt::format("live --seconds 0.5 --port {} -o /dev/full", port)),
                 1, "cannot write /dev/full: No space left");
}

// A real encoder's stream, joined in the middle and left in the middle, decodes without a word.
TEST(LiveProgram, RecordingOfARealStreamDecodesWithoutError) {
  const std::string source = temporary_path("source.h264");
  const std::string make =
      "ffmpeg -v error -y -f lavfi -i testsrc2=size=640x360:rate=30:duration=4 -c:v libx264 "
      "-preset ultrafast -g 15 -b:v 4M " +
      source;
  ASSERT_EQ(std::system(make.c_str()), 0);
  const std::string stream = read_file(source);
  const uint16_t port = free_port();
  FakeCamera camera(
      {.live_port = port, .live = cut(stream.substr(50'000) + stream.substr(0, 50'000), 3001)});
  const std::string file = temporary_path("real.h264");
  const ProgramResult result = run_with_camera(
      camera.port(), fmt::format("live --json --seconds 1 --port {} -o {}", port, file));
  ASSERT_EQ(result.exit_code, 0) << result.err;
  const std::string log = temporary_path("log");
  const std::string judge =
      "ffmpeg -v warning -xerror -i " + file + " -f null - >" + log + " 2>&1 </dev/null";
  EXPECT_EQ(std::system(judge.c_str()), 0);
  EXPECT_EQ(read_file(log), "");
  EXPECT_EQ(result.json()["gaps"], 0);
  EXPECT_GT(result.json()["pictures"], 10);
  for (const std::string& path : {source, file, log}) std::filesystem::remove(path);
}

}  // namespace
}  // namespace groundstation_test
