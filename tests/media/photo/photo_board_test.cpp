// Photo tagging on the card of a virtual board, judged by exiftool, exiv2, jpeginfo and
// ImageMagick.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <thread>

#include "media/card/store.h"
#include "media/photo/exif.h"
#include "support/photo_card.h"

namespace media {
namespace {

using media_test::exiftool;
using media_test::Ifd;
using media_test::kPic;
using media_test::kThumb;
using media_test::Names;
using media_test::names_in;
using media_test::read_file;
using media_test::run;
using media_test::words;
using media_test::write_file;

const std::string kCamera = kPic + "/20200101_120000AB.JPG";

// A picture of that size with noise, as a camera takes it.
Bytes picture(const std::string& size) {
  const std::string path = "/tmp/picture.jpg";
  const std::string made =
      run("convert -size " + size + " plasma:red-blue -quality 92 -strip " + path);
  EXPECT_EQ(made, "");
  Bytes bytes = read_file(path);
  unlink(path.c_str());
  return bytes;
}

const Bytes& large() {
  static const Bytes bytes = picture("2000x1500");
  return bytes;
}

const Bytes& small() {
  static const Bytes bytes = picture("160x120");
  return bytes;
}

Bytes camera_photo() {
  return media_test::photo_with_exif(media_test::exif_bytes({}, {}, small()), large());
}

class PhotoBoard : public media_test::PhotoCard {
 protected:
  static std::vector<media_test::Field> fields(const std::string& photo, Ifd ifd, uint16_t tag) {
    return media_test::fields_of(media_test::app1_of(read_file(photo)), ifd, tag);
  }
};

TEST_F(PhotoBoard, ANewPhotoIsTaggedRenamedAndItsThumbnailWritten) {
  write_file(kCamera, camera_photo());
  set_mode(2, 3);
  EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", 1137500000, 225000000, 1234), 0);
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000_PW03.JPG"});
  EXPECT_EQ(names_in(kThumb), Names{"20200101_120000_PW03_p.JPG"});
  EXPECT_EQ(read_file(kThumb + "/20200101_120000_PW03_p.JPG"), small());
  EXPECT_EQ(get_tagging_busy(), 0);

  const std::string photo = kPic + "/20200101_120000_PW03.JPG";
  const std::map<std::string, std::string> tags{{"GPSLatitude", "22.5"},
                                                {"GPSLongitude", "113.75"},
                                                {"GPSAltitude", "123.4"},
                                                {"GPSVersionID", "2 2 0 0"},
                                                {"Make", "KORVAN"},
                                                {"Model", "FALK2"},
                                                {"Artist", "FALK2"},
                                                {"ImageDescription", "FALK2"},
                                                {"ModifyDate", "2020:01:01 12:00:00"},
                                                {"DateTimeOriginal", "2020:01:01 12:00:00"},
                                                {"CreateDate", "2020:01:01 12:00:00"},
                                                {"GPSAltitudeRef", ""}};
  for (const auto& [tag, value] : tags) EXPECT_EQ(exiftool(photo, tag), value) << tag;
  EXPECT_EQ(
      run("exiv2 -q -K Exif.GPSInfo.GPSLatitude -K Exif.GPSInfo.GPSLongitudeRef -Pv " + photo),
      "22/1 30/1 0/10\nE");
  EXPECT_EQ(run("exiv2 -q -K Exif.Photo.DateTimeOriginal -K Exif.Image.Make -Pv " + photo),
            "KORVAN\n2020:01:01 12:00:00");
  EXPECT_THAT(run("jpeginfo -c " + photo), ::testing::HasSubstr(" OK "));
}

TEST_F(PhotoBoard, ThePixelsAreUnchanged) {
  write_file(kCamera, camera_photo());
  const std::string decode =
      "ffmpeg -v error -i " + kCamera + " -f rawvideo -pix_fmt yuvj444p - | md5sum";
  const std::string before = run(decode);
  EXPECT_NE(before, "d41d8cd98f00b204e9800998ecf8427e  -") << "nothing was decoded";
  EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", 1, 2, 3), 0);
  EXPECT_NE(read_file(kCamera), camera_photo());
  EXPECT_EQ(run(decode), before);
}

TEST_F(PhotoBoard, WithPhotoModeZeroThePhotoIsRewrittenInPlace) {
  write_file(kCamera, camera_photo());
  EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", -1, -1, -1234), 0);
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000AB.JPG"});
  EXPECT_EQ(names_in(kThumb), Names{"20200101_120000AB_p.JPG"});
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 1).at(0).value, Bytes{'S'});
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 3).at(0).value, Bytes{'W'});
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 6).at(0).value, words({1234, 10}));
  EXPECT_EQ(fields(kCamera, Ifd::kZero, 0x0132).at(0).value,
            media_test::text_bytes("2020:01:01 12:00:00") + Bytes{0});
}

