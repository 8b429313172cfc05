#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "groundstation/fake_media_camera.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::string contents(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

ProgramResult media(FakeMediaCamera& camera, const std::string& arguments,
                    const std::string& input = "", const std::string& before = "") {
  return run_program(fmt::format("--camera 127.0.0.1 --bind 127.0.0.1 media --port {} {}",
                                 camera.port(), arguments),
                     input, before);
}

// A folder of its own, gone at the end.
struct Folder {
  std::string path = temporary_path("folder");
  Folder() { fs::create_directories(path); }
  ~Folder() { fs::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  [[nodiscard]] std::string operator/(const std::string& name) const {
    return fmt::format("{}/{}", path, name);
  }
  [[nodiscard]] size_t files() const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(path), {}));
  }
};

TEST(MediaProgram, Lists) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "a"}}, .videos = {{"B.MP4", "b"}, {"C.MP4", "c"}}});
  EXPECT_EQ(media(camera, "list photos").out, "1 photos\nA.JPG\n");
  const auto object = media(camera, "list videos --json").json();
  EXPECT_EQ(object["files"], nlohmann::json({"B.MP4", "C.MP4"}));
}

TEST(MediaProgram, EmptyListIsNoFailure) {
  FakeMediaCamera camera({});
  const ProgramResult result = media(camera, "list photos");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.out, "0 photos\n");
}

TEST(MediaProgram, LongListUnderLossIsComplete) {
  MediaScript script{.loss = 0.1};
  for (int i = 0; i < 500; i++) script.photos[fmt::format("P{:03}.JPG", i)] = contents(5, 1);
  FakeMediaCamera camera(script);
  const auto object = media(camera, "--json list photos").json();
  ASSERT_EQ(object["files"].size(), 500U);
  EXPECT_EQ(object["files"][0], "P000.JPG");
  EXPECT_EQ(object["files"][499], "P499.JPG");
}

TEST(MediaProgram, Info) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "abc"}}, .videos = {{"B.MP4", contents(1000, 1)}}});
  EXPECT_EQ(media(camera, "info A.JPG").out, "A.JPG: photo, 3 bytes\n");
  EXPECT_EQ(media(camera, "info B.MP4").out, "B.MP4: video, 1000 bytes, 2 s\n");
  expect_failure(media(camera, "info X.MP4"), 1, "has no file X.MP4");
}

TEST(MediaProgram, WrongUsageIs2) {
  FakeMediaCamera camera({});
  EXPECT_EQ(media(camera, "").exit_code, 2);
  EXPECT_EQ(media(camera, "get").exit_code, 2);
  EXPECT_EQ(media(camera, "get A.TXT").exit_code, 2);
  EXPECT_EQ(media(camera, "get A.JPG --all").exit_code, 2);
  EXPECT_EQ(media(camera, "get ../A.JPG").exit_code, 2);
  EXPECT_EQ(media(camera, "play A.JPG -o x").exit_code, 2);
}

TEST(MediaProgram, SilentCameraIs3) {
  FakeMediaCamera camera({.silent = true});
  Folder folder;
  for (const std::string& command :
       {std::string("list photos"), std::string("info A.JPG"), "get A.JPG -o " + (folder / "a"),
        std::string("rm A.JPG"), std::string("cancel"), "play A.MP4 -o " + (folder / "p")}) {
    const ProgramResult result = media(camera, command + " --timeout 0.3");
    EXPECT_EQ(result.exit_code, 3) << command;
    EXPECT_THAT(result.err, HasSubstr("no answer on the media channel"));
  }
  EXPECT_EQ(folder.files(), 0U);
}

TEST(MediaProgram, GetAtEveryBoundary) {
  Folder folder;
  for (const size_t size : {0, 1, 8180, 8181, 8182, 16362}) {
    for (const size_t from : {size_t{0}, size_t{1}, size - (size > 0), size, size + 1}) {
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

TEST(MediaProgram, AFileThatCannotBeWrittenIs1) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "new"}}});
  expect_failure(media(camera, "get A.JPG -o /nowhere/A.JPG"), 1, "cannot write /nowhere/A.JPG");
}

TEST(MediaProgram, InterruptLeavesNothingAndCancels) {
  FakeMediaCamera camera({.videos = {{"B.MP4", std::string(400'000'000, 'x')}}});
  Folder folder;
  const ProgramResult result =
      media(camera, "get B.MP4 -o " + folder.path, "", "timeout --preserve-status -s INT 0.3");
  EXPECT_EQ(result.exit_code, 130);
  EXPECT_EQ(folder.files(), 0U) << result.out;
  EXPECT_GE(camera.count(4), 1);
}

TEST(MediaProgram, Thumbnails) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "a"}},
                          .videos = {{"B.MP4", "b"}, {"C.MP4", "c"}},
                          .bad_thumbnails = {"C.MP4"}});
  Folder folder;
  EXPECT_EQ(media(camera, "thumb A.JPG -o " + folder.path).exit_code, 0);
  EXPECT_EQ(media(camera, "thumb B.MP4 -o " + folder.path).exit_code, 0);
  EXPECT_EQ(read_file(folder / "A_p.JPG"), "small A.JPG");
  EXPECT_EQ(read_file(folder / "B_v.JPG"), "small B.MP4");
  expect_failure(media(camera, "thumb C.MP4 -o " + folder.path), 1, "cannot make a thumbnail");
  EXPECT_EQ(media(camera, "thumb X.MP4 -o " + folder.path).exit_code, 1);
}

