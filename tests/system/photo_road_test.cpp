// The road of a photo from end to end: a peer's command, the camera service stand-in with its real
// files, the tagged photo; and the same asked for by a MAVLink library of other people's making.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "photo_files.h"
#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

class PhotoRoad : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    camera = std::make_unique<RunningCameraService>();
    maintask = std::make_unique<RunningMaintask>();
  }
  static void TearDownTestSuite() {
    maintask.reset();
    camera.reset();
  }
  void TearDown() override { EXPECT_TRUE(maintask->runs()); }

  static std::unique_ptr<RunningCameraService> camera;
  static std::unique_ptr<RunningMaintask> maintask;
};
std::unique_ptr<RunningCameraService> PhotoRoad::camera;
std::unique_ptr<RunningMaintask> PhotoRoad::maintask;

// A peer that has seen live video and a connected camera.
struct ReadyPeer {
  ReadyPeer() {
    EXPECT_TRUE(wait_for_live_video(link, video));
    EXPECT_TRUE(link.wait_for_status([](const Frame& f) { return f.f32(12) > 0; }, seconds(15),
                                     link.mark()));
    link.keep_alive(0);
  }
  PeerLink link;
  PeerSocket video{8856};
};

TEST_F(PhotoRoad, APhotoOfTheCameraIsTaggedAndListed) {
  ReadyPeer peer;
  peer.link.send(raw_position(-337654321, 1512345678));
  peer.link.send(altitude(87.65F));
  size_t mark = peer.link.mark();
  peer.link.send(command_long({.command = 203, .param5 = 0, .param6 = 12, .param7 = 1}));
  const auto acknowledgement = peer.link.wait_for_ack(2001, seconds(20), mark);
  ASSERT_TRUE(acknowledgement) << maintask->process().output();
  EXPECT_EQ(acknowledgement->u8(2), 0);
  ASSERT_TRUE(peer.link.wait_for_report(1, seconds(20), mark));

  const auto photos = list_folder(kPictures);
  ASSERT_EQ(photos.size(), 1U);
  // Photo mode 1, sequence number 12: date_time_PR12.JPG.
  ASSERT_EQ(photos[0].size(), 24U);
  EXPECT_EQ(photos[0].substr(15), "_PR12.JPG");
  const std::string photo = kPictures + photos[0];
  photo_files::expect_sound_jpeg(photo);
  auto tags = photo_files::exiftool(photo);
  EXPECT_NEAR(photo_files::number(tags["Composite:GPSLatitude"]), -33.7654321, 0.00003);
  EXPECT_NEAR(photo_files::number(tags["Composite:GPSLongitude"]), 151.2345678, 0.00003);
  EXPECT_EQ(tags["GPS:GPSAltitude"], "87.6");
  EXPECT_GE(
      photo_files::number(tags["File:ImageWidth"]) * photo_files::number(tags["File:ImageHeight"]),
      11e6);
  auto values = photo_files::exiv2(photo);
  EXPECT_EQ(values["Exif.GPSInfo.GPSLatitudeRef"], "S");
  EXPECT_EQ(values["Exif.GPSInfo.GPSLongitudeRef"], "E");
  EXPECT_EQ(values["Exif.GPSInfo.GPSAltitude"], "876/10");
  // 20200101_120000 as 2020:01:01 12:00:00.
  const std::string& name = photos[0];
  EXPECT_EQ(values["Exif.Photo.DateTimeOriginal"],
            name.substr(0, 4) + ":" + name.substr(4, 2) + ":" + name.substr(6, 2) + " " +
                name.substr(9, 2) + ":" + name.substr(11, 2) + ":" + name.substr(13, 2));

  const auto thumbnails = list_folder(kThumbnails);
  ASSERT_EQ(thumbnails.size(), 1U);
  EXPECT_EQ(thumbnails[0], name.substr(0, 20) + "_p.JPG");
  photo_files::expect_sound_jpeg(kThumbnails + thumbnails[0]);
  EXPECT_TRUE(photo_files::run({"exiftool", "-b", "-ThumbnailImage", photo}) ==
              read_file(kThumbnails + thumbnails[0]));

  // A photo that the service refuses is acknowledged as failed, and the next one works.
  RunningCameraService::control({"rval", "769", "-1", "1"});
  mark = peer.link.mark();
  peer.link.send(command_long({.command = 2, .param1 = 1}));
  const auto refused = peer.link.wait_for_ack(2001, seconds(10), mark);
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->u8(2), 4);
  mark = peer.link.mark();
  peer.link.send(command_long({.command = 2, .param1 = 1}));
  const auto taken = peer.link.wait_for_ack(2001, seconds(20), mark);
  ASSERT_TRUE(taken);
  EXPECT_EQ(taken->u8(2), 0);
  ASSERT_TRUE(peer.link.wait_for_report(1, seconds(20), mark));
  EXPECT_EQ(list_folder(kPictures).size(), 2U);
}

