#include "camera_service/media_name.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "camera_service/folder_text.h"

namespace camera_service {
namespace {

using camera_service_test::TemporaryFolder;
using camera_service_test::write_text;

class MediaNames : public testing::Test {
 protected:
  MediaNames() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
  // 2020-01-01 12:00:00 UTC is 50 years of 365 days, 12 leap days and half a day after the epoch.
  static constexpr std::time_t kNoon = (50LL * 365 + 12) * 86400 + 43200;
  TemporaryFolder folder_;
};

TEST_F(MediaNames, NameIsTheSecondWithAaThenAb) {
  const MediaName name = new_media_name(folder_.folder(), kNoon);
  EXPECT_EQ(name.working(".JPG"), "20200101_120000AA.JPG");
  EXPECT_EQ(name.complete(".MP4"), "20200101_120000AB.MP4");
  EXPECT_EQ(name.exif_time, "2020:01:01 12:00:00");
}

TEST_F(MediaNames, TakenSecondGivesTheNextFreeOne) {
  write_text(folder_.path("20200101_120000AB.JPG"), "x");
  write_text(folder_.path("20200101_120001_PW03.JPG"), "x");
  const MediaName name = new_media_name(folder_.folder(), kNoon);
  EXPECT_EQ(name.stamp, "20200101_120002");
  EXPECT_EQ(name.exif_time, "2020:01:01 12:00:02");
}

TEST_F(MediaNames, MissingFolderHasNoTakenNames) {
  EXPECT_EQ(new_media_name(folder_.path("none"), kNoon).stamp, "20200101_120000");
}

}  // namespace
}  // namespace camera_service