TEST(MediaProgram, ThumbnailUnderLoss) {
  Folder folder;
  for (uint32_t seed = 1; seed <= 3; seed++) {
    FakeMediaCamera camera({.videos = {{"B.MP4", "b"}}, .loss = 0.2, .seed = seed});
    ASSERT_EQ(media(camera, "thumb B.MP4 --force -o " + folder.path).exit_code, 0) << seed;
    EXPECT_EQ(read_file(folder / "B_v.JPG"), "small B.MP4");
  }
}

TEST(MediaProgram, Remove) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "a"}, {"B.JPG", "b"}}});
  EXPECT_EQ(media(camera, "rm A.JPG").out, "A.JPG is deleted\n");
  EXPECT_EQ(media(camera, "rm A.JPG").exit_code, 1);
  EXPECT_EQ(media(camera, "list photos").out, "1 photos\nB.JPG\n");
}

TEST(MediaProgram, RemoveUnderLoss) {
  for (uint32_t seed = 1; seed <= 3; seed++) {
    FakeMediaCamera camera({.photos = {{"A.JPG", "a"}}, .loss = 0.2, .seed = seed});
    EXPECT_EQ(media(camera, "rm A.JPG").exit_code, 0) << seed;
  }
}

TEST(MediaProgram, ACameraThatDoesNotDeleteIs1) {
  FakeMediaCamera camera({.photos = {{"A.JPG", "a"}}, .keeps_files = true});
  expect_failure(media(camera, "rm A.JPG"), 1, "does not delete A.JPG");
}

TEST(MediaProgram, CancelWithNothingRunning) {
  FakeMediaCamera camera({});
  const ProgramResult result = media(camera, "cancel");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("no download ran"));
  EXPECT_EQ(camera.count(4), 1);
}

const std::string kSets("\0\0\0\1\x67\1\0\0\0\1\x68\1", 12);

std::string picture(size_t size) {
  std::string bytes(size, 'x');
  const uint8_t head[] = {0, 0, 0, 1, 0x41};
  std::copy(std::begin(head), std::end(head), bytes.begin());
  return bytes;
}

TEST(MediaProgram, PlayUndoesTheShift) {
  const std::string shifted = std::string(1, '\3').append(picture(9000));
  FakeMediaCamera camera({.videos = {{"B.MP4", "b"}},
                          .play = {kSets, picture(8181), shifted.substr(0, 8181),
                                   shifted.substr(8181, 819), picture(70)}});
  Folder folder;
  const ProgramResult result =
      media(camera, "play B.MP4 --json --from 12.5 -o " + (folder / "b.h264"));
  ASSERT_EQ(result.exit_code, 0) << result.err;
  EXPECT_TRUE(
      read_file(folder / "b.h264") ==
      std::string(kSets).append(picture(8181)).append(picture(9000), 0, 8999).append(picture(70)));
  const auto object = result.json();
  EXPECT_EQ(object["pictures"], 3);
  EXPECT_EQ(object["complete"], true);
  EXPECT_EQ(object["missing_last_bytes"], nlohmann::json::parse(R"([{"at":17192,"picture":2}])"));
  const auto requests = camera.requests();
  EXPECT_EQ(requests.back(), (std::pair<int, std::string>{5, "12500"}));
}

TEST(MediaProgram, PlayKeys) {
  FakeMediaCamera camera({.videos = {{"B.MP4", contents(1000, 6)}},
                          .play = std::vector<std::string>(400, kSets),
                          .play_pause_us = 2000,
                          .seconds = "100"});
  Folder folder;
  const std::string command = fmt::format(
      "(sleep 0.2; printf p; sleep 0.2; printf r; sleep 0.1; printf 5; sleep 0.1; printf q) | "
      "\"{}/groundstation\" --camera 127.0.0.1 --bind 127.0.0.1 media --port {} play B.MP4 --keys "
      "-o {} >/dev/null",
      BIN_DIR, camera.port(), folder / "b.h264");
  EXPECT_EQ(std::system(command.c_str()), 0);
  const auto requests = camera.requests();
  std::vector<std::pair<int, std::string>> keys;
  for (const auto& request : requests) {
    if (request.first >= 6 || request.first == 4) keys.push_back(request);
  }
  const std::vector<std::pair<int, std::string>> expected{
      {7, "0"}, {6, "0"}, {8, "50000"}, {4, "0"}};
  EXPECT_EQ(keys, expected);
}

TEST(MediaProgram, PlayOfWhatCannotBePlayedIs3) {
  FakeMediaCamera camera({.videos = {{"B.MP4", "b"}}});
  Folder folder;
  std::ofstream(folder / "old") << "old";
  EXPECT_EQ(media(camera, "play B.MP4 -o " + (folder / "old")).exit_code, 1);
  EXPECT_EQ(read_file(folder / "old"), "old");
  FakeMediaCamera other({.videos = {{"C.MP4", "c"}}});
  EXPECT_EQ(media(other, "play B.MP4 -o " + (folder / "new")).exit_code, 1);
  EXPECT_EQ(folder.files(), 1U);
}

}  // namespace
}  // namespace groundstation_test
