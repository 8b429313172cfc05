#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <future>
#include <sstream>

#include "groundstation/media_program.h"
#include "support/patience.h"

namespace groundstation_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

TEST(MediaProgram, GetAtEveryBoundary) {
  Folder folder;
  for (const size_t size : {0, 1, 8180, 8181, 8182, 16362}) {
    for (const size_t from : {size_t{0}, std::min<size_t>(size, 1), size - (size > 0), size}) {
      const std::string file = contents(size, 2);
      FakeMediaCamera camera({.photos = {{"A.JPG", file}}});
      const std::string path = folder / fmt::format("{}-{}", size, from);
      const ProgramResult result =
          media(camera, fmt::format("get A.JPG --force --from {} -o {}", from, path));
      ASSERT_EQ(result.exit_code, 0) << result.err;
      ASSERT_EQ(read_file(path), from < size ? file.substr(from) : "") << size << " " << from;
      EXPECT_TRUE(fs::exists(path));
    }
  }
}

TEST(MediaProgram, AnAbsurdOffsetIsRefused) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "abc"}}});
  Folder folder;
  for (const char* offset : {"-1", "-9223372036854775808", "18446744073709551615", "1e3", "0x1"}) {
    const ProgramResult result =
        media(camera, fmt::format("get A.JPG --from {} -o {}", offset, folder / "a"));
    EXPECT_EQ(result.exit_code, 2) << offset;
    EXPECT_THAT(result.out + result.err, HasSubstr("is no offset in a file")) << offset;
  }
  for (const char* offset : {"4", "9223372036854775807"}) {
    expect_failure(media(camera, fmt::format("get A.JPG --from {} -o {}", offset, folder / "a")), 1,
                   "A.JPG has only 3 bytes");
  }
  // What looks octal is not.
  EXPECT_EQ(media(camera, "get A.JPG --from 02 -o " + (folder / "a")).exit_code, 0);
  EXPECT_EQ(read_file(folder / "a"), "c");
  EXPECT_EQ(folder.files(), 1U);
}

TEST(MediaProgram, GetsSeveralByNameAndPattern) {
  FakeMediaCamera camera(
      {.photos = {{"1_PW01.JPG", "one"}, {"2_PW02.JPG", "two"}, {"3_PH03.JPG", "3"}},
       .videos = {{"4_PW.MP4", "four"}, {"5.MP4", "five"}}});
  Folder folder;
  const ProgramResult result =
      media(camera, "get '*PW*' 5.MP4 1_PW01.JPG -o " + (folder / "new/er"));
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("\n4 files: 0.0 MB in "));
  EXPECT_EQ(read_file(folder / "new/er/1_PW01.JPG"), "one");
  EXPECT_EQ(read_file(folder / "new/er/2_PW02.JPG"), "two");
  EXPECT_EQ(read_file(folder / "new/er/4_PW.MP4"), "four");
  EXPECT_EQ(read_file(folder / "new/er/5.MP4"), "five");
  EXPECT_FALSE(fs::exists(folder / "new/er/3_PH03.JPG"));
}

TEST(MediaProgram, EveryFileOfSeveralIsAnObject) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "aa"}, {"B.JPG", "bb"}}});
  Folder folder;
  std::ofstream(folder / "A.JPG") << "xx";
  const ProgramResult result = media(camera, "--json get '*' C.JPG -o " + folder.path);
  EXPECT_EQ(result.exit_code, 1);
  std::vector<nlohmann::json> objects;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    objects.push_back(nlohmann::json::parse(line, nullptr, false));
    EXPECT_EQ(objects.back()["command"], "media get") << line;
  }
  ASSERT_EQ(objects.size(), 4U) << result.out;
  EXPECT_EQ(objects[0]["ok"], false);
  EXPECT_EQ(objects[0]["name"], "C.JPG");
  EXPECT_EQ(objects[1]["here"], true);
  EXPECT_EQ(objects[1]["name"], "A.JPG");
  EXPECT_EQ(objects[2]["file"], folder / "B.JPG");
  EXPECT_EQ(objects[3]["ok"], false);
  EXPECT_EQ(objects[3]["files"], 3);
  EXPECT_EQ(objects[3]["fetched"], 1);
  EXPECT_EQ(objects[3]["here"], 1);
  EXPECT_EQ(objects[3]["failures"], 1);
}

TEST(MediaProgram, APatternThatNothingMatchesIs1AndLeavesNoFolder) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "a"}}});
  Folder folder;
  expect_failure(media(camera, "get '*PX*' -o " + (folder / "new")), 1,
                 "nothing on the card matches *PX*");
  EXPECT_EQ(folder.files(), 0U);
}

