#include "media/movie/thumbnail.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "fake_base/fake_base.h"
#include "support/fresh_process.h"
#include "support/recordings.h"

namespace media {
namespace {

using media_test::Bytes;
using media_test::judge_thumbnail;
using media_test::make_recording;
using media_test::pattern;

constexpr const char* kGood = "mjpeg,160,90,yuvj420p";

class VideoThumbnail : public fake_base::FakeBaseTest {
 protected:
  int32_t make(int32_t width = 160, int32_t height = 90) {
    return video_thumbnail(video_.c_str(), output_.c_str(), width, height);
  }

  // What becomes of a recording: the judgement of its thumbnail, empty when there is none.
  std::string thumbnail_of(const std::vector<std::string>& arguments) {
    make_recording(video_, arguments);
    std::filesystem::remove(output_);
    EXPECT_EQ(make(), 0);
    return judge_thumbnail(output_);
  }

  // One picture of that colour, then others of the second one.
  static std::vector<std::string> colours(const std::string& first, const std::string& rest,
                                          const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {
        "-f",        "lavfi",
        "-i",        "color=" + rest + ":s=640x360:r=30",
        "-vf",       "drawbox=c=" + first + ":t=fill:enable='eq(n,0)'",
        "-frames:v", "30",
        "-c:v",      "libx264",
        "-pix_fmt",  "yuv420p",
        "-f",        "mp4"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  // The colour of the thumbnail is Y, U, V within 3.
  void expect_colour(int y, int u, int v) {
    const std::vector<int> means = media_test::mean_yuv(output_);
    ASSERT_EQ(means.size(), 3U);
    EXPECT_NEAR(means[0], y, 3);
    EXPECT_NEAR(means[1], u, 3);
    EXPECT_NEAR(means[2], v, 3);
  }

  media_test::TemporaryFolder folder_;
  const std::string video_ = folder_.path("a.MP4");
  const std::string output_ = folder_.path("a_v.JPG");
};

TEST_F(VideoThumbnail, OfARecordingIsAJpegOf160By90) {
  EXPECT_EQ(thumbnail_of(pattern("1280x720", 30, {"-f", "mp4"})), kGood);
  EXPECT_TRUE(fake_base::events().empty());
  EXPECT_EQ(media_test::names_in(folder_.folder()), (std::vector<std::string>{"a.MP4", "a_v.JPG"}));
}

TEST_F(VideoThumbnail, OfEveryShapeOfRecording) {
  const std::vector<std::vector<std::string>> shapes = {
      pattern("640x360", 30, {"-f", "mp4", "-movflags", "+faststart"}),
      pattern("640x360", 30, {"-f", "mp4", "-movflags", "frag_keyframe+empty_moov"}),
      pattern("640x360", 30, {"-f", "mp4", "-bf", "3", "-preset", "medium"}),
      pattern("640x360", 1, {"-f", "mp4", "-bf", "3", "-preset", "medium"}),
      pattern("640x360", 1, {"-f", "mp4"}),
      pattern("160x90", 5, {"-f", "mp4"}),
      pattern("64x2", 5, {"-f", "mp4"}),
      pattern("360x640", 5, {"-f", "mp4"}),
      pattern("641x359", 5, {"-f", "mpegts", "-vf", "crop=638:358"}),
      pattern("640x360", 5, {"-f", "h264"}),
      pattern("640x360", 5, {"-f", "mp4", "-c:v", "mpeg4"}),
      pattern("640x360", 5, {"-f", "mp4", "-pix_fmt", "yuvj420p"}),
      {"-f", "lavfi", "-i", "sine=d=1", "-f", "lavfi", "-i", "testsrc2=d=1:s=640x360:r=30", "-map",
       "0", "-map", "1", "-c:v", "libx264", "-pix_fmt", "yuv420p", "-f", "mp4"}};
  for (const auto& shape : shapes) {
    EXPECT_EQ(thumbnail_of(shape), kGood) << testing::PrintToString(shape);
  }
}

TEST_F(VideoThumbnail, KeepsTheChromaFormatInFullRange) {
  EXPECT_EQ(thumbnail_of(pattern("640x360", 5, {"-f", "mp4", "-pix_fmt", "yuv422p"})),
            "mjpeg,160,90,yuvj422p");
  EXPECT_EQ(thumbnail_of(pattern("640x360", 5, {"-f", "mp4", "-pix_fmt", "yuv444p"})),
            "mjpeg,160,90,yuvj444p");
}

TEST_F(VideoThumbnail, HasTheSizeThatWasAskedFor) {
  make_recording(video_, pattern("640x360", 5, {"-f", "mp4"}));
  EXPECT_EQ(make(33, 17), 0);
  EXPECT_EQ(judge_thumbnail(output_), "mjpeg,33,17,yuvj420p");
  EXPECT_EQ(make(1, 1), 0);
  EXPECT_EQ(judge_thumbnail(output_), "mjpeg,1,1,yuvj420p");
  EXPECT_EQ(make(1280, 720), 0);
  EXPECT_EQ(judge_thumbnail(output_), "mjpeg,1280,720,yuvj420p");
}

TEST_F(VideoThumbnail, ShowsTheFirstPicture) {
  // Red and blue of ITU-R BT.601, limited range.
  ASSERT_EQ(thumbnail_of(colours("red", "blue", {"-bf", "3"})), kGood);
  expect_colour(81, 90, 240);
  ASSERT_EQ(thumbnail_of(colours("blue", "red", {"-bf", "0"})), kGood);
  expect_colour(41, 240, 110);
}

TEST_F(VideoThumbnail, LimitedRangeIsNotStretched) {
  ASSERT_EQ(thumbnail_of(colours("white", "white", {})), kGood);
  expect_colour(235, 128, 128);
  ASSERT_EQ(thumbnail_of(colours("black", "black", {})), kGood);
  expect_colour(16, 128, 128);
}

TEST_F(VideoThumbnail, APictureThatAJpegCannotHoldGivesNone) {
  EXPECT_EQ(thumbnail_of(pattern("640x360", 5, {"-f", "mp4", "-pix_fmt", "yuv420p10le"})), "");
  EXPECT_EQ(thumbnail_of(pattern("640x360", 5, {"-f", "mp4", "-c:v", "png", "-pix_fmt", "rgb24"})),
            "");
  EXPECT_EQ(media_test::names_in(folder_.folder()), (std::vector<std::string>{"a.MP4"}));
}

TEST_F(VideoThumbnail, WithoutAVideoStreamThereIsNone) {
  EXPECT_EQ(thumbnail_of({"-f", "lavfi", "-i", "sine=d=1", "-f", "mp4"}), "");
}

TEST_F(VideoThumbnail, OfAPhotoIsThePhotoMadeSmall) {
  EXPECT_EQ(thumbnail_of({"-f", "lavfi", "-i", "testsrc2=s=640x360", "-frames:v", "1", "-pix_fmt",
                          "yuvj420p", "-f", "mjpeg"}),
            kGood);
}

TEST_F(VideoThumbnail, RefusesBadArguments) {
  make_recording(video_, pattern("640x360", 5, {"-f", "mp4"}));
  for (const auto& [width, height] : {std::pair(0, 90), {-1, 90}, {160, 0}, {160, -90}}) {
    EXPECT_EQ(make(width, height), -1);
  }
  EXPECT_EQ(video_thumbnail(nullptr, output_.c_str(), 160, 90), -1);
  EXPECT_EQ(video_thumbnail(video_.c_str(), nullptr, 160, 90), -1);
  EXPECT_FALSE(media_test::exists(output_));
}

TEST_F(VideoThumbnail, WhatCannotBeOpenedIsRefused) {
  EXPECT_EQ(make(), -1);
  for (const Bytes& bytes : {Bytes{}, Bytes(5000), media_test::text_bytes("no video at all")}) {
    media_test::write_file(video_, bytes);
    EXPECT_EQ(make(), -1);
  }
  EXPECT_FALSE(media_test::exists(output_));
}

// Cut anywhere a recording gives a good thumbnail or none; what was there stays in that case.
TEST_F(VideoThumbnail, OfATruncatedRecordingIsGoodOrAbsent) {
  for (const char* flags : {"+faststart", "0"}) {
    make_recording(video_, pattern("320x180", 10, {"-f", "mp4", "-movflags", flags}));
    const Bytes whole = media_test::read_file(video_);
    int made = 0;
    for (size_t size = 0; size < whole.size(); size += whole.size() / 24) {
      media_test::write_file(video_, Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
      media_test::write_file(output_, {7});
      (void)make();
      if (media_test::read_file(output_) == Bytes{7}) continue;
      EXPECT_EQ(judge_thumbnail(output_), kGood) << size;
      made++;
    }
    // The index at the end is lost with the first byte.
    EXPECT_EQ(made > 5, *flags == '+') << made;
  }
}

TEST_F(VideoThumbnail, OfADamagedRecordingIsGoodOrAbsent) {
  make_recording(video_, pattern("320x180", 10, {"-f", "mp4", "-movflags", "+faststart"}));
  const Bytes whole = media_test::read_file(video_);
  uint32_t word = 1;
  for (int round = 0; round < 100; round++) {
    Bytes damaged = whole;
    for (int i = 0; i < 30; i++) {
      word = word * 1664525 + 1013904223;
      // Most of the damage goes where the tables are.
      const size_t span = i % 3 == 0 ? damaged.size() : std::min<size_t>(damaged.size(), 1200);
      damaged[(word >> 8) % span] = static_cast<uint8_t>(word >> 3);
    }
    media_test::write_file(video_, damaged);
    std::filesystem::remove(output_);
    const int32_t result = make();
    EXPECT_TRUE(result == 0 || (result == -1 && !media_test::exists(output_))) << round;
    if (!media_test::exists(output_)) continue;
    EXPECT_EQ(judge_thumbnail(output_).substr(0, 12), "mjpeg,160,90");
  }
}

// The size of the pictures changes on the way, against what the header says.
TEST_F(VideoThumbnail, TheSizeIsThatOfThePicture) {
  const std::string small = folder_.path("small.h264");
  const std::string large = folder_.path("large.h264");
  make_recording(small, pattern("320x180", 5));
  make_recording(large, pattern("1280x720", 5));
  const Bytes one = media_test::read_file(small);
  const Bytes other = media_test::read_file(large);
  media_test::write_file(video_, one + other);
  EXPECT_EQ(make(), 0);
  EXPECT_EQ(judge_thumbnail(output_), kGood);
  media_test::write_file(video_, other + one);
  EXPECT_EQ(make(), 0);
  EXPECT_EQ(judge_thumbnail(output_), kGood);
}

TEST_F(VideoThumbnail, AnOutputThatCannotBeWrittenIsNotThere) {
  make_recording(video_, pattern("640x360", 5, {"-f", "mp4"}));
  const std::string nowhere = folder_.path("no/such/folder.JPG");
  EXPECT_EQ(video_thumbnail(video_.c_str(), nowhere.c_str(), 160, 90), 0);
  EXPECT_FALSE(media_test::exists(nowhere));
  EXPECT_EQ(video_thumbnail(video_.c_str(), folder_.folder().c_str(), 160, 90), 0);
  EXPECT_EQ(media_test::names_in(folder_.folder()), (std::vector<std::string>{"a.MP4"}));
}

TEST_F(VideoThumbnail, ADiskThatIsFullLeavesTheFileThatWasThere) {
  make_recording(video_, pattern("640x360", 5, {"-f", "mp4"}));
  media_test::write_file(output_, {1, 2, 3});
  link_test::in_fresh_process([this] {
    // A file of 1000 bytes is all that this process may write.
    const rlimit limit{1000, 1000};
    std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(make(), 0);
  });
  EXPECT_EQ(media_test::read_file(output_), (Bytes{1, 2, 3}));
  EXPECT_EQ(media_test::names_in(folder_.folder()), (std::vector<std::string>{"a.MP4", "a_v.JPG"}));
  EXPECT_EQ(make(), 0);
  EXPECT_EQ(judge_thumbnail(output_), kGood);
}

}  // namespace
}  // namespace media
