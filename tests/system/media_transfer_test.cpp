// The media channel of the real program, UDP 8857, through its datagrams and the files on the card.
#include <fcntl.h>

#include "base/descriptor.h"
#include "media_channel.h"

namespace {

using namespace media_channel;  // NOLINT

TEST_F(MediaChannel, ListsAreOfPhotosOrOfVideos) {
  EXPECT_TRUE(lists(false, 1));
  EXPECT_EQ(application->listed(), std::vector<std::string>{kVideoName});
}

TEST_F(MediaChannel, SmallVideosAreGoneAfterAList) {
  std::ofstream(kMedia + "VIDEO/small.MP4");
  std::ofstream(kMedia + "VIDEO/large.MP4");
  fs::resize_file(kMedia + "VIDEO/small.MP4", 1048576);
  fs::resize_file(kMedia + "VIDEO/large.MP4", 1048577);
  EXPECT_TRUE(lists(false, 2));
  EXPECT_FALSE(fs::exists(kMedia + "VIDEO/small.MP4"));
  EXPECT_TRUE(fs::exists(kMedia + "VIDEO/large.MP4"));
  application->ask(kVideo, kDelete, "large.MP4");
  EXPECT_EQ(application->wait_for("FREMOVED"), "FREMOVED:large.MP4");
  EXPECT_FALSE(fs::exists(kMedia + "VIDEO/large.MP4"));
}

TEST_F(MediaChannel, SizeOfAVideoComesWithItsDuration) {
  application->ask(kVideo, kSize, kVideoName);
  EXPECT_EQ(application->wait_for("FSIZE"),
            "FSIZE:" + std::to_string(fs::file_size(kVideoPath)) + ";DUR:2");
}

TEST_F(MediaChannel, DownloadOfAVideoBeginsWithItsDuration) {
  application->ask(kVideo, kDownload, kVideoName);
  EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), std::string("TRANSCOMPLETE:") + kVideoName);
  EXPECT_EQ(application->wait_for("TRANSSTART"),
            std::string("TRANSSTART:") + kVideoName + ";FTYPE:3;DUR:2");
}

TEST_F(MediaChannel, DownloadIsTheFile) {
  const std::string path = kMedia + "PIC/" + kPhotoName;
  application->ask(kPhoto, kDownload, kPhotoName);
  EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), std::string("TRANSCOMPLETE:") + kPhotoName);
  EXPECT_EQ(application->wait_for("TRANSSTART"),
            std::string("TRANSSTART:") + kPhotoName + ";FTYPE:1");
  EXPECT_EQ(application->data(2), read_all(path));
}

// Downloads that take longer than a test waits for anything: 256 MB of zeros.
class LongDownload : public MediaChannel {
 protected:
  void SetUp() override {
    std::ofstream file(kPath);
    file.close();
    fs::resize_file(kPath, 256U << 20);
    ASSERT_TRUE(lists(false, 2)) << testing::PrintToString(application->listed());
    application->ask(kVideo, kDownload, "long.MP4");
    EXPECT_EQ(application->wait_for("TRANSSTART"), "TRANSSTART:long.MP4;FTYPE:3");
  }
  void TearDown() override {
    EXPECT_EQ(application->wait_for("TRANSCANCELED"), "TRANSCANCELED:long.MP4");
    application->ask(kVideo, kDelete, "long.MP4");
    EXPECT_NE(application->wait_for("FREMOVED"), "");
    MediaChannel::TearDown();
  }
  const std::string kPath = kMedia + "VIDEO/long.MP4";
};

TEST_F(LongDownload, IsEndedByTheNextRequest) {
  application->ask(kPhoto, kSize, kPhotoName);
  EXPECT_NE(application->wait_for("FSIZE"), "");
}

TEST_F(LongDownload, IsEndedByACancel) { application->ask(0, kCancel, ""); }

TEST_F(LongDownload, IsEndedByADataStream) {
  application->send(message(67, {0, 0, 0, 1}));
  EXPECT_NE(application->wait_for("TRANSCANCELED"), "");
  application->send(message(67, {0, 0, 0, 0}));
}