TEST(MediaProgram, OneStreamWithoutLoss) {
  const std::string file = contents(8'000'000, 3);
  FakeMediaCamera camera({.videos = {{"B.MP4", file}}});
  Folder folder;
  const ProgramResult result = media(camera, "get B.MP4 --json -o " + folder.path, "", "");
  ASSERT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(read_file(folder / "B.MP4"), file);
  EXPECT_EQ(folder.files(), 1U);
  EXPECT_EQ(result.json()["streams"], 1);
  EXPECT_EQ(result.json()["lossless"], true);
  EXPECT_EQ(camera.count(1), 1);
}

TEST(MediaProgram, GetUnderLossIsByteIdentical) {
  Folder folder;
  for (const double loss : {0.05, 0.2}) {
    const std::string file = contents(loss > 0.1 ? 1'000'000 : 8'000'000, 4);
    FakeMediaCamera camera({.videos = {{"B.MP4", file}}, .loss = loss});
    const std::string path = folder / fmt::format("{}", loss);
    const ProgramResult result = media(camera, "get B.MP4 --json -o " + path);
    ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
    ASSERT_TRUE(read_file(path) == file) << loss;
    EXPECT_EQ(result.json()["lossless"], false);
  }
}

TEST(MediaProgram, GetAllUnderLoss) {
  MediaScript script{.loss = 0.05, .seed = 9};
  for (uint32_t i = 0; i < 8; i++) {
    script.photos[fmt::format("P{}.JPG", i)] = contents(50'000 * i, i);
    script.videos[fmt::format("V{}.MP4", i)] = contents(300'000 * i + 5, 100 + i);
  }
  FakeMediaCamera camera(script);
  Folder folder;
  const ProgramResult result = media(camera, "get --all --quiet -o " + folder.path);
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  EXPECT_THAT(result.out, HasSubstr("all 16 files"));
  for (const auto& files : {script.photos, script.videos}) {
    for (const auto& [name, bytes] : files) EXPECT_TRUE(read_file(folder / name) == bytes) << name;
  }
  EXPECT_EQ(folder.files(), 16U);
  // Once more: everything is there.
  const int downloads = camera.count(1);
  EXPECT_EQ(media(camera, "get --all -o " + folder.path).exit_code, 0);
  EXPECT_EQ(camera.count(1), downloads);
}

TEST(MediaProgram, GetAllKeepsAnotherFileOfThatName) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "aa"}, {"B.JPG", "bb"}, {"-x y.JPG", "cc"}}});
  Folder folder;
  std::ofstream(folder / "A.JPG") << "mine";
  expect_failure(media(camera, "get --all -o " + folder.path), 1, "2 of 3 files");
  EXPECT_EQ(read_file(folder / "A.JPG"), "mine");
  EXPECT_EQ(read_file(folder / "B.JPG"), "bb");
}

TEST(MediaProgram, AFileThatIsThereIsKept) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "new"}}});
  Folder folder;
  std::ofstream(folder / "A.JPG") << "old";
  expect_failure(media(camera, "get A.JPG -o " + folder.path), 1, "exists already");
  EXPECT_EQ(read_file(folder / "A.JPG"), "old");
  EXPECT_EQ(media(camera, "get A.JPG --force -o " + folder.path).exit_code, 0);
  EXPECT_EQ(read_file(folder / "A.JPG"), "new");
  EXPECT_EQ(folder.files(), 1U);
}

// A download takes the place of a file by its name, which would make a file of a device.
TEST(MediaProgram, OnlyFilesAreReplaced) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "new"}}});
  Folder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  expect_failure(media(camera, "get A.JPG --force -o " + (folder / "pipe")), 1,
                 "pipe is no ordinary file");
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
}

TEST(MediaProgram, AFileThatCannotBeWrittenIs1) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "new"}}});
  expect_failure(media(camera, "get A.JPG -o /nowhere/A.JPG"), 1, "cannot write /nowhere/A.JPG");
}

// Ctrl-C once the camera has been asked for the file.
TEST(MediaProgram, InterruptLeavesNothingAndCancels) {
  FakeMediaCamera camera({.videos = {{"B.MP4", std::string(400'000'000, 'x')}}});
  Folder folder;
  const OwnPath pid("pid");
  const std::string told = "sh -c 'echo $$ >" + pid.path + "; exec \"$@\"' sh";
  std::future<ProgramResult> program = std::async(
      std::launch::async, [&] { return media(camera, "get B.MP4 -o " + folder.path, "", told); });
  while (camera.count(1) == 0 &&
         program.wait_for(std::chrono::milliseconds(5)) == std::future_status::timeout) {
  }
  ASSERT_GT(camera.count(1), 0) << program.get().err;
  ::kill(std::stoi(read_file(pid.path)), SIGINT);
  const ProgramResult result = program.get();
  EXPECT_EQ(result.exit_code, 130) << result.out << result.err;
  EXPECT_EQ(folder.files(), 0U) << result.out;
  EXPECT_TRUE(support::poll_until([&] { return camera.count(4) > 0; }, support::seconds(20)));
}

}  // namespace
}  // namespace groundstation_test
