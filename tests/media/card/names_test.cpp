#include "media/card/names.h"

#include <gtest/gtest.h>

#include <string>

namespace media {
namespace {

TEST(MediaFileKind, LooksForThePartAnywhereInTheName) {
  const std::pair<const char*, int32_t> kinds[] = {
      {"", 4},      {"a.JPG", 1}, {"a.jpg.txt", 1}, {"JPEGs", 1},     {"a.jpeg", 4},
      {"a.Jpg", 4}, {"X.mp4", 3}, {"X.MP4", 3},     {"X.MP4.jpg", 1}, {"X.avi", 4}};
  for (const auto& [name, kind] : kinds) EXPECT_EQ(media_file_kind(name), kind) << name;
  EXPECT_EQ(media_file_kind(nullptr), 4);
}

TEST(MediaFileKind, AThumbnailIsAPhoto) {
  EXPECT_EQ(media_file_kind("X_v.JPG"), 1);
  EXPECT_EQ(media_file_kind("X_p.JPG"), 1);
}

std::string thumb_of(const char* name, size_t size = 200) {
  char buffer[200];
  std::snprintf(buffer, sizeof(buffer), "%s", name);
  const int32_t result = media_thumb_name(buffer, size);
  return result == 0 ? buffer : "refused " + std::string(buffer);
}

TEST(MediaThumbName, ReplacesTheLastSuffix) {
  EXPECT_EQ(thumb_of("20200101_120000AB.JPG"), "20200101_120000AB_p.JPG");
  EXPECT_EQ(thumb_of("X.MP4"), "X_v.JPG");
  EXPECT_EQ(thumb_of("a.b.MP4"), "a.b_v.JPG");
  EXPECT_EQ(thumb_of("/tmp/SD0/KRVMEDIA/THUMB/a.jpg"), "/tmp/SD0/KRVMEDIA/THUMB/a_p.JPG");
  EXPECT_EQ(thumb_of("a.jpg.txt"), "a.jpg_p.JPG");
}

TEST(MediaThumbName, RefusesWhatHasNoDotOrNoKind) {
  EXPECT_EQ(thumb_of("JPG"), "refused JPG");
  EXPECT_EQ(thumb_of("a.txt"), "refused a.txt");
  EXPECT_EQ(media_thumb_name(nullptr, 10), -1);
  char name[4] = {'.', 'J', 'P', 'G'};
  EXPECT_EQ(media_thumb_name(name, sizeof(name)), -1);
  EXPECT_EQ(media_thumb_name(name, 0), -1);
}

TEST(MediaThumbName, IsCutToTheBuffer) {
  EXPECT_EQ(thumb_of("X.MP4", 6), "X_v.J");
  EXPECT_EQ(thumb_of("X.MP4", 8), "X_v.JPG");
}

std::string name_of(const char* name, int32_t mode, int32_t sequence) {
  char to[50] = "kept";
  const int32_t result = media_photo_name(name, {mode, sequence}, to, sizeof(to));
  return std::to_string(result) + " " + to;
}

TEST(MediaPhotoName, HasTheTimeTheModeAndTheNumber) {
  EXPECT_EQ(name_of("20200101_120000AB.JPG", 1, 5), "1 20200101_120000_PR05.JPG");
  EXPECT_EQ(name_of("20200101_120000AB.JPG", 2, 3), "1 20200101_120000_PW03.JPG");
  EXPECT_EQ(name_of("20200101_120000AB.JPG", 3, 10), "1 20200101_120000_PV10.JPG");
  EXPECT_EQ(name_of("20200101_120000AB.JPG", 4, 0), "1 20200101_120000_PH00.JPG");
  EXPECT_EQ(name_of("20200101_120000AB.JPG", 7, 255), "1 20200101_120000_PH255.JPG");
}

TEST(MediaPhotoName, IsNotMadeInModeZero) {
  EXPECT_EQ(name_of("20200101_120000AB.JPG", 0, 3), "0 kept");
}

TEST(MediaPhotoName, ShortNamesStayShortAndLongOnesAreCut) {
  EXPECT_EQ(name_of("a.JPG", 1, 1), "1 a.JPG_PR01.JPG");
  char to[18];
  EXPECT_EQ(media_photo_name("20200101_120000AB.JPG", {1, 1}, to, sizeof(to)), 1);
  EXPECT_STREQ(to, "20200101_120000_P");
  EXPECT_EQ(media_photo_name(nullptr, {1, 1}, to, sizeof(to)), 0);
  EXPECT_EQ(media_photo_name("a", {1, 1}, nullptr, 5), 0);
}

}  // namespace
}  // namespace media
