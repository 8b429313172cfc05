#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "groundstation/fake_camera.h"
#include "groundstation/live/sample_stream.h"
#include "groundstation/run_program.h"

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
  EXPECT_THAT(run_with_camera(camera.port(), arguments).out,
              testing::AllOf(HasSubstr("Mbit/s"), HasSubstr("0 stalls\n")));
  const std::string quiet = run_with_camera(camera.port(), arguments + " --quiet").out;
  EXPECT_EQ(std::count(quiet.begin(), quiet.end(), '\n'), 1);
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
