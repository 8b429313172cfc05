// photo and record stop: the name of what they have made.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "groundstation/fake_camera.h"
#include "groundstation/fake_media_camera.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;

// A card that has a new file once something has been taken. One of its photos has a later date than
// the new one: the camera's clock may have been set back.
MediaScript with_later(const std::string& name, const std::string& bytes) {
  return {.photos = {{"20200101_000000AB.JPG", "old"}, {"20300101_000000AB.JPG", "later date"}},
          .videos = {{"20200101_000000AB.MP4", "old"}},
          .knows_files = false,
          .later = {{name, bytes}}};
}

struct BothCameras {
  FakeMediaCamera media;
  FakeCamera camera;
  BothCameras(CameraScript script, const MediaScript& media_script)
      : media(media_script), camera(with_hook(script)) {}
  const CameraScript& with_hook(CameraScript& script) {
    script.on_new_file = [this] { media.appear(); };
    return script;
  }
  ProgramResult run(const std::string& arguments) {
    return run_with_camera(camera.port(),
                           fmt::format("{} --media-port {}", arguments, media.port()));
  }
};

const std::string kNewPhoto = "20200102_030405_PW03.JPG";
const std::string kNewVideo = "20200102_030405AB.MP4";

TEST(NewFile, PhotoTellsItsName) {
  BothCameras both({}, with_later(kNewPhoto, "new"));
  const ProgramResult text = both.run("photo");
  EXPECT_EQ(text.exit_code, 0) << text.err;
  EXPECT_THAT(text.out, HasSubstr(": " + kNewPhoto + "\n"));
}

TEST(NewFile, PhotoTellsItsNameInJson) {
  BothCameras both({}, with_later(kNewPhoto, "new"));
  const auto object = success(both.run("photo --json"));
  EXPECT_EQ(object["name"], kNewPhoto);
  EXPECT_EQ(object["command"], "photo");
  EXPECT_GT(object["seconds"], 0.0);
}

TEST(NewFile, PhotoFetchesItIntoAFolder) {
  BothCameras both({}, with_later(kNewPhoto, "new bytes"));
  const OwnPath place("place");
  const std::string folder = place.path + "/made/for/it";
  const auto object = success(both.run("photo --json --get -o " + folder));
  EXPECT_EQ(object["file"], folder + "/" + kNewPhoto);
  EXPECT_EQ(object["bytes"], 9);
  EXPECT_EQ(read_file(folder + "/" + kNewPhoto), "new bytes");
}

TEST(NewFile, AFileOfThatNameIsKeptAndThePhotoToldAllTheSame) {
  BothCameras both({}, with_later(kNewPhoto, "new bytes"));
  const OwnPath place("folder");
  const std::string& folder = place.path;
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/" + kNewPhoto) << "mine";
  const ProgramResult result = both.run("photo --json --get -o " + folder);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.json()["name"], kNewPhoto);
  EXPECT_THAT(result.json()["error"].get<std::string>(), HasSubstr("exists already"));
  EXPECT_EQ(read_file(folder + "/" + kNewPhoto), "mine");
}

TEST(NewFile, ItMayAppearALittleLater) {
  MediaScript script = with_later(kNewPhoto, "new");
  script.later_by = 2;
  BothCameras both({}, script);
  EXPECT_EQ(success(both.run("photo --json"))["name"], kNewPhoto);
}

TEST(NewFile, IsFoundUnderLoss) {
  MediaScript script = with_later(kNewPhoto, "new");
  script.loss = 0.1;
  for (uint32_t seed = 1; seed <= 3; seed++) {
    script.seed = seed;
    BothCameras both({}, script);
    EXPECT_EQ(success(both.run("photo --json"))["name"], kNewPhoto) << seed;
  }
}

TEST(NewFile, RecordStopTellsItsName) {
  BothCameras both({.recording = true, .mode = 1}, with_later(kNewVideo, "new"));
  const auto object = success(both.run("record stop --json"));
  EXPECT_EQ(object["name"], kNewVideo);
  EXPECT_EQ(object["recording"], false);
}

TEST(NewFile, WithoutACardThePhotoIsTakenAllTheSame) {
  BothCameras both({}, {});
  const ProgramResult result = both.run("photo");
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("the name of its file is not known: the camera lists no new"));
  EXPECT_EQ(both.camera.photos(), 1);
}

TEST(NewFile, WithoutAMediaChannelThePhotoIsTakenAllTheSame) {
  BothCameras both({}, {.silent = true});
  const auto object = success(both.run("photo --json"));
  EXPECT_FALSE(object.contains("name"));
  EXPECT_EQ(object["name_unknown"], "the media channel does not answer");
  EXPECT_EQ(both.camera.photos(), 1);
}

TEST(NewFile, WhatIsWantedAndCannotBeNamedIsAFailure) {
  BothCameras empty({}, {});
  expect_failure(empty.run("photo --get"), 1, "the name of its file is not known");
  BothCameras silent({}, {.silent = true});
  expect_failure(silent.run("photo --get"), 3, "the media channel does not answer");
}

TEST(NewFile, NoNameAsksForNothing) {
  BothCameras both({}, with_later(kNewPhoto, "new"));
  EXPECT_FALSE(success(both.run("photo --json --no-name")).contains("name"));
  EXPECT_EQ(both.media.lists(), 0);
  EXPECT_EQ(run_program("photo --get --no-name").exit_code, 2);
  EXPECT_EQ(run_program("photo -o folder").exit_code, 2);
}

TEST(NewFile, ModesAreListedWhenOneIsUnknown) {
  for (const char* mode : {"XX", "-1", "256", "P", "1.5"}) {
    const ProgramResult result = run_program(fmt::format("photo --mode {}", mode));
    EXPECT_EQ(result.exit_code, 2) << mode;
    EXPECT_THAT(result.out + result.err,
                HasSubstr("PR, PW, PV, PH or a whole number from 0 to 255"));
  }
}

}  // namespace
}  // namespace groundstation_test
