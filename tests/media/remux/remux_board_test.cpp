// The remux job on its own thread and on a board's card.
#include <gtest/gtest.h>

#include <filesystem>

#include "base/clock.h"
#include "media/remux/remux.h"
#include "support/patience.h"
#include "support/recordings.h"

namespace media {
namespace {

using media_test::Bytes;
using support::poll_until;
using support::seconds;

const std::string kFolder = "/tmp/SD0/KRVMEDIA/VIDEO/";

class RemuxBoard : public ::testing::Test {
 protected:
  RemuxBoard() {
    std::filesystem::create_directories(kFolder);
    media_test::write_file(kFolder + "other.MP4", {1, 2, 3});
    remux_job.fps = 30;
  }

  // The job of the test before may still be on its last steps.
  static void start() {
    ASSERT_TRUE(poll_until([] { return remux_start() == 0; }, seconds(5)));
  }

  // Pushes so many pictures, from the first on again and again, as the job takes them: fewer than
  // the list holds are pushed and not yet in the file, so that none is dropped.
  static void push(const std::vector<Bytes>& pictures, size_t count) {
    constexpr size_t kAhead = 100;
    size_t behind = 0;  // bytes up to kAhead pictures before the next one
    for (size_t i = 0; i < count; i++) {
      if (i >= kAhead) behind += pictures[(i - kAhead) % pictures.size()].size();
      ASSERT_TRUE(poll_until([=] { return file_size() >= behind; }, seconds(20))) << i;
      const Bytes& picture = pictures[i % pictures.size()];
      EXPECT_EQ(remux_push_packet(picture.data(), static_cast<int32_t>(picture.size())), 0);
    }
  }

  // Of the job's file; 0 as long as there is none.
  static size_t file_size() {
    std::error_code none;
    const auto size = std::filesystem::file_size(kRemuxFile, none);
    return none ? 0 : static_cast<size_t>(size);
  }

  static size_t total(const std::vector<Bytes>& pictures) {
    size_t size = 0;
    for (const Bytes& picture : pictures) size += picture.size();
    return size;
  }

  // The end of the list is the last thing that a job does before it is over.
  static bool ended(uint32_t state) {
    return poll_until([=] { return remux_job.stop == 1 && remux_push_packet("a", 1) == -1; },
                      seconds(10)) &&
           remux_job.state == state;
  }

  static void expect_other_files_untouched() {
    EXPECT_EQ(media_test::read_file(kFolder + "other.MP4"), (Bytes{1, 2, 3}));
  }
};

TEST_F(RemuxBoard, WritesAPlayableStreamAndEndsWhenNothingMoreComes) {
  media_test::write_file(kRemuxFile, {9, 9, 9});
  (void)media_test::stream_pictures();  // made before the job begins to wait for it
  start();
  EXPECT_FALSE(media_test::exists(kRemuxFile));  // what the last job left
  push(media_test::stream_pictures(), 240);
  ASSERT_TRUE(ended(kRemuxFinished));
  EXPECT_EQ(media_test::probe(kRemuxFile, "codec_name,width,height,pix_fmt"),
            "h264,640,360,yuv420p");
  const std::string copy = kFolder + "copy.h264";
  media_test::make_recording(copy, {"-i", kRemuxFile, "-c", "copy", "-f", "h264"});
  EXPECT_EQ(media_test::read_file(copy), media_test::read_file(kRemuxFile));
  EXPECT_EQ(file_size(), total(media_test::stream_pictures()));
  expect_other_files_untouched();
}

TEST_F(RemuxBoard, AMinuteOfTheCamerasStreamIsWrittenWhole) {
  const std::vector<Bytes> pictures = media_test::camera_pictures("1280x720", 8);
  start();
  push(pictures, 30 * pictures.size());
  ASSERT_TRUE(ended(kRemuxFinished));
  EXPECT_EQ(file_size(), 30 * total(pictures));
  EXPECT_EQ(media_test::probe(kRemuxFile, "codec_name,width,height"), "h264,1280,720");
}

TEST_F(RemuxBoard, AJobWithoutPacketsFailsInHalfASecondAndRemovesItsFile) {
  start();
  const uint64_t began = base::monotonic_us();
  media_test::write_file(kRemuxFile, {9, 9, 9});
  ASSERT_TRUE(ended(kRemuxFailed));
  EXPECT_GE(base::monotonic_us() - began, 400000U);
  EXPECT_FALSE(media_test::exists(kRemuxFile));
  expect_other_files_untouched();
}

TEST_F(RemuxBoard, AStopFinishesTheFileAndTheNextJobCanStart) {
  (void)media_test::stream_pictures();
  for (int round = 0; round < 2; round++) {
    start();
    EXPECT_EQ(remux_start(), -1);
    push(media_test::stream_pictures(), 100);
    EXPECT_TRUE(poll_until([] { return remux_job.state == kRemuxWriting; }, seconds(5)));
    remux_stop();
    ASSERT_TRUE(ended(kRemuxFinished));
    EXPECT_EQ(media_test::probe(kRemuxFile, "codec_name,width,height"), "h264,640,360");
  }
}

}  // namespace
}  // namespace media
