// What happens to the photo that the camera service reports: tags, names, and cards that refuse.
// The photos come from the test, so that before and after can be compared.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <string>

#include "photo_files.h"
#include "support/scripted_suite.h"

namespace {

using namespace support;  // NOLINT
using photo_files::exiftool;
using photo_files::exiv2;

const std::string kName = "20200101_120000AB.JPG";
const std::string kPhoto = kPictures + kName;
const std::string kThumbnail = std::string(kThumbnails) + "20200101_120000AB_p.JPG";
const std::string kModePhoto = std::string(kPictures) + "20200101_120000_PW03.JPG";
const std::string kModeThumbnail = std::string(kThumbnails) + "20200101_120000_PW03_p.JPG";

std::string report_of(const std::string& path) {
  return R"({"rval":0,"msg_id":769,"param":")" + path + "\"}";
}

class Photo : public ScriptedSuite {
 protected:
  static void SetUpTestSuite() {
    ScriptedSuite::SetUpTestSuite();
    photo_files::make_photo("/tmp/photo.jpg");
    photo_files::make_plain_photo("/tmp/plain.jpg");
  }

  void SetUp() override {
    ScriptedSuite::SetUp();
    std::filesystem::remove_all("/tmp/SD0/KRVMEDIA");
    for (const char* folder : {kPictures, kThumbnails, kVideos}) {
      std::filesystem::create_directories(folder);
    }
    board->camera.answer("\"msg_id\":769,", report_of(R"(C:\\DCIM\\20200101_120000AA.JPG)"));
    // Photo mode 0: the photo keeps its name.
    no_action();
  }

  // Clears the photo mode, as every command 2 does.
  static void no_action() { board->peer.send(command_long({.command = 2, .param1 = 5})); }
  static void put(const std::string& source, const std::string& path = kPhoto) {
    std::filesystem::copy_file(source, path, std::filesystem::copy_options::overwrite_existing);
  }
  // Takes a photo and waits until it has been worked on.
  static void take(const Frame& request = command_long({.command = 2, .param1 = 1})) {
    const size_t from = board->peer.mark();
    board->peer.send(request);
    const auto acknowledgement = board->peer.wait_for_ack(2001, seconds(5), from);
    ASSERT_TRUE(acknowledgement);
    EXPECT_EQ(acknowledgement->u8(2), 0);
    ASSERT_TRUE(board->peer.wait_for_report(1, seconds(15), from));
  }
  // Photo mode 2, sequence number 3.
  static void take_in_mode() {
    take(command_long({.command = 203, .param5 = 1, .param6 = 3, .param7 = 1}));
  }
  static void fly_to(int32_t latitude, int32_t longitude, float metres) {
    board->peer.send(raw_position(latitude, longitude));
    board->peer.send(altitude(metres));
  }
};

// Latitude and its letter, longitude and its letter, altitude.
void expect_position(const std::map<std::string, std::string>& values,
                     const std::array<const char*, 5>& expected) {
  constexpr std::array kTags = {"GPSLatitude", "GPSLatitudeRef", "GPSLongitude", "GPSLongitudeRef",
                                "GPSAltitude"};
  for (size_t i = 0; i < kTags.size(); i++) {
    const std::string tag = std::string("Exif.GPSInfo.") + kTags.at(i);
    const auto found = values.find(tag);
    ASSERT_NE(found, values.end()) << tag;
    EXPECT_EQ(found->second, expected.at(i)) << tag;
  }
}

TEST_F(Photo, IsTaggedInPlaceAndBothReadersAgree) {
  put("/tmp/photo.jpg");
  fly_to(225000000, -1138765432, -123.4F);
  take();
  EXPECT_EQ(list_folder(kPictures), (std::vector<std::string>{kName}));
  photo_files::expect_sound_jpeg(kPhoto);
  EXPECT_EQ(photo_files::pixels(kPhoto), photo_files::pixels("/tmp/photo.jpg"));

  auto tags = exiftool(kPhoto);
  EXPECT_EQ(tags["IFD0:ImageDescription"].substr(0, 5), "FALK2");
  EXPECT_EQ(tags["IFD0:Make"], "KOR");  // the entry keeps its 3 bytes
  EXPECT_EQ(tags["IFD0:Model"].substr(0, 5), "FALK2");
  EXPECT_EQ(tags["IFD0:Artist"].substr(0, 5), "FALK2");
  for (const char* tag : {"IFD0:ModifyDate", "ExifIFD:DateTimeOriginal", "ExifIFD:CreateDate"}) {
    EXPECT_EQ(tags[tag], "2020:01:01 12:00:00") << tag;
  }
  EXPECT_EQ(tags["GPS:GPSVersionID"], "2 2 0 0");
  EXPECT_EQ(tags["GPS:GPSLatitude"], "22.5");
  EXPECT_EQ(tags["GPS:GPSLatitudeRef"], "N");
  EXPECT_NEAR(photo_files::number(tags["GPS:GPSLongitude"]), 113.8765432, 0.00003);
  EXPECT_EQ(tags["GPS:GPSLongitudeRef"], "W");
  EXPECT_EQ(tags["GPS:GPSAltitude"], "123.4");
  EXPECT_EQ(tags.count("GPS:GPSAltitudeRef"), 0U);

  auto values = exiv2(kPhoto);
  expect_position(values, {"22/1 30/1 0/10", "N", "113/1 52/1 355/10", "W", "1234/10"});
  EXPECT_EQ(values["Exif.Photo.DateTimeOriginal"], "2020:01:01 12:00:00");
  EXPECT_EQ(values["Exif.Image.Make"], "KOR");

  photo_files::expect_sound_jpeg(kThumbnail);
  EXPECT_EQ(read_file(kThumbnail), read_file("/tmp/photo_thumbnail.jpg"));
}

