// The writer on photos in a temporary folder; the folders of the card are in photo_board_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "fake_base/fake_base.h"
#include "media/photo/exif.h"
#include "support/photo.h"

namespace media {
namespace {

using media_test::exif_bytes;
using media_test::Field;
using media_test::fields_of;
using media_test::Ifd;
using media_test::names_in;
using media_test::photo_with_exif;
using media_test::plain_photo;
using media_test::read_file;
using media_test::words;
using media_test::write_file;
using Names = std::vector<std::string>;

constexpr char kTime[] = "2020:01:01 12:00:00";
const Bytes kTimeBytes = text_bytes(kTime) + Bytes{0};

class ExifWrite : public fake_base::FakeBaseTest {
 protected:
  int32_t write(const Bytes& photo, const char* time = kTime, const GpsPosition& position = {}) {
    write_file(source, photo);
    const int32_t result =
        exif_write_photo(source.c_str(), target.c_str(), thumbnail.c_str(), time, position);
    app1 = media_test::app1_of(read_file(target));
    return result;
  }

  // Tags the photo, whose EXIF block begins at 2 and is followed by its picture at `picture`. What
  // becomes of it is a tagged photo that ends with all there is of the picture, or none at all; the
  // source stays what it is. Returns whether there is a tagged one.
  bool tag_or_leave(const Bytes& photo, size_t picture, size_t at) {
    std::filesystem::remove(target);
    const int32_t result = write(photo);
    EXPECT_TRUE(result == 0 || result == 2) << at;
    EXPECT_EQ(read_file(source), photo) << at;
    const Bytes tagged = read_file(target);
    if (tagged.empty()) return false;
    EXPECT_EQ(result, 0) << at;
    EXPECT_LE(picture, photo.size()) << at;
    const size_t rest = photo.size() - std::min(picture, photo.size());
    if (photo[1] == 0xD8) {  // else it does not begin as a photo, and neither does the tagged one
      // As much of the name as the camera left room for.
      const Bytes make = text_bytes("KOR");
      EXPECT_NE(std::search(app1.begin(), app1.end(), make.begin(), make.end()), app1.end()) << at;
      EXPECT_EQ(tagged.size(), 6 + app1.size() + rest) << at;
    }
    EXPECT_TRUE(std::equal(photo.end() - static_cast<ptrdiff_t>(rest), photo.end(),
                           tagged.end() - static_cast<ptrdiff_t>(rest)))
        << at;
    return true;
  }

  [[nodiscard]] Bytes value(Ifd ifd, uint16_t tag) const {
    const auto fields = fields_of(app1, ifd, tag);
    return fields.size() == 1 ? fields[0].value : Bytes{};
  }

