#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "groundstation/media_program.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;

TEST(MediaProgram, ListsBothKindsByName) {
  FakeMediaCamera camera(
      {.photos = {{"A.JPG", "a"}, {"D.JPG", "d"}}, .videos = {{"B.MP4", "b"}, {"C.MP4", "c"}}});
  const ProgramResult both = media(camera, "list");
  EXPECT_EQ(both.out, "A.JPG\nB.MP4\nC.MP4\nD.JPG\n");
  EXPECT_EQ(both.err, "2 photos, 2 videos\n");
  EXPECT_EQ(media(camera, "list photos").out, "A.JPG\nD.JPG\n");
  EXPECT_EQ(media(camera, "list videos").err, "2 videos\n");
}

TEST(MediaProgram, ListsInJson) {
  FakeMediaCamera camera(
      {.photos = {{"20200102_030405AB.JPG", "abc"}}, .videos = {{"B.MP4", "b"}}});
  const auto object = media(camera, "list --json").json();
  EXPECT_EQ(object["ok"], true);
  EXPECT_EQ(object["command"], "media list");
  EXPECT_EQ(object["photos"], 1);
  EXPECT_EQ(object["videos"], 1);
  EXPECT_EQ(object["files"], nlohmann::json::parse(R"([
      {"name": "20200102_030405AB.JPG", "kind": "photo", "date": "2020-01-02 03:04:05"},
      {"name": "B.MP4", "kind": "video"}])"));
  const auto videos = media(camera, "list videos --long --json").json();
  EXPECT_FALSE(videos.contains("photos"));
  EXPECT_EQ(videos["files"], nlohmann::json::parse(R"([
      {"name": "B.MP4", "kind": "video", "bytes": 1, "seconds": 2}])"));
}

TEST(MediaProgram, ListsSizeDateAndDuration) {
  FakeMediaCamera camera({.photos = {{"20200102_030405_PW03.JPG", std::string(1234, 'x')}},
                          .videos = {{"B.MP4", "b"}},
                          .seconds = "125"});
  const ProgramResult result = media(camera, "list --long");
  EXPECT_EQ(result.out,
            "        1234  2020-01-02 03:04:05        -  20200102_030405_PW03.JPG\n"
            "           1  -                       2:05  B.MP4\n");
  EXPECT_EQ(result.err, "1 photo, 1 video\n");
}

TEST(MediaProgram, EmptyListIsNoFailure) {
  FakeMediaCamera camera({});
  const ProgramResult result = media(camera, "list");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "0 photos, 0 videos\n");
}

TEST(MediaProgram, LongListUnderLossIsComplete) {
  MediaScript script{.loss = 0.1};
  for (int i = 0; i < 500; i++) script.photos[fmt::format("P{:03}.JPG", i)] = contents(5, 1);
  FakeMediaCamera camera(script);
  const auto object = media(camera, "--json list photos").json();
  ASSERT_EQ(object["files"].size(), 500U);
  EXPECT_EQ(object["files"][0]["name"], "P000.JPG");
  EXPECT_EQ(object["files"][499]["name"], "P499.JPG");
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
  EXPECT_EQ(media(camera, "get A.JPG B.JPG --from 1").exit_code, 2);
  EXPECT_EQ(media(camera, "get '*.JPG' --from 1").exit_code, 2);
  EXPECT_EQ(media(camera, "get ../A.JPG").exit_code, 2);
  EXPECT_EQ(media(camera, "play A.JPG -o x").exit_code, 2);
}

// A new file has no name for the camera until a list has been asked for.
TEST(MediaProgram, AFileThatIsNotKnownYetIsFoundByAList) {
  const MediaScript script{.photos = {{"A.JPG", "aa"}},
                           .videos = {{"B.MP4", "bb"}},
                           .knows_files = false,
                           .play = {std::string("\0\0\0\1\x67", 5)}};
  Folder folder;
  for (const std::string& command : {std::string("info A.JPG"), "get A.JPG -o " + (folder / "a"),
                                     "thumb B.MP4 -o " + (folder / "t"),
                                     "play B.MP4 -o " + (folder / "p"), std::string("rm A.JPG")}) {
    FakeMediaCamera camera(script);
    EXPECT_EQ(media(camera, command).exit_code, 0) << command;
    EXPECT_EQ(camera.lists(), 1) << command;
    EXPECT_EQ(media(camera, "info X.MP4").exit_code, 1);
    EXPECT_EQ(camera.lists(), 2) << command;
  }
  EXPECT_EQ(folder.files(), 3U);
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
  EXPECT_EQ(media(camera, "list photos").out, "B.JPG\n");
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

TEST(MediaProgram, PlaySumsUpMissingBytesInOneLine) {
  const std::string shifted = std::string(1, '\3').append(picture(9000));
  std::vector<std::string> pieces{kSets};
  for (int i = 0; i < 30; i++) {
    pieces.push_back(shifted.substr(0, 8181));
    pieces.push_back(shifted.substr(8181, 819));
  }
  FakeMediaCamera camera({.videos = {{"B.MP4", "b"}}, .play = pieces});
  Folder folder;
  const ProgramResult result = media(camera, "play B.MP4 --quiet -o " + (folder / "b.h264"));
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << result.out;
  EXPECT_THAT(result.out, HasSubstr("30 of the pictures lack their last byte"));
}

TEST(MediaProgram, APlaybackThatBreaksOffIs3) {
  FakeMediaCamera camera(
      {.videos = {{"B.MP4", "b"}}, .play = {kSets, picture(70)}, .breaks_off = true});
  Folder folder;
  const ProgramResult result = media(camera, "play B.MP4 -o " + (folder / "b.h264"));
  expect_failure(result, 3, "the playback broke off before its end");
  EXPECT_EQ(media(camera, "play B.MP4 --json -o " + (folder / "c.h264")).json()["ok"], false);
}

TEST(MediaProgram, AnEndWhoseNoticeIsLostIsAnEnd) {
  FakeMediaCamera camera(
      {.videos = {{"B.MP4", "b"}}, .play = {kSets, picture(70)}, .loses_end = true});
  Folder folder;
  const ProgramResult result = media(camera, "play B.MP4 --json -o " + (folder / "b.h264"));
  EXPECT_EQ(result.exit_code, 0) << result.out;
  EXPECT_EQ(result.json()["complete"], true);
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