TEST_F(MediaChannel, DataStreamHoldsEverything) {
  application->send(message(67, {0, 0, 0, 2}));
  application->ask(kPhoto, kSize, kPhotoName);
  EXPECT_EQ(application->wait_for("FSIZE", milliseconds(300)), "");
  application->send(message(67, {0, 0, 0, 0}));
  application->ask(kPhoto, kSize, kPhotoName);
  EXPECT_NE(application->wait_for("FSIZE"), "");
}

TEST_F(MediaChannel, ThumbnailsAreMadeWhenAskedFor) {
  for (const auto& [name, file] : {std::pair(kPhotoName, "20200101_120000AB_p.JPG"),
                                   {kVideoName, "20200101_120000AB_v.JPG"}}) {
    application->mark();
    application->ask(kThumbnail, kDownload, name);
    EXPECT_EQ(application->wait_for("NOTEXIST"), "NOTEXIST");
    EXPECT_EQ(application->wait_for("THUMB"), std::string("THUMBREADY:") + name);
    const std::string path = kMedia + "THUMB/" + file;
    photo_files::expect_sound_jpeg(path);
    application->mark();
    application->ask(kThumbnail, kDownload, name);
    EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), std::string("TRANSCOMPLETE:") + name);
    EXPECT_EQ(application->data(2), read_all(path));
  }
  struct stat folder {};
  ASSERT_EQ(stat((kMedia + "THUMB").c_str(), &folder), 0);
  EXPECT_EQ(folder.st_mode & 07777, 0070U);
  EXPECT_EQ(
      photo_files::run({"ffprobe", "-v", "error", "-show_entries", "stream=width,height,pix_fmt",
                        "-of", "csv=p=0", kMedia + "THUMB/20200101_120000AB_v.JPG"}),
      "160,90,yuvj420p\n");
}

