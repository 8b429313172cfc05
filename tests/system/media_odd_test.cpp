// The media channel of the real program asked for what is hardly ever there: places behind the end,
// thumbnails of long and odd names.
#include "media_channel.h"

namespace {

using namespace media_channel;  // NOLINT

class MediaOdd : public MediaChannel {
 protected:
  // One more photo, listed, and gone again with the object.
  class Photo {
   public:
    explicit Photo(const std::string& name) : path_(kMedia + "PIC/" + name) {
      fs::copy_file(kMedia + "PIC/" + kPhotoName, path_);
      EXPECT_TRUE(lists(true, 3));
      application->mark();
    }
    ~Photo() {
      fs::remove(path_);
      EXPECT_TRUE(lists(true, 2));
    }
    Photo(const Photo&) = delete;
    Photo& operator=(const Photo&) = delete;

   private:
    const std::string path_;
  };

  static std::string name_of(size_t length) { return std::string(length - 4, 'a') + ".JPG"; }

  // What the request for a thumbnail, which is missing, comes to.
  static std::string ask_for_missing(const std::string& name) {
    application->mark();
    application->ask(kThumbnail, kDownload, name);
    EXPECT_EQ(application->wait_for("NOTEXIST"), "NOTEXIST") << name;
    return application->wait_for("THUMB");
  }
};

TEST_F(MediaOdd, DownloadFromAPlaceThatNoFileSystemReachesIsStartAndEnd) {
  for (const char* offset : {"9223372036854775807", "9223372036854775806", "100000000000"}) {
    application->mark();
    application->ask(kPhoto, kDownload, kPhotoName, offset);
    EXPECT_EQ(application->wait_for("TRANSSTART"),
              std::string("TRANSSTART:") + kPhotoName + ";FTYPE:1");
    EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), std::string("TRANSCOMPLETE:") + kPhotoName);
    EXPECT_TRUE(application->data(2).empty()) << offset;
  }
}

TEST_F(MediaOdd, PlaybackBeyondTheEndOfKeyPicturesIsTheParameterSetsOnly) {
  const std::string path = kMedia + "VIDEO/keys.MP4";
  make_video(path, "1");
  ASSERT_EQ(photo_files::run({"grep", "-c", "-a", "stco", path}), "1\n");
  ASSERT_EQ(support::run_command({"grep", "-q", "-a", "stss", path}).status, 1);
  ASSERT_TRUE(lists(false, 2));
  for (const char* time : {"2000", "999000", "2147483647"}) {
    application->mark();
    application->ask(kVideo, kPlay, "keys.MP4", time);
    EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), "TRANSCOMPLETE:keys.MP4");
    EXPECT_EQ(application->wait_for("TIME"), std::string("TIME:") + time + ";SCALE:15360");
    const Bytes sets = application->data(3);
    ASSERT_GT(sets.size(), 5U);
    EXPECT_LT(sets.size(), 100U);
    EXPECT_EQ(Bytes(sets.begin(), sets.begin() + 4), (Bytes{0, 0, 0, 1}));
    EXPECT_EQ(sets[4] & 31, 7);
  }
  application->mark();
  application->ask(kVideo, kPlay, "keys.MP4", "1000");
  EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), "TRANSCOMPLETE:keys.MP4");
  EXPECT_GT(application->data(3).size(), 500000U);
  application->ask(kVideo, kDelete, "keys.MP4");
  EXPECT_NE(application->wait_for("FREMOVED"), "");
}

TEST_F(MediaOdd, ThumbnailOfALongNameIsFoundAgainOrAnError) {
  for (const size_t length : {46U, 47U}) {
    const std::string name = name_of(length);
    const Photo photo(name);
    EXPECT_EQ(ask_for_missing(name), "THUMBREADY:" + name);
    application->mark();
    application->ask(kThumbnail, kDownload, name);
    EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), "TRANSCOMPLETE:" + name);
    EXPECT_FALSE(application->data(2).empty());
  }
  for (const size_t length : {48U, 49U}) {
    const std::string name = name_of(length);
    const Photo photo(name);
    EXPECT_EQ(ask_for_missing(name), "THUMBERROR:" + name);
    EXPECT_EQ(ask_for_missing(name), "THUMBERROR:" + name);
  }
}

TEST_F(MediaOdd, ThumbnailOfAnOddNameIsAnError) {
  for (const char* name : {"a b.JPG", "$(touch taken).JPG", "aJPG"}) {
    const Photo photo(name);
    EXPECT_EQ(ask_for_missing(name), std::string("THUMBERROR:") + name);
  }
}

}  // namespace
