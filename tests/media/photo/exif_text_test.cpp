#include "media/photo/exif_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace media {
namespace {

std::string field_of(const char* text, const char* key, size_t limit = 20) {
  char to[21] = "untouched";
  const int32_t result = exif_get_field(text, to, limit, key);
  return result == 0 ? to : "refused";
}

TEST(ExifGetField, CopiesUpToTheNextSemicolonOrTheEnd) {
  const char text[] = "time:2020:01:01 12:00:00;gps_lon:12;gps_lat:-34";
  EXPECT_EQ(field_of(text, "time"), "2020:01:01 12:00:00");
  EXPECT_EQ(field_of(text, "gps_lon"), "12");
  EXPECT_EQ(field_of(text, "gps_lat"), "-34");
}

TEST(ExifGetField, AnAbsentKeyLeavesTheDestination) {
  EXPECT_EQ(field_of("a:1", "gps_alt"), "untouched");
}

TEST(ExifGetField, FindsTheKeyAnywhereAndSkipsOneCharacter) {
  EXPECT_EQ(field_of("uptime:5;time:6", "time"), "5");
  EXPECT_EQ(field_of("timeX7", "time"), "7");
  EXPECT_EQ(field_of("time", "time"), "");
  EXPECT_EQ(field_of("time;x", "time"), "x");
  EXPECT_EQ(field_of("time:;x", "time"), "");
}

TEST(ExifGetField, CutsToTheLimit) {
  EXPECT_EQ(field_of("k:0123456789", "k", 5), "0123");
  EXPECT_EQ(field_of("k:0123456789", "k", 1), "");
}

TEST(ExifGetField, RefusesNullAndNoRoom) {
  char to[4];
  EXPECT_EQ(exif_get_field(nullptr, to, 4, "k"), -1);
  EXPECT_EQ(exif_get_field("k:1", nullptr, 4, "k"), -1);
  EXPECT_EQ(exif_get_field("k:1", to, 4, nullptr), -1);
  EXPECT_EQ(exif_get_field("k:1", to, 0, "k"), -1);
}

std::string time_of(const char* name, size_t size = 20) {
  char to[20] = "untouched";
  const int32_t result = exif_time_from_name(name, std::strlen(name), to, size);
  return std::to_string(result) + " " + to;
}

TEST(ExifTimeFromName, GoesByPosition) {
  EXPECT_EQ(time_of("20200101_120000AB.JPG"), "0 2020:01:01 12:00:00");
  EXPECT_EQ(time_of("YYYYMMDDxhhmmss.."), "0 YYYY:MM:DD hh:mm:ss");
}

TEST(ExifTimeFromName, NeedsSeventeenCharactersAndTwentyBytes) {
  EXPECT_EQ(time_of("20200101_1200.JP"), "-1 untouched");
  EXPECT_EQ(time_of("20200101_120000AB.JPG", 19), "-1 untouched");
  char to[20];
  EXPECT_EQ(exif_time_from_name(nullptr, 17, to, 20), -1);
  EXPECT_EQ(exif_time_from_name("20200101_120000AB.JPG", 21, nullptr, 20), -1);
}

}  // namespace
}  // namespace media