TEST_F(Photo, APositionJustBelowZeroIsSouthAndWest) {
  put("/tmp/photo.jpg");
  fly_to(-1, -1, 0);
  take();
  auto values = exiv2(kPhoto);
  expect_position(values, {"0/1 0/1 0/10", "S", "0/1 0/1 0/10", "W", "0/10"});
}

TEST_F(Photo, AltitudeThatIsNoNumberIsHarmless) {
  put("/tmp/photo.jpg");
  fly_to(INT32_MIN, INT32_MAX, std::nanf(""));
  take();
  auto values = exiv2(kPhoto);
  EXPECT_EQ(values["Exif.GPSInfo.GPSAltitude"], "0/10");
  EXPECT_EQ(values["Exif.GPSInfo.GPSLatitudeRef"], "S");
  photo_files::expect_sound_jpeg(kPhoto);
}

TEST_F(Photo, IsAcknowledgedBeforeItIsTaggedAndReportedAfterwards) {
  put("/tmp/photo.jpg");
  const std::string before = read_file(kPhoto);
  mark = board->peer.mark();
  board->peer.send(command_long({.command = 2, .param1 = 1}));
  const auto acknowledgement = board->peer.wait_for_ack(2001, seconds(5), mark);
  const auto report = board->peer.wait_for_report(1, seconds(5), mark);
  ASSERT_TRUE(acknowledgement && report);
  EXPECT_NE(read_file(kPhoto), before);
  const auto frames = board->peer.frames(mark);
  size_t acknowledged = 0, reported = 0;
  for (size_t i = 0; i < frames.size(); i++) {
    if (frames[i].id == 77) acknowledged = i;
    if (frames[i].id == 76 && frames[i].system == 35) reported = i;
  }
  EXPECT_LT(acknowledged, reported);
}

TEST_F(Photo, AModeGivesANewNameAndTheOldFileGoes) {
  put("/tmp/photo.jpg");
  take_in_mode();
  EXPECT_EQ(list_folder(kPictures), (std::vector<std::string>{"20200101_120000_PW03.JPG"}));
  EXPECT_EQ(list_folder(kThumbnails), (std::vector<std::string>{"20200101_120000_PW03_p.JPG"}));
  photo_files::expect_sound_jpeg(kModePhoto);
  EXPECT_EQ(photo_files::pixels(kModePhoto), photo_files::pixels("/tmp/photo.jpg"));
  EXPECT_EQ(exiftool(kModePhoto)["ExifIFD:DateTimeOriginal"], "2020:01:01 12:00:00");
}

TEST_F(Photo, AnExistingPositionOfTheSameSizeStaysInFrontOfTheNewOne) {
  put("/tmp/photo.jpg");
  photo_files::run(
      {"exiftool", "-q", "-overwrite_original", "-GPSLatitude=48.5", "-GPSLatitudeRef=N", kPhoto});
  fly_to(225000000, 0, 10);
  take();
  // exiftool shows duplicates with -a, in file order.
  const std::string both =
      photo_files::run({"exiftool", "-n", "-a", "-G1", "-s3", "-GPS:GPSLatitude", kPhoto});
  EXPECT_NE(both.find("48.5"), std::string::npos) << both;
  EXPECT_NE(both.find("22.5"), std::string::npos) << both;
  EXPECT_LT(both.find("48.5"), both.find("22.5")) << both;
}

TEST_F(Photo, WithoutExifStaysAsItIs) {
  put("/tmp/plain.jpg");
  const std::string before = read_file(kPhoto);
  take();
  EXPECT_EQ(read_file(kPhoto), before);
  EXPECT_TRUE(list_folder(kThumbnails).empty());
  take_in_mode();
  EXPECT_EQ(list_folder(kPictures), (std::vector<std::string>{kName}));
  EXPECT_EQ(read_file(kPhoto), before);
  EXPECT_GE(board->maintask.process().count_lines("Out of memory"), 2U);
}

