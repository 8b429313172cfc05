#include "media/photo/exif_gps.h"

#include <gtest/gtest.h>

#include <string>

#include "media/photo/exif_block.h"
#include "media/photo/jpeg_data.h"
#include "support/photo.h"

namespace media {
namespace {

using media_test::words;

std::string angle(int32_t value) {
  const GpsAngle a = gps_angle(value);
  return std::to_string(a.degrees) + " " + std::to_string(a.minutes) + " " +
         std::to_string(a.tenths);
}

TEST(GpsAngle, ExactHalvesAndQuarters) {
  EXPECT_EQ(angle(225000000), "22 30 0");
  EXPECT_EQ(angle(-225000000), "22 30 0");
  EXPECT_EQ(angle(1137500000), "113 45 0");
  EXPECT_EQ(angle(1800000000), "180 0 0");
  EXPECT_EQ(angle(0), "0 0 0");
}

TEST(GpsAngle, ASmallValueIsZero) { EXPECT_EQ(angle(-1), "0 0 0"); }

// 12.3456789 is 12.34567928... in single precision; the rest 0.345679283 times 60
// is 20.74075699..., and 0.740756989 times 600 is 444.454...
TEST(GpsAngle, SecondsAreInTenths) { EXPECT_EQ(angle(123456789), "12 20 444"); }

// 113.1 is 113.0999984741 in single precision: five minutes and 59.99 seconds, not six minutes.
TEST(GpsAngle, SinglePrecisionFixesTheRounding) { EXPECT_EQ(angle(1131000000), "113 5 599"); }

TEST(GpsAngle, TheMostNegativeValueHasAMagnitude) {
  // 214.7483648 is 214.74836731 in single precision.
  EXPECT_EQ(angle(INT32_MIN), "214 44 541");
}

class ExifPosition : public ::testing::Test {
 protected:
  // The GPS IFD as saved.
  std::vector<media_test::Field> save() {
    uint8_t* block = nullptr;
    uint32_t size = 0;
    exif_block_save(exif.get(), &block, &size);
    const Bytes bytes(block, block + size);
    std::free(block);
    return media_test::fields_of(bytes, media_test::Ifd::kGps);
  }

  ExifPosition() { exif_data_set_byte_order(exif.get(), EXIF_BYTE_ORDER_INTEL); }

  ExifDataOwner exif{exif_data_new()};
};

TEST_F(ExifPosition, WritesSixEntriesAndNoAltitudeReference) {
  exif_set_position(exif.get(), {-1137500000, 225000000, -1234});
  const auto gps = save();
  ASSERT_EQ(gps.size(), 6U);
  const struct {
    uint16_t tag, format;
    uint32_t components;
    Bytes value;
  } expected[] = {
      {0, 1, 4, {2, 2, 0, 0}},
      {1, 2, 1, {'N'}},
      {2, 5, 3, words({22, 1, 30, 1, 0, 10})},
      {3, 2, 1, {'W'}},
      {4, 5, 3, words({113, 1, 45, 1, 0, 10})},
      {6, 5, 1, words({1234, 10})},
  };
  for (size_t i = 0; i < 6; i++) {
    EXPECT_EQ(gps[i].tag, expected[i].tag);
    EXPECT_EQ(gps[i].format, expected[i].format);
    EXPECT_EQ(gps[i].components, expected[i].components);
    EXPECT_EQ(gps[i].value, expected[i].value);
  }
}

TEST_F(ExifPosition, MinusOneIsZeroSouthWest) {
  exif_set_position(exif.get(), {-1, -1, 0});
  const auto gps = save();
  ASSERT_EQ(gps.size(), 6U);
  EXPECT_EQ(gps[1].value, Bytes{'S'});
  EXPECT_EQ(gps[2].value, words({0, 1, 0, 1, 0, 10}));
  EXPECT_EQ(gps[3].value, Bytes{'W'});
  EXPECT_EQ(gps[5].value, words({0, 10}));
}

TEST_F(ExifPosition, AltitudesAreSinglePrecisionToo) {
  exif_set_position(exif.get(), {0, 0, 16777217});
  EXPECT_EQ(save().at(5).value, words({16777216, 10}));
}

TEST_F(ExifPosition, TheMostNegativeAltitudeHasAMagnitude) {
  exif_set_position(exif.get(), {0, 0, INT32_MIN});
  EXPECT_EQ(save().at(5).value, words({0x80000000U, 10}));
}

}  // namespace
}  // namespace media
