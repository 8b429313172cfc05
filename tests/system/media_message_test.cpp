// Message 142: the peer names a media file. In the factory test the file gets a fixed name,
// otherwise a photo is tagged with the fields that came with it.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "photo_files.h"
#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

Frame naming(const std::string& name, const std::string& fields = "") {
  Bytes payload(243);
  payload[1] = 3;
  std::copy(name.begin(), name.end(), payload.begin() + 2);
  std::copy(fields.begin(), fields.end(), payload.begin() + 123);
  return message(142, payload);
}

// maintask with its link up, on a card with or without the marker of the factory test.
struct Link {
  explicit Link(bool test_mode) {
    std::filesystem::remove_all("/tmp/SD0/KRVMEDIA");
    for (const char* folder : {kPictures, kThumbnails, kVideos}) {
      std::filesystem::create_directories(folder);
    }
    if (test_mode) write_file("/tmp/SD0/KRVMEDIA/testmode.conf", "");
    maintask = std::make_unique<RunningMaintask>();
    peer.keep_alive();
    const uint8_t wanted = test_mode ? 2 : 0;
    EXPECT_TRUE(peer.wait_for(
        [wanted](const Frame& f) { return f.id == 0 && (f.u8(7) & 2) == wanted; }, seconds(20), 0));
    // The marker empties both folders first.
    if (test_mode) let_pass(milliseconds(3500));
  }
  ~Link() { EXPECT_TRUE(maintask->runs()); }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  // Returns when everything that was sent before has been worked off: the parameter list comes
  // back.
  void settle() {
    const size_t mark = peer.mark();
    peer.send(message(21, Bytes(2)));
    EXPECT_TRUE(peer.wait_for_id(22, seconds(10), mark));
  }

  PeerLink peer;
  std::unique_ptr<RunningMaintask> maintask;
};

TEST(MediaMessage, InTheFactoryTestFilesGetFixedNames) {
  Link link(true);
  const std::string videos = kVideos;
  const std::string pictures = kPictures;
  write_file(videos + "20200101_120000AB.MP4", "video");
  write_file(pictures + "20200101_120000AA.JPG", "photo");
  link.peer.send(naming("20200101_120000AB.MP4"));
  link.peer.send(naming("20200101_120000AA.JPG", "time:1;"));
  link.settle();
  EXPECT_EQ(list_folder(videos), std::vector<std::string>{"test.mp4"});
  EXPECT_EQ(list_folder(pictures), std::vector<std::string>{"test.jpg"});
  EXPECT_EQ(read_file(videos + "test.mp4"), "video");
  EXPECT_EQ(read_file(pictures + "test.jpg"), "photo");

  // Names with a meaning to a shell, of other kinds, or of nothing.
  write_file(videos + "a.MP4", "a");
  for (const char* name :
       {"$(touch /tmp/taken).MP4", "a.MP4;touch /tmp/taken;.MP4", "`touch /tmp/taken`.JPG",
        "../PIC/test.jpg", "", "notes.txt", "gone.MP4"}) {
    link.peer.send(naming(name));
  }
  Frame other_kind = naming("a.MP4");
  other_kind.payload[1] = 2;
  link.peer.send(other_kind);
  link.settle();
  EXPECT_FALSE(file_exists("/tmp/taken"));
  EXPECT_EQ(list_folder(videos), (std::vector<std::string>{"a.MP4", "test.mp4"}));
  EXPECT_EQ(list_folder(pictures), std::vector<std::string>{"test.jpg"});
}

TEST(MediaMessage, APhotoIsTaggedWithItsFields) {
  Link link(false);
  const std::string photo = std::string(kPictures) + "20200101_120000AB.JPG";
  photo_files::make_photo(photo);
  const std::string pixels = photo_files::pixels(photo);
  const std::string untagged = read_file(photo);

  // Without fields it is only listed, and a video is not touched either.
  write_file(std::string(kVideos) + "20200101_120000AB.MP4", "video");
  link.peer.send(naming("20200101_120000AB.JPG"));
  link.peer.send(naming("20200101_120000AB.MP4", "time:1;"));
  link.settle();
  EXPECT_EQ(read_file(photo), untagged);
  EXPECT_EQ(list_folder(kVideos), std::vector<std::string>{"20200101_120000AB.MP4"});

  link.peer.send(naming("20200101_120000AB.JPG",
                        "time:2021:02:03 04:05:06;gps_lon:1512345678;gps_lat:-337654321;"
                        "gps_alt:876"));
  link.settle();
  photo_files::expect_sound_jpeg(photo);
  EXPECT_EQ(photo_files::pixels(photo), pixels);
  auto tags = photo_files::exiftool(photo);
  EXPECT_NEAR(photo_files::number(tags["Composite:GPSLatitude"]), -33.7654321, 0.00003);
  EXPECT_NEAR(photo_files::number(tags["Composite:GPSLongitude"]), 151.2345678, 0.00003);
  EXPECT_EQ(photo_files::exiv2(photo)["Exif.Photo.DateTimeOriginal"], "2021:02:03 04:05:06");
  EXPECT_EQ(list_folder(kThumbnails), std::vector<std::string>{"20200101_120000AB_p.JPG"});

  // A photo that is not there, one that is none, and names that lead elsewhere.
  write_file(std::string(kPictures) + "b.JPG", "none");
  for (const char* name : {"c.JPG", "b.JPG", "../VIDEO/20200101_120000AB.MP4", "a/../b.JPG"}) {
    link.peer.send(naming(name, "time:2021:02:03 04:05:06;"));
  }
  link.settle();
  EXPECT_EQ(read_file(std::string(kPictures) + "b.JPG"), "none");
}

}  // namespace