TEST_F(MediaChannel, ThumbnailThatTheCardDoesNotTakeIsAnErrorAndLeavesNothing) {
  const std::string video = kMedia + "VIDEO/second.MP4";
  const std::string thumbnail = kMedia + "THUMB/second_v.JPG";
  const std::string filler = "/tmp/SD0/filler";
  fs::copy_file(kVideoPath, video);
  ASSERT_TRUE(lists(false, 2));
  {
    const base::Descriptor file(open(filler.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const auto room = static_cast<off_t>(fs::space("/tmp/SD0").available);
    ASSERT_EQ(posix_fallocate(file.get(), 0, room), 0);
  }
  application->mark();
  application->ask(kThumbnail, kDownload, "second.MP4");
  EXPECT_EQ(application->wait_for("THUMB"), "THUMBERROR:second.MP4");
  EXPECT_FALSE(fs::exists(thumbnail));
  EXPECT_FALSE(fs::exists("/tmp/second_v.JPG"));
  fs::remove(filler);
  application->mark();
  application->ask(kThumbnail, kDownload, "second.MP4");
  EXPECT_EQ(application->wait_for("THUMB"), "THUMBREADY:second.MP4");
  EXPECT_TRUE(fs::exists(thumbnail));
  application->ask(kVideo, kDelete, "second.MP4");
  EXPECT_NE(application->wait_for("FREMOVED"), "");
  EXPECT_TRUE(poll_until([&] { return !fs::exists(thumbnail); }, seconds(5)));
}

TEST_F(MediaChannel, PhotoWithoutAThumbnailGivesAnError) {
  application->ask(kThumbnail, kDownload, "plain.JPG");
  EXPECT_EQ(application->wait_for("THUMB"), "THUMBERROR:plain.JPG");
}

TEST_F(MediaChannel, PlaybackIsAVideo) {
  application->ask(kVideo, kPlay, kVideoName, "1000");
  EXPECT_EQ(application->wait_for("TRANSCOMPLETE"), std::string("TRANSCOMPLETE:") + kVideoName);
  EXPECT_EQ(application->wait_for("TIME"), "TIME:1000;SCALE:15360");
  // The parameter sets and the key frame at one second; frames here are larger than a datagram, so
  // the byte 3 stands before each and its last byte is missing.
  const Bytes stream = application->data(3);
  ASSERT_GT(stream.size(), 500000U);
  const std::string path = "/tmp/played.h264";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(stream.data()),
             static_cast<std::streamsize>(stream.size()));
  EXPECT_EQ(photo_files::run({"bash", "-c",
                              "ffprobe -v quiet -count_frames -show_entries stream=nb_read_frames "
                              "-of csv=p=0 " +
                                  path}),
            "30\n");
}

// A recording that takes seconds to play: the same two over and over.
class LongPlayback : public MediaChannel {
 protected:
  void SetUp() override {
    photo_files::run({"ffmpeg", "-y", "-v", "error", "-stream_loop", "14", "-i", kVideoPath, "-c",
                      "copy", kMedia + "VIDEO/play.MP4"});
    ASSERT_TRUE(lists(false, 2));
    application->mark();
    application->ask(kVideo, kPlay, kName, "0");
    ASSERT_EQ(application->wait_for("TIME"), "TIME:0;SCALE:15360");
    application->ask(kVideo, kPause, kName);
    ASSERT_TRUE(is_paused());
    ASSERT_EQ(application->wait_for("TRANSCOMPLETE", milliseconds(0)), "") << "over too soon";
  }
  void TearDown() override {
    application->ask(kVideo, kDelete, kName);
    EXPECT_NE(application->wait_for("FREMOVED"), "");
    MediaChannel::TearDown();
  }
  // Whether pieces stop coming. What had been handed to the radio still arrives.
  static bool is_paused() {
    size_t before = 0;
    return poll_until(
        [&] {
          before = application->count(3);
          let_pass(seconds(1));
          return application->count(3) == before;
        },
        seconds(30));
  }
  static constexpr const char* kName = "play.MP4";
};

TEST_F(LongPlayback, ResumeGoesOnToTheEnd) {
  const size_t before = application->count(3);
  application->ask(kVideo, kResume, kName);
  EXPECT_EQ(application->wait_for("TRANSCOMPLETE", seconds(60)), "TRANSCOMPLETE:play.MP4");
  EXPECT_GT(application->count(3), before);
}

TEST_F(LongPlayback, SeekIsToldAtOnceAndPlayedWhenResumed) {
  application->mark();
  application->ask(kVideo, kSeek, kName, "28000");
  EXPECT_EQ(application->wait_for("TIME"), "TIME:28000;SCALE:15360");
  let_pass(seconds(1));
  EXPECT_EQ(application->count(3), 0U);
  application->ask(kVideo, kResume, kName);
  EXPECT_EQ(application->wait_for("TRANSCOMPLETE", seconds(60)), "TRANSCOMPLETE:play.MP4");
  // The last two of thirty seconds.
  EXPECT_GT(application->data(3).size(), fs::file_size(kVideoPath) / 2);
  EXPECT_LT(application->data(3).size(), fs::file_size(kVideoPath) * 2);
}

TEST_F(MediaChannel, HostileBytesChangeNothing) {
  for (size_t size = 1; size < 1400; size += 13) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; i++) bytes[i] = static_cast<uint8_t>(i * size);
    application->send_raw(bytes);
    application->send_raw(Bytes(size, 0xFE));
  }
  for (int kind = 0; kind < 256; kind += 5) {
    for (const char* name : {"", "../../../etc/passwd", "a b", "'; reboot '", "..", "/"}) {
      for (int operation = 0; operation < 10; operation += 1 + operation % 2) {
        application->ask(static_cast<uint8_t>(kind), static_cast<uint8_t>(operation), name,
                         "99999999999999999999");
      }
    }
  }
  // What came of it ends sooner or later, whatever was dropped.
  application->mark();
  EXPECT_TRUE(poll_until(
      [] {
        application->ask(kPhoto, kSize, kPhotoName);
        return application->wait_for("FSIZE", seconds(1)) != "";
      },
      seconds(60)));
  EXPECT_TRUE(fs::exists(kVideoPath));
}

}  // namespace