TEST_F(PhotoBoard, ASixteenCharacterNameGivesTimesOfZeroBytes) {
  const std::string photo = kPic + "/20200101_120.JPG";
  write_file(photo, camera_photo());
  ASSERT_EQ(exif_tag_and_rename_photo("20200101_120.JPG", 0, 0, 0), 0);
  EXPECT_EQ(fields(photo, Ifd::kZero, 0x0132).at(0).value, Bytes(20));
  EXPECT_EQ(fields(photo, Ifd::kExif, 0x9003).at(0).value, Bytes(20));
  EXPECT_EQ(fields(photo, Ifd::kExif, 0x9004).at(0).value, Bytes(20));
}

TEST_F(PhotoBoard, ANewNameThatIsTheOldOneKeepsThePhoto) {
  set_mode(1, 5);
  const std::string photo = kPic + "/20200101_120000_PR05.JPG";
  write_file(photo, camera_photo());
  EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000_PR05.JPG", 0, 0, 0), 0);
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000_PR05.JPG"});
  EXPECT_EQ(fields(photo, Ifd::kGps, 1).size(), 1U);
}

TEST_F(PhotoBoard, APhotoWithoutExifStaysAsItIsUnderItsName) {
  set_mode(1, 5);
  write_file(kCamera, large());
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", 0, 0, 0), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Out of memory\n");
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000AB.JPG"});
  EXPECT_EQ(read_file(kCamera), large());
  EXPECT_TRUE(names_in(kThumb).empty());
  EXPECT_EQ(get_tagging_busy(), 0);
}

TEST_F(PhotoBoard, APhotoThatIsMissingChangesNothing) {
  set_mode(1, 5);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", 0, 0, 0), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Out of memory\n");
  EXPECT_TRUE(names_in(kPic).empty());
}

TEST_F(PhotoBoard, BusyIsSetWhileAPhotoIsWritten) {
  write_file(kCamera, camera_photo());
  std::atomic<bool> done{false};
  std::atomic<bool> seen{false};
  std::thread watcher([&] {
    while (!done && !seen) seen = get_tagging_busy() == 1;
  });
  exif_tag_and_rename_photo("20200101_120000AB.JPG", 0, 0, 0);
  done = true;
  watcher.join();
  EXPECT_TRUE(seen);
  EXPECT_EQ(get_tagging_busy(), 0);
}

ExifTagRequest request(const char* name, const char* fields) {
  ExifTagRequest made{};
  std::snprintf(made.name, sizeof(made.name), "%s", name);
  std::snprintf(made.fields, sizeof(made.fields), "%s", fields);
  return made;
}

TEST_F(PhotoBoard, ARequestTagsInPlaceWithItsOwnTimeAndPosition) {
  write_file(kCamera, camera_photo());
  set_mode(2, 3);
  const ExifTagRequest all =
      request("20200101_120000AB.JPG",
              "time:2021:02:03 04:05:06;gps_lon:-1137500000;gps_lat:225000000;gps_alt:50");
  EXPECT_EQ(exif_tag_photo(&all), 0);
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000AB.JPG"});
  EXPECT_EQ(names_in(kThumb), Names{"20200101_120000AB_p.JPG"});
  EXPECT_EQ(exiftool(kCamera, "GPSLongitude"), "-113.75");
  EXPECT_EQ(exiftool(kCamera, "GPSLongitudeRef"), "W");
  EXPECT_EQ(exiftool(kCamera, "GPSLatitude"), "22.5");
  EXPECT_EQ(exiftool(kCamera, "GPSAltitude"), "5");
  EXPECT_EQ(exiftool(kCamera, "DateTimeOriginal"), "2021:02:03 04:05:06");
  EXPECT_EQ(get_tagging_busy(), 0);
}

TEST_F(PhotoBoard, AMissingNumberRepeatsTheOneBefore) {
  write_file(kCamera, camera_photo());
  const ExifTagRequest some = request("20200101_120000AB.JPG", "gps_lon:225000000");
  EXPECT_EQ(exif_tag_photo(&some), 0);
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 4).at(0).value, words({22, 1, 30, 1, 0, 10}));
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 2).at(0).value, words({22, 1, 30, 1, 0, 10}));
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 6).at(0).value, words({225000000, 10}));
  EXPECT_EQ(fields(kCamera, Ifd::kZero, 0x0132).at(0).value, Bytes(20));
}