TEST_F(Photo, WithABrokenExifBlockIsNeverLost) {
  const std::string whole = read_file("/tmp/photo.jpg");
  const size_t exif = whole.find("Exif");
  ASSERT_NE(exif, std::string::npos);
  std::vector<std::string> damaged;
  damaged.push_back(whole.substr(0, exif + 9));  // ends inside the block
  damaged.push_back(whole.substr(0, 3000));      // ends inside a table
  damaged.push_back("");                         // nothing
  damaged.push_back(whole.substr(0, 2));         // only the first marker
  std::string offsets = whole;
  for (size_t i = 0; i < 200; i++) offsets[exif + 10 + i] = static_cast<char>(0xFF);
  damaged.push_back(offsets);
  for (size_t step = 1; step <= 8; step++) {
    std::string noisy = whole;
    for (size_t i = exif + 6; i < exif + 600; i += step * 7) noisy[i] = static_cast<char>(i * step);
    damaged.push_back(noisy);
  }
  for (const std::string& content : damaged) {
    write_file(kPhoto, content);
    take();
    EXPECT_TRUE(file_exists(kPhoto));
    // A photo that could not be read stays as it was; one that could still decodes as before.
    if (read_file(kPhoto) != content) {
      EXPECT_EQ(photo_files::pixels(kPhoto), photo_files::pixels("/tmp/photo.jpg"));
    }
    ASSERT_TRUE(board->maintask.runs()) << board->maintask.process().output();
  }
}

TEST_F(Photo, ThatIsNotThereIsReportedAllTheSame) {
  take();
  EXPECT_TRUE(list_folder(kPictures).empty());
  EXPECT_TRUE(list_folder(kThumbnails).empty());
}

TEST_F(Photo, NamesFromTheServiceCannotLeaveTheFolder) {
  write_file("/tmp/SD0/KRVMEDIA/20200101_120000AB.JPG", read_file("/tmp/photo.jpg"));
  const std::string before = read_file("/tmp/SD0/KRVMEDIA/20200101_120000AB.JPG");
  put("/tmp/photo.jpg");
  const std::string own = read_file(kPhoto);
  for (const std::string& path :
       {std::string(R"(C:\\DCIM\\../20200101_120000AA.JPG)"),
        std::string(R"(C:\\DCIM\\$(touch /tmp/owned).JPG)"),
        std::string(R"(C:\\DCIM\\`touch /tmp/owned`.JPG)"),
        std::string(R"(C:\\DCIM\\a.JPG;touch /tmp/owned)"), std::string(R"(C:\\DCIM\\)"),
        std::string("no backslash"), std::string(R"(C:\\DCIM\\..)"),
        std::string(R"(C:\\DCIM\\)") + std::string(600, 'A') + ".JPG"}) {
    board->camera.answer("\"msg_id\":769,", report_of(path));
    take();
    take_in_mode();
  }
  EXPECT_EQ(read_file("/tmp/SD0/KRVMEDIA/20200101_120000AB.JPG"), before);
  EXPECT_EQ(read_file(kPhoto), own);
  EXPECT_FALSE(file_exists("/tmp/owned"));
  EXPECT_TRUE(board->maintask.runs());
}

// A card of its own under the media folders, so that a test may fill it or write-protect it.
class PhotoOnASmallCard : public Photo {
 protected:
  void SetUp() override {
    Photo::SetUp();
    ASSERT_EQ(mount("card", "/tmp/SD0/KRVMEDIA", "tmpfs", 0, "size=1M"), 0);
    for (const char* folder : {kPictures, kThumbnails, kVideos}) {
      std::filesystem::create_directories(folder);
    }
    put("/tmp/photo.jpg");
    before_ = read_file(kPhoto);
  }
  void TearDown() override {
    umount2("/tmp/SD0/KRVMEDIA", MNT_DETACH);
    Photo::TearDown();
  }
  void expect_photo_unharmed() {
    EXPECT_EQ(list_folder(kPictures), (std::vector<std::string>{kName}));
    EXPECT_EQ(read_file(kPhoto), before_);
  }

  std::string before_;
};

TEST_F(PhotoOnASmallCard, AFullCardCostsTheTagsAndNotThePhoto) {
  const int fd = open("/tmp/SD0/KRVMEDIA/fill", O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  const std::string page(4096, 'x');
  while (write(fd, page.data(), page.size()) > 0) {
  }
  close(fd);
  take();
  expect_photo_unharmed();
  take_in_mode();
  expect_photo_unharmed();
  // With room again the same photo is tagged.
  std::filesystem::remove("/tmp/SD0/KRVMEDIA/fill");
  no_action();
  take();
  EXPECT_NE(read_file(kPhoto), before_);
  EXPECT_EQ(photo_files::pixels(kPhoto), photo_files::pixels("/tmp/photo.jpg"));
}

TEST_F(PhotoOnASmallCard, AWriteProtectedCardCostsTheTagsAndNotThePhoto) {
  ASSERT_EQ(mount(nullptr, "/tmp/SD0/KRVMEDIA", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  take();
  expect_photo_unharmed();
  take_in_mode();
  expect_photo_unharmed();
  ASSERT_EQ(mount(nullptr, "/tmp/SD0/KRVMEDIA", nullptr, MS_REMOUNT, nullptr), 0);
}

}  // namespace
