// The media lists on the card of a virtual board.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "media/card/store.h"
#include "support/photo.h"

namespace media {
namespace {

namespace fs = std::filesystem;
using media_test::exists;
using media_test::write_file;

const std::string kPic = "/tmp/SD0/KRVMEDIA/PIC/";
const std::string kThumb = "/tmp/SD0/KRVMEDIA/THUMB/";
const std::string kVideo = "/tmp/SD0/KRVMEDIA/VIDEO/";

class MediaBoard : public ::testing::Test {
 protected:
  MediaBoard() {
    fs::remove_all("/tmp/SD0/KRVMEDIA");
    for (const std::string& folder : {kPic, kThumb, kVideo}) fs::create_directories(folder);
  }
  ~MediaBoard() override {
    media_store_reset();
    fs::remove_all("/tmp/SD0/KRVMEDIA");
  }

  // A file of that size, without its bytes.
  static void make_file(const std::string& path, uintmax_t size) {
    write_file(path, {});
    fs::resize_file(path, size);
  }

  static int32_t count(int32_t kind) { return media_list_count(media_list(kind)); }
};

TEST_F(MediaBoard, RescanListsTheThreeFolders) {
  write_file(kPic + "a.JPG", {1});
  write_file(kPic + "b.JPG", {1});
  write_file(kThumb + "a_p.JPG", {1});
  make_file(kVideo + "x.MP4", 1048577);
  make_file(kVideo + "yAA.MP4", 1048577);
  EXPECT_EQ(media_rescan(&media_store), 0);
  EXPECT_EQ(count(MEDIA_PHOTO), 2);
  EXPECT_EQ(count(MEDIA_THUMB), 1);
  EXPECT_EQ(count(MEDIA_VIDEO), 1);
  EXPECT_EQ(media_list(4), nullptr);
  EXPECT_EQ(media_list(0), nullptr);
  const MediaFileNode* node = media_list_find("x.MP4", media_list(MEDIA_VIDEO));
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->path, kVideo + "x.MP4");
  EXPECT_EQ(node->type, 8);
}

TEST_F(MediaBoard, RescanForgetsWhatIsGone) {
  write_file(kPic + "a.JPG", {1});
  media_rescan(&media_store);
  fs::remove(kPic + "a.JPG");
  write_file(kPic + "b.JPG", {1});
  EXPECT_EQ(media_rescan(&media_store), 0);
  EXPECT_EQ(count(MEDIA_PHOTO), 1);
  EXPECT_NE(media_list_find("b.JPG", media_list(MEDIA_PHOTO)), nullptr);
  fs::remove_all(kPic);
  EXPECT_EQ(media_rescan(&media_store), 0);
  EXPECT_EQ(count(MEDIA_PHOTO), -1);
}

TEST_F(MediaBoard, RescanDeletesSmallVideosButNoUnfinishedOnes) {
  make_file(kVideo + "small.MP4", 1048576);
  make_file(kVideo + "large.MP4", 1048577);
  make_file(kVideo + "tinyAA.MP4", 10);
  make_file(kPic + "tiny.JPG", 10);
  EXPECT_EQ(media_rescan(&media_store), 0);
  EXPECT_FALSE(exists(kVideo + "small.MP4"));
  EXPECT_TRUE(exists(kVideo + "large.MP4"));
  EXPECT_TRUE(exists(kVideo + "tinyAA.MP4"));
  EXPECT_TRUE(exists(kPic + "tiny.JPG"));
  EXPECT_EQ(count(MEDIA_VIDEO), 1);
}

TEST_F(MediaBoard, RescanNeedsAStore) {
  media_add_file("a.JPG", "/x", MEDIA_PHOTO);
  make_file(kVideo + "small.MP4", 5);
  EXPECT_EQ(media_rescan(nullptr), -1);
  EXPECT_EQ(count(MEDIA_PHOTO), 1);
  EXPECT_TRUE(exists(kVideo + "small.MP4"));
}

TEST_F(MediaBoard, AddChoosesTheListByKind) {
  EXPECT_EQ(media_add_file("a_p.JPG", kThumb.c_str(), MEDIA_THUMB), 0);
  EXPECT_EQ(count(MEDIA_THUMB), 1);
  EXPECT_EQ(media_list(MEDIA_THUMB)->load()->type, 2);
  for (const int32_t kind : {0, 4, -1}) EXPECT_EQ(media_add_file("a", "/a", kind), -1);
  EXPECT_EQ(media_add_file(nullptr, "/a", 1), -1);
  EXPECT_EQ(media_add_file("a", nullptr, 1), -1);
  EXPECT_EQ(count(MEDIA_PHOTO), -1);
}

TEST_F(MediaBoard, ANewFileIsRegisteredInItsFolder) {
  EXPECT_EQ(media_register_new_file("n.JPG"), 0);
  EXPECT_EQ(media_register_new_file("v.mp4"), 0);
  char path[200];
  EXPECT_EQ(media_lookup_path("n.JPG", MEDIA_PHOTO, path, sizeof(path)), 0);
  EXPECT_EQ(path, kPic + "n.JPG");
  EXPECT_EQ(media_lookup_path("v.mp4", MEDIA_VIDEO, path, sizeof(path)), 0);
  EXPECT_EQ(path, kVideo + "v.mp4");
  EXPECT_EQ(media_list(MEDIA_VIDEO)->load()->type, 3);
  for (const char* name : {"", "n.txt", "../../n.JPG", "a b.JPG", "a/b.MP4", "$(x).JPG"}) {
    EXPECT_EQ(media_register_new_file(name), -1) << name;
  }
  EXPECT_EQ(media_register_new_file(nullptr), -1);
  EXPECT_EQ(count(MEDIA_PHOTO), 1);
  EXPECT_EQ(count(MEDIA_VIDEO), 1);
}

TEST_F(MediaBoard, LookupCutsToTheBufferAndRefusesTheUnknown) {
  char path[300] = "unchanged";
  EXPECT_EQ(media_lookup_path("n.JPG", MEDIA_PHOTO, path, sizeof(path)), -1);
  media_add_file("n.JPG", std::string(250, 'p').c_str(), MEDIA_PHOTO);
  EXPECT_EQ(media_lookup_path("x.JPG", MEDIA_PHOTO, path, sizeof(path)), -1);
  EXPECT_EQ(media_lookup_path("n.JPG", MEDIA_VIDEO, path, sizeof(path)), -1);
  EXPECT_EQ(media_lookup_path("n.JPG", 4, path, sizeof(path)), -1);
  EXPECT_EQ(media_lookup_path(nullptr, MEDIA_PHOTO, path, sizeof(path)), -1);
  EXPECT_EQ(media_lookup_path("n.JPG", MEDIA_PHOTO, nullptr, 5), -1);
  EXPECT_EQ(media_lookup_path("n.JPG", MEDIA_PHOTO, path, 0), -1);
  EXPECT_STREQ(path, "unchanged");
  EXPECT_EQ(media_lookup_path("n.JPG", MEDIA_PHOTO, path, 5), 0);
  EXPECT_STREQ(path, "pppp");
  EXPECT_EQ(media_lookup_path("n.JPG", MEDIA_PHOTO, path, sizeof(path)), 0);
  EXPECT_EQ(path, std::string(199, 'p'));
}

TEST_F(MediaBoard, DeleteRemovesTheFileAndItsNode) {
  write_file(kPic + "a.JPG", {1});
  write_file(kPic + "b.JPG", {1});
  media_rescan(&media_store);
  EXPECT_EQ(media_delete_file("a.JPG", MEDIA_PHOTO), 0);
  EXPECT_FALSE(exists(kPic + "a.JPG"));
  EXPECT_EQ(count(MEDIA_PHOTO), 1);
  EXPECT_EQ(media_delete_file("a.JPG", MEDIA_PHOTO), 0);
  EXPECT_EQ(media_delete_file("b.JPG", MEDIA_VIDEO), -1);
  EXPECT_EQ(media_delete_file("b.JPG", 4), -1);
  EXPECT_EQ(media_delete_file(nullptr, MEDIA_PHOTO), -1);
  fs::remove(kPic + "b.JPG");
  EXPECT_EQ(media_delete_file("b.JPG", MEDIA_PHOTO), -1);
  EXPECT_EQ(count(MEDIA_PHOTO), 1);
}

TEST_F(MediaBoard, DetachEmptiesTheListsAndFreesNothing) {
  media_register_new_file("a.JPG");
  media_register_new_file("v.MP4");
  MediaFileNode* photo = *media_list(MEDIA_PHOTO);
  MediaFileNode* video = *media_list(MEDIA_VIDEO);
  media_detach_lists();
  EXPECT_EQ(count(MEDIA_PHOTO), -1);
  EXPECT_EQ(count(MEDIA_VIDEO), -1);
  EXPECT_STREQ(photo->name, "a.JPG");
  delete photo;
  delete video;
}

}  // namespace
}  // namespace media