TEST_F(PhotoRoad, ARecordingOfTheCameraStartsAndStops) {
  ReadyPeer peer;
  size_t mark = peer.link.mark();
  peer.link.send(command_long({.command = 203, .param7 = 3}));
  ASSERT_TRUE(peer.link.wait_for_ack(2500, seconds(20), mark));
  ASSERT_TRUE(peer.link.wait_for_report(3, seconds(10), mark));
  let_pass(milliseconds(3000));
  mark = peer.link.mark();
  peer.link.send(command_long({.command = 203, .param7 = 2}));
  const auto stopped = peer.link.wait_for_ack(2501, seconds(20), mark);
  ASSERT_TRUE(stopped);
  EXPECT_EQ(stopped->u8(2), 0);
  const auto videos = list_folder(kVideos);
  ASSERT_EQ(videos.size(), 1U);
  const std::string shown =
      photo_files::run({"ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of",
                        "default=nw=1:nk=1", kVideos + videos[0]});
  EXPECT_NE(shown.find("h264"), std::string::npos) << shown;
  // Back to photo mode for the tests that follow.
  poll_until(
      [&] {
        mark = peer.link.mark();
        peer.link.send(command_long({.command = 2, .param1 = 0}));
        return peer.link
            .wait_for_status([](const Frame& f) { return (f.u8(2) & 15) == 0; }, seconds(1), mark)
            .has_value();
      },
      seconds(10));
}

TEST_F(PhotoRoad, TheServiceMayDieAndComeBackAtAnyMoment) {
  ReadyPeer peer;
  size_t mark = peer.link.mark();
  RunningCameraService::control({"delay", "769", "2000", "1"});
  peer.link.send(command_long({.command = 2, .param1 = 1}));
  let_pass(milliseconds(200));
  RunningCameraService::control({"restart", "1000"});
  EXPECT_FALSE(peer.link.wait_for_ack(2001, milliseconds(500), mark));
  // Connected again: a photo is accepted before long.
  const bool taken = poll_until(
      [&] {
        mark = peer.link.mark();
        peer.link.send(command_long({.command = 2, .param1 = 1}));
        return peer.link.wait_for_report(1, seconds(3), mark).has_value();
      },
      seconds(20));
  EXPECT_TRUE(taken) << maintask->process().output();
}

TEST_F(PhotoRoad, ACardThatIsTakenOutIsReported) {
  ReadyPeer peer;
  size_t mark = peer.link.mark();
  RunningCameraService::control({"remove"});
  EXPECT_TRUE(peer.link.wait_for_status(
      [](const Frame& f) { return (f.u8(2) >> 4) == 1 && f.f32(8) == 0.0F; }, seconds(5), mark));
  mark = peer.link.mark();
  RunningCameraService::control({"insert"});
  EXPECT_TRUE(peer.link.wait_for_status(
      [](const Frame& f) { return (f.u8(2) >> 4) == 0 && f.f32(8) > 0.0F; }, seconds(5), mark));
}

TEST_F(PhotoRoad, AClientOfAnotherMakingTakesAPhoto) {
  {
    const ReadyPeer peer;  // until the camera is ready; node then takes its place
  }
  const size_t before = list_folder(kPictures).size();
  const CommandResult node =
      run_command({"on-peer", "node", SOURCE_DIR "/tests/system/node/take_photo.mjs"}, seconds(60));
  EXPECT_EQ(node.status, 0) << node.output;
  EXPECT_NE(node.output.find(R"({"heartbeat":2,"sysid":37,"systemStatus":1,"mavlinkVersion":3})"),
            std::string::npos)
      << node.output;
  EXPECT_NE(node.output.find(R"({"acknowledgement":2001,"result":0,"sysid":36})"),
            std::string::npos)
      << node.output;
  EXPECT_EQ(node.output.find("error"), std::string::npos) << node.output;
  EXPECT_TRUE(poll_until([&] { return list_folder(kPictures).size() == before + 1; }, seconds(5)));
}

}  // namespace