  media_test::TemporaryFolder folder;
  std::string source = folder.path("s.JPG");
  std::string target = folder.path("t.JPG");
  std::string thumbnail = folder.path("s_p.JPG");
  Bytes app1;
};

TEST_F(ExifWrite, WritesTheProductTheTimesAndThePosition) {
  EXPECT_EQ(write(photo_with_exif(exif_bytes({})), kTime, {-1137500000, 225000000, -1234}), 0);
  EXPECT_EQ(value(Ifd::kZero, 0x010E), (Bytes{'F', 'A', 'L', 'K', '2', 0, 0}));
  EXPECT_EQ(value(Ifd::kZero, 0x010F), (Bytes{'K', 'O', 'R', 'V', 'A', 'N', 0}));
  EXPECT_EQ(value(Ifd::kZero, 0x0110), (Bytes{'F', 'A', 'L', 'K', '2', 0, 0}));
  EXPECT_EQ(value(Ifd::kZero, 0x013B), (Bytes{'F', 'A', 'L', 'K', '2', 0, 0}));
  EXPECT_EQ(value(Ifd::kZero, 0x0132), kTimeBytes);
  EXPECT_EQ(value(Ifd::kExif, 0x9003), kTimeBytes);
  EXPECT_EQ(value(Ifd::kExif, 0x9004), kTimeBytes);
  EXPECT_EQ(value(Ifd::kGps, 0), (Bytes{2, 2, 0, 0}));
  EXPECT_EQ(value(Ifd::kGps, 1), Bytes{'N'});
  EXPECT_EQ(value(Ifd::kGps, 2), words({22, 1, 30, 1, 0, 10}));
  EXPECT_EQ(value(Ifd::kGps, 3), Bytes{'W'});
  EXPECT_EQ(value(Ifd::kGps, 4), words({113, 1, 45, 1, 0, 10}));
  EXPECT_EQ(value(Ifd::kGps, 6), words({1234, 10}));
  EXPECT_TRUE(fields_of(app1, Ifd::kGps, 5).empty());
  EXPECT_EQ(app1[6], 'I');
}

TEST_F(ExifWrite, TheRestOfThePhotoIsUntouched) {
  EXPECT_EQ(write(photo_with_exif(exif_bytes({}))), 0);
  const Bytes saved = read_file(target);
  const Bytes plain = plain_photo();
  const auto tail = static_cast<ptrdiff_t>(plain.size()) - 2;
  EXPECT_EQ(Bytes(saved.end() - tail, saved.end()), Bytes(plain.begin() + 2, plain.end()));
  EXPECT_EQ(names_in(folder.folder()), (Names{"s.JPG", "t.JPG"}));
}

TEST_F(ExifWrite, EntriesKeepTheirSize) {
  const std::vector<Field> ifd0{{0x010F, 2, 3, {'A', 'B', 0}},
                                {0x0110, 2, 9, text_bytes("12345678") + Bytes{0}},
                                {0x0132, 2, 5, {'1', '2', '3', '4', 0}}};
  EXPECT_EQ(write(photo_with_exif(exif_bytes(ifd0))), 0);
  EXPECT_EQ(value(Ifd::kZero, 0x010F), (Bytes{'K', 'O', 'R'}));
  EXPECT_EQ(value(Ifd::kZero, 0x0110), (Bytes{'F', 'A', 'L', 'K', '2', 0, 0, 0, 0}));
  EXPECT_EQ(value(Ifd::kZero, 0x0132), (Bytes{'2', '0', '2', '0', ':'}));
}

TEST_F(ExifWrite, WithoutATimeTheTimeTagsAreLeftAlone) {
  const Bytes old_time = text_bytes("1999:01:01 00:00:00") + Bytes{0};
  EXPECT_EQ(write(photo_with_exif(exif_bytes({{0x0132, 2, 20, old_time}})), nullptr), 0);
  EXPECT_EQ(value(Ifd::kZero, 0x0132), old_time);
  EXPECT_TRUE(fields_of(app1, Ifd::kExif, 0x9003).empty());
}

TEST_F(ExifWrite, AnEmptyTimeFillsTheTimeTagsWithZeroBytes) {
  EXPECT_EQ(write(photo_with_exif(exif_bytes({})), ""), 0);
  EXPECT_EQ(value(Ifd::kZero, 0x0132), Bytes(20));
  EXPECT_EQ(value(Ifd::kExif, 0x9003), Bytes(20));
  EXPECT_EQ(value(Ifd::kExif, 0x9004), Bytes(20));
}

TEST_F(ExifWrite, AnOldEntryOfTheSameSizeStaysFirstAndOneOfAnotherSizeGoes) {
  const Bytes old_latitude = words({1, 1, 2, 1, 3, 10});
  const std::vector<Field> gps{{0, 1, 4, {2, 3, 0, 0}},
                               {1, 2, 2, {'S', 0}},
                               {2, 5, 3, old_latitude},
                               {6, 5, 1, words({7, 1})}};
  EXPECT_EQ(write(photo_with_exif(exif_bytes({}, gps)), kTime, {0, 225000000, 50}), 0);
  const auto fields = fields_of(app1, Ifd::kGps);
  std::vector<uint16_t> tags;
  tags.reserve(fields.size());
  for (const Field& field : fields) tags.push_back(field.tag);
  ASSERT_EQ(tags, (std::vector<uint16_t>{0, 0, 1, 2, 2, 3, 4, 6, 6}));
  EXPECT_EQ(fields[0].value, (Bytes{2, 3, 0, 0}));
  EXPECT_EQ(fields[1].value, (Bytes{2, 2, 0, 0}));
  EXPECT_EQ(fields[2].value, Bytes{'N'});
  EXPECT_EQ(fields[3].value, old_latitude);
  EXPECT_EQ(fields[4].value, words({22, 1, 30, 1, 0, 10}));
  EXPECT_EQ(fields[7].value, words({7, 1}));
  EXPECT_EQ(fields[8].value, words({50, 10}));
}

TEST_F(ExifWrite, TheThumbnailBecomesAFile) {
  const Bytes small = plain_photo();
  EXPECT_EQ(write(photo_with_exif(exif_bytes({}, {}, small))), 0);
  EXPECT_EQ(read_file(thumbnail), small);
  EXPECT_EQ(names_in(folder.folder()), (Names{"s.JPG", "s_p.JPG", "t.JPG"}));
}

TEST_F(ExifWrite, AThumbnailThatCannotBeWrittenIsSkipped) {
  thumbnail = folder.path("missing/s_p.JPG");
  EXPECT_EQ(write(photo_with_exif(exif_bytes({}, {}, plain_photo()))), 0);
  EXPECT_EQ(value(Ifd::kGps, 1), Bytes{'N'});
  EXPECT_EQ(exif_write_photo(source.c_str(), target.c_str(), nullptr, kTime, {}), 0);
}

TEST_F(ExifWrite, APhotoWithoutExifStaysAndTheCallSaysSo) {
  for (const Bytes& photo : {plain_photo(), Bytes{0, 1, 2}, Bytes{}}) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(write(photo), 2);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Out of memory\n");
    EXPECT_EQ(read_file(source), photo);
  }
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exif_write_photo(folder.path("x").c_str(), target.c_str(), nullptr, kTime, {}), 2);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Out of memory\n");
  EXPECT_EQ(names_in(folder.folder()), Names{"s.JPG"});
}

