#include "camera_service/jpeg.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "base/descriptor.h"
#include "support/temporary_folder.h"

namespace camera_service {
namespace {

// A table, the picture's own marker, three bytes of it, the end.
const std::vector<uint8_t> kJpeg = {0xFF, 0xD8, 0xFF, 0xDB, 0, 4, 7,    7,
                                    0xFF, 0xDA, 0,    3,    1, 5, 0xFF, 0xD9};

class PictureChecksum : public testing::Test {
 protected:
  uint64_t of(const std::vector<uint8_t>& jpeg) {
    const std::string path = folder_.path("photo");
    base::File file(std::fopen(path.c_str(), "wbe"));
    EXPECT_EQ(std::fwrite(jpeg.data(), 1, jpeg.size(), file.get()), jpeg.size());
    file.reset();
    return picture_checksum(path);
  }
  support::TemporaryFolder folder_;
};

TEST_F(PictureChecksum, IsThatOfThePictureWhateverStandsBeforeIt) {
  const uint64_t plain = of(kJpeg);
  EXPECT_NE(plain, 0U);
  EXPECT_EQ(of(with_app1(kJpeg, std::vector<uint8_t>(300, 0xDA))), plain);
  std::vector<uint8_t> other = kJpeg;
  other[13] ^= 1;
  EXPECT_NE(of(other), plain);
  other = kJpeg;
  other.pop_back();
  EXPECT_NE(of(other), plain);
}

TEST_F(PictureChecksum, IsZeroWithoutAPicture) {
  EXPECT_EQ(of({}), 0U);
  EXPECT_EQ(of({kJpeg.begin(), kJpeg.begin() + 8}), 0U);
  EXPECT_EQ(picture_checksum(folder_.path("nothing")), 0U);
}

}  // namespace
}  // namespace camera_service