TEST_F(PhotoBoard, ARequestWithoutNumbersMeansZero) {
  write_file(kCamera, camera_photo());
  const ExifTagRequest none = request("20200101_120000AB.JPG", "");
  EXPECT_EQ(exif_tag_photo(&none), 0);
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 2).at(0).value, words({0, 1, 0, 1, 0, 10}));
  EXPECT_EQ(fields(kCamera, Ifd::kGps, 1).at(0).value, Bytes{'N'});
}

TEST_F(PhotoBoard, ARequestWithoutTerminatorsIsReadOnlyToItsEnd) {
  ExifTagRequest hostile{};
  std::fill(std::begin(hostile.name), std::end(hostile.name), 'J');
  std::fill(std::begin(hostile.fields), std::end(hostile.fields), ';');
  std::snprintf(hostile.name, 4, "JPG");
  hostile.name[3] = 'J';
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exif_tag_photo(&hostile), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Out of memory\n");
}

// A card of its own in the place of the board's, gone with the object.
class Card {
 public:
  explicit Card(const char* options) {
    mounted_ = mount("card", "/tmp/SD0", "tmpfs", 0, options) == 0;
    EXPECT_TRUE(mounted_);
  }
  ~Card() {
    if (mounted_) umount2("/tmp/SD0", MNT_DETACH);
  }
  Card(const Card&) = delete;
  Card& operator=(const Card&) = delete;

  static void make_read_only() {
    EXPECT_EQ(mount("card", "/tmp/SD0", "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
  }

 private:
  bool mounted_ = false;
};

TEST_F(PhotoBoard, AFullCardCostsTheTaggingAndNotThePhoto) {
  const Bytes photo = camera_photo();
  const std::string size = "size=" + std::to_string(photo.size() * 3 / 2);
  for (const int32_t mode : {0, 2}) {
    const Card card(size.c_str());
    make_folders();
    set_mode(mode, 3);
    write_file(kCamera, photo);
    EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", 1, 2, 3), 0);
    EXPECT_EQ(names_in(kPic), Names{"20200101_120000AB.JPG"});
    EXPECT_EQ(read_file(kCamera), photo);
    const ExifTagRequest tag = request("20200101_120000AB.JPG", "gps_lon:1");
    EXPECT_EQ(exif_tag_photo(&tag), 0);
    EXPECT_EQ(read_file(kCamera), photo);
  }
}

TEST_F(PhotoBoard, AFullCardKeepsTheOlderPhotoOfTheNewNameToo) {
  const Bytes photo = camera_photo();
  const Card card(("size=" + std::to_string(photo.size() * 3 / 2)).c_str());
  make_folders();
  set_mode(2, 3);
  write_file(kCamera, photo);
  write_file(kPic + "/20200101_120000_PW03.JPG", small());
  EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", 1, 2, 3), 0);
  EXPECT_EQ(names_in(kPic), (Names{"20200101_120000AB.JPG", "20200101_120000_PW03.JPG"}));
  EXPECT_EQ(read_file(kCamera), photo);
  EXPECT_EQ(read_file(kPic + "/20200101_120000_PW03.JPG"), small());
}

TEST_F(PhotoBoard, AReadOnlyCardCostsTheTaggingAndNotThePhoto) {
  const Bytes photo = camera_photo();
  const Card card("size=64m");
  make_folders();
  write_file(kCamera, photo);
  Card::make_read_only();
  for (const int32_t mode : {0, 2}) {
    set_mode(mode, 3);
    EXPECT_EQ(exif_tag_and_rename_photo("20200101_120000AB.JPG", 1, 2, 3), 0);
    EXPECT_EQ(names_in(kPic), Names{"20200101_120000AB.JPG"});
    EXPECT_EQ(read_file(kCamera), photo);
  }
}

TEST_F(PhotoBoard, AnUnfinishedPhotoIsInNoList) {
  write_file(kCamera, camera_photo());
  std::atomic<bool> done{false};
  int32_t most = 0;
  std::thread watcher([&] {
    while (!done) {
      MediaListHead head{nullptr};
      media_scan_dir(kPic.c_str(), &head);
      most = std::max(most, media_list_count(&head));
      media_list_free(&head);
    }
  });
  for (int i = 0; i < 3; i++) exif_tag_and_rename_photo("20200101_120000AB.JPG", 0, 0, 0);
  done = true;
  watcher.join();
  EXPECT_EQ(most, 1);
}

}  // namespace
}  // namespace media