TEST_F(ExifWrite, RefusesANullPath) {
  EXPECT_EQ(exif_write_photo(nullptr, target.c_str(), thumbnail.c_str(), kTime, {}), -1);
  EXPECT_EQ(exif_write_photo(source.c_str(), nullptr, thumbnail.c_str(), kTime, {}), -1);
}

TEST_F(ExifWrite, APhotoThatBreaksOffBeforeItsPictureIsNotRewritten) {
  Bytes photo = photo_with_exif(exif_bytes({}, {}, plain_photo()));
  // The APP0 behind the EXIF block claims more than there is.
  photo.resize(photo.size() - plain_photo().size() + 2);
  photo = photo + Bytes{0xFF, 0xE0, 0xFF, 0x00, 1, 2, 3};
  write_file(source, photo);
  EXPECT_EQ(exif_write_photo(source.c_str(), source.c_str(), thumbnail.c_str(), kTime, {}), 0);
  EXPECT_EQ(read_file(source), photo);
  EXPECT_TRUE(media_test::exists(thumbnail));
}

TEST_F(ExifWrite, APhotoWhosePictureBreaksOffInALookAlikeOfAMarkerIsNotRewritten) {
  const Bytes whole = photo_with_exif(exif_bytes({}));
  const Bytes without_end(whole.begin(), whole.end() - 2);
  for (const Bytes& end : {Bytes{0xFF, 0x00}, Bytes{0xFF, 0xBF}, Bytes{0xFF, 0xC9}}) {
    const Bytes photo = without_end + end;
    write_file(source, photo);
    EXPECT_EQ(exif_write_photo(source.c_str(), source.c_str(), thumbnail.c_str(), kTime, {}), 0);
    EXPECT_EQ(read_file(source), photo);
  }
}

