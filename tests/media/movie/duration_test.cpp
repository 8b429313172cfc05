#include "media/movie/duration.h"

#include <gtest/gtest.h>
#include <poll.h>

#include "media/movie/av_owners.h"
#include "media/movie/mov_boxes.h"
#include "support/allocation_fault.h"
#include "support/heap.h"
#include "support/loopback.h"
#include "support/recordings.h"

namespace media {
namespace {

using media_test::Bytes;
using media_test::movie_of;
using media_test::text_bytes;

class VideoDuration : public ::testing::Test {
 protected:
  // The text that a file's duration leaves in a buffer that began with "kept".
  std::string duration_of(const std::string& path, int32_t result = 0, size_t size = 32) {
    char text[32] = "kept";
    EXPECT_EQ(media_video_duration(path.c_str(), text, size), result) << path;
    return text;
  }

  static int32_t duration_result(const std::string& path) {
    char text[32] = "";
    return media_video_duration(path.c_str(), text, sizeof(text));
  }

  media_test::TemporaryFolder folder_;
  const std::string file_ = folder_.path("a.MP4");
};

TEST_F(VideoDuration, IsInWholeSecondsAndRoundedUpOnlyWithinFiveMilliseconds) {
  const std::pair<uint32_t, const char*> durations[] = {
      {1, "0"}, {994, "0"}, {995, "1"}, {1500, "1"}, {1994, "1"}, {1995, "2"}, {3600000, "3600"}};
  for (const auto& [ms, text] : durations) {
    media_test::write_file(file_, movie_of(ms));
    EXPECT_EQ(duration_of(file_), text) << ms;
  }
}

TEST_F(VideoDuration, TakesNoMemoryOfTheProgramItself) {
  media_test::write_file(file_, movie_of(2000));
  char text[32] = "kept";
  const support::AllocationFault fault(support::Fault::kEvery);
  EXPECT_EQ(media_video_duration(file_.c_str(), text, sizeof(text)), 0);
  EXPECT_STREQ(text, "2");
}

TEST_F(VideoDuration, OfANameThatIsTooLongIsNone) {
  EXPECT_LT(duration_result(folder_.path(std::string(250, 'a') + ".MP4")), 0);
  EXPECT_LT(duration_result("/tmp/" + std::string(5000, 'a')), 0);
}

TEST_F(VideoDuration, OfARecordingOfTwoSeconds) {
  media_test::make_recording(file_, media_test::pattern("320x180", 60, {"-f", "mp4"}));
  EXPECT_EQ(duration_of(file_), "2");
  EXPECT_EQ(duration_of(file_, 0, 1), "");
}

TEST_F(VideoDuration, OfAPhotoLeavesTheTextAsItWas) {
  const std::string photo = folder_.path("a.JPG");
  media_test::make_recording(
      photo, {"-f", "lavfi", "-i", "color=red:s=320x180", "-frames:v", "1", "-f", "mjpeg"});
  EXPECT_EQ(duration_of(photo), "kept");
}

TEST_F(VideoDuration, OfWhatCannotBeOpenedIsAnError) {
  char text[32] = "kept";
  EXPECT_EQ(media_video_duration(file_.c_str(), text, sizeof(text)), -ENOENT);
  media_test::write_file(file_, text_bytes("no video at all"));
  EXPECT_LT(media_video_duration(file_.c_str(), text, sizeof(text)), 0);
  media_test::write_file(file_, {});
  EXPECT_LT(media_video_duration(file_.c_str(), text, sizeof(text)), 0);
  EXPECT_STREQ(text, "kept");
}

TEST_F(VideoDuration, RefusesBadArguments) {
  media_test::write_file(file_, movie_of(2000));
  char text[32] = "kept";
  EXPECT_EQ(media_video_duration(nullptr, text, sizeof(text)), -1);
  EXPECT_EQ(media_video_duration(file_.c_str(), nullptr, 5), -1);
  EXPECT_EQ(media_video_duration(file_.c_str(), text, 0), -1);
  EXPECT_STREQ(text, "kept");
}

TEST_F(VideoDuration, AListOfOtherPlacesIsNotFollowed) {
  const base::Descriptor server = support::listen_on_loopback();
  const std::string address =
      "http://127.0.0.1:" + std::to_string(ntohs(support::own_address(server.get()).sin_port));
  const std::string list =
      "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + address + "/a.ts\n#EXT-X-ENDLIST\n";
  media_test::write_file(file_, text_bytes(list));
  char text[32] = "kept";
  (void)media_video_duration(file_.c_str(), text, sizeof(text));
  pollfd called{server.get(), POLLIN, 0};
  EXPECT_EQ(poll(&called, 1, 0), 0);
  // A name is a file's name, whatever it looks like.
  EXPECT_EQ(media_video_duration((address + "/a.MP4").c_str(), text, sizeof(text)), -ENOENT);
}

// But for what the C library keeps at hand of small blocks.
TEST(AvOwners, AReaderTakesItsBufferAlong) {
  EXPECT_LT(support::heap_kept_by([] {
              constexpr int kBuffer = 20000;
              const OwnedReader reader(
                  avio_alloc_context(static_cast<unsigned char*>(av_malloc(kBuffer)), kBuffer, 0,
                                     nullptr, nullptr, nullptr, nullptr));
              EXPECT_NE(reader, nullptr);
            }),
            5000U);
}

}  // namespace
}  // namespace media
