#include "camera_service/exif_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace camera_service {
namespace {

const std::vector<uint8_t> kThumbnail = {0xFF, 0xD8, 0xFF, 0xD9};

ExifFields fields() {
  ExifFields result;
  result.make = "ABCDE";
  result.time = "2020:01:01 12:00:00";
  return result;
}

bool holds(const std::vector<uint8_t>& block, const std::vector<uint8_t>& part) {
  return std::search(block.begin(), block.end(), part.begin(), part.end()) != block.end();
}

std::vector<uint8_t> head(const std::vector<uint8_t>& block, size_t length) {
  return {block.begin(), block.begin() + static_cast<ptrdiff_t>(std::min(length, block.size()))};
}

TEST(ExifBlock, IntelBlockBeginsWithTheHeaderAndElevenEntries) {
  const auto block = exif_block(ExifMode::kOk, fields(), kThumbnail);
  // "Exif", two zero bytes, "II", 42, offset 8, 11 entries, the first one tag 0x010E, ASCII, 17
  // bytes ("Aerial photo 12M" and a zero byte) at 8 + 2 + 11 * 12 + 4 = 146.
  EXPECT_EQ(head(block, 28),
            (std::vector<uint8_t>{'E', 'x', 'i',  'f', 0, 0, 'I', 'I', 42, 0, 8,   0, 0, 0,
                                  11,  0,   0x0E, 1,   2, 0, 17,  0,   0,  0, 146, 0, 0, 0}));
}

TEST(ExifBlock, MotorolaBlockHoldsTheSameInTheOtherByteOrder) {
  const auto block = exif_block(ExifMode::kMotorola, fields(), kThumbnail);
  EXPECT_EQ(head(block, 28),
            (std::vector<uint8_t>{'E', 'x', 'i', 'f',  0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8,
                                  0,   11,  1,   0x0E, 0, 2, 0,   0,   0, 17, 0, 0, 0, 146}));
  EXPECT_EQ(block.size(), exif_block(ExifMode::kOk, fields(), kThumbnail).size());
}

TEST(ExifBlock, MakeCountsItsTerminator) {
  // Tag 0x010F, ASCII, 6 bytes.
  EXPECT_TRUE(holds(exif_block(ExifMode::kOk, fields(), kThumbnail), {0x0F, 1, 2, 0, 6, 0, 0, 0}));
}

TEST(ExifBlock, ArtistIsThereOnlyWhenGiven) {
  const std::vector<uint8_t> artist = {0x3B, 1, 2, 0, 3, 0, 0, 0, 'm', 'e', 0, 0};
  EXPECT_FALSE(holds(exif_block(ExifMode::kOk, fields(), kThumbnail), artist));
  ExifFields with_artist = fields();
  with_artist.artist = "me";
  EXPECT_TRUE(holds(exif_block(ExifMode::kOk, with_artist, kThumbnail), artist));
}

TEST(ExifBlock, ThumbnailIsAtTheEndAndItsEntriesSayWhere) {
  const auto block = exif_block(ExifMode::kOk, fields(), kThumbnail);
  ASSERT_GT(block.size(), 14U);
  // Offsets count from the TIFF header, 6 bytes into the block.
  const auto offset = static_cast<uint32_t>(block.size() - 4 - 6);
  EXPECT_TRUE(std::equal(kThumbnail.begin(), kThumbnail.end(), block.end() - 4));
  EXPECT_TRUE(holds(block, {0x01, 2, 4, 0, 1, 0, 0, 0, static_cast<uint8_t>(offset),
                            static_cast<uint8_t>(offset >> 8), 0, 0}));
  EXPECT_TRUE(holds(block, {0x02, 2, 4, 0, 1, 0, 0, 0, 4, 0, 0, 0}));
}

TEST(ExifBlock, GpsModeHasALatitudeOfThreeRationals) {
  const std::vector<uint8_t> latitude = {2, 0, 5, 0, 3, 0, 0, 0};
  EXPECT_FALSE(holds(exif_block(ExifMode::kOk, fields(), kThumbnail), latitude));
  EXPECT_TRUE(holds(exif_block(ExifMode::kGps, fields(), kThumbnail), latitude));
}

TEST(ExifBlock, DamagedModesAreDamaged) {
  EXPECT_TRUE(exif_block(ExifMode::kNone, fields(), kThumbnail).empty());
  EXPECT_EQ(
      exif_block(ExifMode::kBroken, fields(), kThumbnail),
      (std::vector<uint8_t>{'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 0xFF, 0xFF}));
  EXPECT_EQ(exif_block(ExifMode::kTruncated, fields(), kThumbnail).size(), 54U);
}

}  // namespace
}  // namespace camera_service
