// Photos of the board's camera, tagged: what readers that are not ours find in them.
#include <gtest/gtest.h>

#include <future>
#include <set>
#include <sstream>

#include "camera_service/studio.h"
#include "media/photo/exif.h"
#include "support/child_process.h"
#include "support/photo.h"

namespace media {
namespace {

using camera_service::ExifMode;
using camera_service::PhotoResult;
using media_test::read_file;

class ExifReaders : public ::testing::TestWithParam<ExifMode> {
 protected:
  static void SetUpTestSuite() { studio = std::make_unique<camera_service::Studio>(); }
  static void TearDownTestSuite() { studio.reset(); }

  // A photo as the camera leaves it, and the same with position and times.
  void SetUp() override {
    std::promise<PhotoResult> taken;
    camera_service::ExifFields fields;
    fields.time = "2020:01:01 12:00:00";
    studio->take({folder_.path("working"), camera_, "12M", 1, GetParam(), fields},
                 [&](PhotoResult result) { taken.set_value(result); });
    ASSERT_EQ(taken.get_future().get(), PhotoResult::kOk);
    ASSERT_EQ(exif_write_photo(camera_.c_str(), tagged_.c_str(), nullptr, "2020:01:01 12:00:00",
                               {1137500000, 225000000, 1234}),
              0);
  }

  static std::string run(const std::vector<std::string>& command) {
    const support::CommandResult result = support::run_command(command);
    EXPECT_EQ(result.status, 0) << command[0] << ": " << result.output;
    return result.output;
  }

  // The thumbnail of a photo by each of the readers; empty when it finds none.

  static std::string by_exiftool(const std::string& photo) {
    return run({"exiftool", "-b", "-ThumbnailImage", photo});
  }

  [[nodiscard]] Bytes by_exiv2(const std::string& photo) const {
    // Its exit status is the low byte of the thumbnail's size.
    (void)support::run_command({"exiv2", "-f", "-et", "-l", folder_.folder(), photo});
    const std::string name = photo.substr(photo.rfind('/') + 1);
    return read_file(folder_.path(name.substr(0, name.rfind('.')) + "-thumb.jpg"));
  }

  // This version's own extraction looks for the place under a name that its parser does not use, so
  // the place that it shows is looked up in the block that it gives.
  [[nodiscard]] Bytes by_imagemagick(const std::string& photo) const {
    constexpr size_t kBlockHead = 6;
    size_t offset = 0;
    size_t length = 0;
    std::istringstream place(run(
        {"identify", "-format",
         "%[exif:thumbnail:JPEGInterchangeFormat] %[exif:thumbnail:JPEGInterchangeFormatLength]",
         photo}));
    place >> offset >> length;
    const std::string block = folder_.path("block");
    run({"convert", photo, "exif:" + block});
    const Bytes bytes = read_file(block);
    if (kBlockHead + offset + length > bytes.size()) return {};
    const auto begin = bytes.begin() + static_cast<ptrdiff_t>(kBlockHead + offset);
    return {begin, begin + static_cast<ptrdiff_t>(length)};
  }

  void expect_thumbnail(const std::string& photo, const Bytes& thumbnail) const {
    const std::string found = by_exiftool(photo);
    EXPECT_TRUE(Bytes(found.begin(), found.end()) == thumbnail) << found.size();
    EXPECT_TRUE(by_exiv2(photo) == thumbnail);
    EXPECT_TRUE(by_imagemagick(photo) == thumbnail);
  }

  static std::unique_ptr<camera_service::Studio> studio;
  media_test::TemporaryFolder folder_;
  const std::string camera_ = folder_.path("camera.jpg");
  const std::string tagged_ = folder_.path("tagged.jpg");
};
std::unique_ptr<camera_service::Studio> ExifReaders::studio;

TEST_P(ExifReaders, EveryReaderFindsTheThumbnailOfTheCamera) {
  const std::string camera = by_exiftool(camera_);
  const Bytes thumbnail(camera.begin(), camera.end());
  ASSERT_GT(thumbnail.size(), 1000U);
  expect_thumbnail(camera_, thumbnail);
  expect_thumbnail(tagged_, thumbnail);
  // Tagged once more, in its place.
  ASSERT_EQ(exif_write_photo(tagged_.c_str(), tagged_.c_str(), nullptr, nullptr, {}), 0);
  expect_thumbnail(tagged_, thumbnail);
}

// What exiftool warns of is what readers of these photos expect: references of one byte, and, where
// the camera wrote a position, its entries in front of ours. Equal tags count as out of order.
TEST_P(ExifReaders, OnlyTheDeliberateOdditiesAreFoundFaultWith) {
  const std::set<std::string> references = {
      "Non-standard count (1) for GPS 0x0001 GPSLatitudeRef",
      "Non-standard count (1) for GPS 0x0003 GPSLongitudeRef"};
  const std::set<std::string> entries = {
      "Entries in GPS are out of order", "Duplicate tag 0x0000 GPSVersionID in GPS",
      "Duplicate tag 0x0002 GPSLatitude in GPS", "Duplicate tag 0x0004 GPSLongitude in GPS",
      "Duplicate tag 0x0006 GPSAltitude in GPS"};
  std::set<std::string> expected = references;
  if (GetParam() == ExifMode::kGps) expected.insert(entries.begin(), entries.end());
  expected.insert(std::to_string(expected.size()) + " Warnings");

  EXPECT_EQ(run({"exiftool", "-validate", "-s3", camera_}), "OK\n");
  std::istringstream lines(run({"exiftool", "-validate", "-warning", "-a", "-s3", tagged_}));
  std::set<std::string> found;
  for (std::string line; std::getline(lines, line);) found.insert(line);
  EXPECT_EQ(found, expected);
}

INSTANTIATE_TEST_SUITE_P(Photos, ExifReaders,
                         ::testing::Values(ExifMode::kOk, ExifMode::kGps, ExifMode::kMotorola));

}  // namespace
}  // namespace media
