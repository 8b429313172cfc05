// Thumbnails that the application asks for, on the card of a virtual board.
#include <filesystem>

#include "media/card/store.h"
#include "media/channel/transfer_requests.h"
#include "media/channel/transfer_rig.h"

namespace media {
namespace {

namespace fs = std::filesystem;
using media_test::Bytes;
using media_test::names_in;
using Words = std::vector<std::string>;

const std::string kPic = std::string(kPhotoFolder) + "/";
const std::string kThumb = std::string(kThumbFolder) + "/";
constexpr uint8_t kDownload = 1;
constexpr uint8_t kDelete = 2;

class ThumbnailBoard : public ::testing::Test {
 protected:
  ThumbnailBoard() {
    fs::remove_all("/tmp/SD0/KRVMEDIA");
    for (const std::string& folder : {kPic, kThumb}) fs::create_directories(folder);
  }
  ~ThumbnailBoard() override { fs::remove_all("/tmp/SD0/KRVMEDIA"); }

  // A listed photo with a thumbnail in it.
  static void take(const std::string& name) {
    const Bytes exif = media_test::exif_bytes({}, {}, media_test::plain_photo());
    media_test::write_file(kPic + name, media_test::photo_with_exif(exif));
    EXPECT_EQ(media_rescan(&media_store), 0);
  }
  void ask(uint8_t kind, uint8_t operation, const std::string& name) {
    transfer_dispatch(media_test::parsed(media_test::file_request(kind, operation, name)),
                      &rig_.context);
  }
  // What comes of one request for a thumbnail.
  Words ask_for_thumbnail(const std::string& name) {
    ask(MEDIA_THUMB, kDownload, name);
    media_test::run_queue();
    return rig_.said();
  }
  // A photo's name of so many characters.
  static std::string name_of(size_t length) { return std::string(length - 4, 'a') + ".JPG"; }

  static int32_t thumbnails() { return media_list_count(media_list(MEDIA_THUMB)); }

  media_test::TransferRig rig_;
};

TEST_F(ThumbnailBoard, IsMadeOnceAndFoundAgain) {
  take("a.JPG");
  EXPECT_EQ(ask_for_thumbnail("a.JPG"), (Words{"NOTEXIST", "THUMBREADY:a.JPG"}));
  EXPECT_EQ(names_in(kThumb), Words{"a_p.JPG"});
  EXPECT_EQ(media_test::read_file(kThumb + "a_p.JPG"), media_test::plain_photo());
  EXPECT_EQ(
      ask_for_thumbnail("a.JPG"),
      (Words{"TRANSSTART:a.JPG;FTYPE:2",
             "data 2 " + std::to_string(media_test::plain_photo().size()), "TRANSCOMPLETE:a.JPG"}));
  EXPECT_EQ(thumbnails(), 1);
}

TEST_F(ThumbnailBoard, TwoRequestsForAMissingOneMakeOneNode) {
  take("a.JPG");
  ask(MEDIA_THUMB, kDownload, "a.JPG");
  ask(MEDIA_THUMB, kDownload, "a.JPG");
  media_test::run_queue();
  EXPECT_EQ(rig_.said(), (Words{"NOTEXIST", "NOTEXIST", "THUMBREADY:a.JPG", "THUMBREADY:a.JPG"}));
  EXPECT_EQ(thumbnails(), 1);
  // With the photo goes all that is known of its thumbnail.
  ask(MEDIA_PHOTO, kDelete, "a.JPG");
  media_test::run_queue();
  EXPECT_EQ(rig_.said(), Words{"FREMOVED:a.JPG"});
  EXPECT_EQ(thumbnails(), -1);
  EXPECT_EQ(ask_for_thumbnail("a.JPG"), Words{"NOTEXIST"});
}

TEST_F(ThumbnailBoard, OfALongNameIsFoundAgainAsLongAsItsOwnNameFits) {
  for (const size_t length : {46U, 47U}) {
    const std::string name = name_of(length);
    take(name);
    EXPECT_EQ(ask_for_thumbnail(name), (Words{"NOTEXIST", "THUMBREADY:" + name})) << length;
    EXPECT_EQ(ask_for_thumbnail(name).front(), "TRANSSTART:" + name + ";FTYPE:2") << length;
    EXPECT_EQ(media_rescan(&media_store), 0);
    EXPECT_EQ(ask_for_thumbnail(name).back(), "TRANSCOMPLETE:" + name) << length;
  }
  EXPECT_EQ(thumbnails(), 2);
}

TEST_F(ThumbnailBoard, WhoseNameDoesNotFitIsAnErrorAndLeavesNothing) {
  for (const std::string& name : {name_of(48), name_of(49), "JPG" + std::string(42, 'a') + ".x"}) {
    take(name);
    for (int i = 0; i < 2; i++) {
      EXPECT_EQ(ask_for_thumbnail(name), (Words{"NOTEXIST", "THUMBERROR:" + name}));
    }
  }
  EXPECT_TRUE(names_in(kThumb).empty());
  EXPECT_EQ(thumbnails(), -1);
}

TEST_F(ThumbnailBoard, OfAListedPhotoWithAnOddNameIsAnError) {
  for (const std::string name : {"a b.JPG", "a'b.JPG", "$(reboot).JPG", "ä.JPG", "aJPG"}) {
    take(name);
    EXPECT_EQ(ask_for_thumbnail(name), (Words{"NOTEXIST", "THUMBERROR:" + name}));
  }
  EXPECT_TRUE(names_in(kThumb).empty());
}

TEST_F(ThumbnailBoard, OfAFileThatIsNotListedIsNoticedNoFurther) {
  take("a.JPG");
  media_test::write_file(kPic + "note.txt", {1});
  EXPECT_EQ(media_rescan(&media_store), 0);
  for (const std::string& name : {std::string("b.JPG"), std::string("b c.JPG"), name_of(49),
                                  std::string("bJPG"), std::string("note.txt")}) {
    EXPECT_EQ(ask_for_thumbnail(name), Words{"NOTEXIST"}) << name;
  }
}

}  // namespace
}  // namespace media