TEST_F(ExifWrite, TaggingTwiceInPlaceGrowsOnlyOnce) {
  write_file(source, photo_with_exif(exif_bytes({})));
  Bytes saved[3];
  for (Bytes& bytes : saved) {
    EXPECT_EQ(exif_write_photo(source.c_str(), source.c_str(), nullptr, kTime, {5, 6, 7}), 0);
    bytes = read_file(source);
  }
  // The second time every position entry is there twice; a reader, libexif too, takes only the
  // first.
  EXPECT_LT(saved[0].size(), saved[1].size());
  EXPECT_EQ(saved[1], saved[2]);
}

TEST_F(ExifWrite, EveryPrefixAndEveryBrokenByteIsSurvived) {
  const Bytes photo = photo_with_exif(exif_bytes(
      {{0x010F, 2, 3, {'A', 'B', 0}}}, {{2, 5, 3, words({1, 1, 2, 1, 3, 10})}}, plain_photo()));
  const size_t picture = 6 + app1_of(photo).size();
  ::testing::internal::CaptureStderr();
  for (size_t size = 0; size < photo.size(); size += size < picture ? 3 : 1) {
    tag_or_leave(Bytes(photo.begin(), photo.begin() + static_cast<ptrdiff_t>(size)), picture, size);
  }
  for (size_t at = 0; at < photo.size(); at++) {
    Bytes broken = photo;
    broken[at] = 0xFF;
    tag_or_leave(broken, picture, at);
  }
  (void)::testing::internal::GetCapturedStderr();
}

TEST_F(ExifWrite, ExtractGivesTheThumbnailAndItsSize) {
  const Bytes small = plain_photo();
  write_file(source, photo_with_exif(exif_bytes({}, {}, small)));
  EXPECT_EQ(exif_extract_thumbnail(source.c_str(), target.c_str()),
            static_cast<int32_t>(small.size()));
  EXPECT_EQ(read_file(target), small);
}

TEST_F(ExifWrite, ExtractRefusesWhatHasNoThumbnail) {
  write_file(source, photo_with_exif(exif_bytes({})));
  EXPECT_EQ(exif_extract_thumbnail(source.c_str(), target.c_str()), -1);
  EXPECT_EQ(exif_extract_thumbnail(nullptr, target.c_str()), -1);
  EXPECT_EQ(exif_extract_thumbnail(source.c_str(), nullptr), -1);
  write_file(source, photo_with_exif(exif_bytes({}, {}, plain_photo())));
  EXPECT_EQ(exif_extract_thumbnail(source.c_str(), folder.path("no/t").c_str()), -1);
  write_file(source, plain_photo());
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exif_extract_thumbnail(source.c_str(), target.c_str()), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Out of memory\n");
  EXPECT_FALSE(media_test::exists(target));
}

TEST(ExifTag, NamesThatAreNoPhotosOrUnsafeAreRefused) {
  EXPECT_EQ(exif_tag_photo(nullptr), -1);
  for (const char* name : {"", "x.MP4", "../x.JPG", "a b.JPG", "x.JPG;reboot", "x.jpg/"}) {
    ExifTagRequest request{};
    std::snprintf(request.name, sizeof(request.name), "%s", name);
    EXPECT_EQ(exif_tag_photo(&request), -1) << name;
    EXPECT_EQ(exif_tag_and_rename_photo(name, 0, 0, 0), -1) << name;
  }
  EXPECT_EQ(exif_tag_and_rename_photo(nullptr, 0, 0, 0), -1);
  EXPECT_EQ(get_tagging_busy(), 0);
}

}  // namespace
}  // namespace media
