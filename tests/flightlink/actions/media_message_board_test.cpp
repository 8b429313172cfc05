// Message 142 of the peer: a media file that the other side has named. The files are on the card of
// a board; moving and removing them is the recording fake's.
#include "flightlink/actions/media_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "fake_base/fake_base.h"
#include "flightlink/actions/dispatch.h"
#include "media/card/store.h"
#include "supervisor/state/switches.h"
#include "support/patience.h"

namespace flightlink {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kPhoto = "20200101_120000AA.JPG";
constexpr const char* kVideo = "20200101_120000AB.MP4";
constexpr const char* kMovePhoto =
    "mv /tmp/SD0/KRVMEDIA/PIC/20200101_120000AA.JPG /tmp/SD0/KRVMEDIA/PIC/test.jpg";
constexpr const char* kMoveVideo =
    "mv /tmp/SD0/KRVMEDIA/VIDEO/20200101_120000AB.MP4 /tmp/SD0/KRVMEDIA/VIDEO/test.mp4";

// Kind 3 at its first place.
MavlinkMessage naming(const std::string& name, const std::string& fields = "") {
  MavlinkMessage message{};
  message.msgid = 142;
  message.len = 243;
  message.payload[1] = 3;
  name.copy(reinterpret_cast<char*>(message.payload) + 2, 120);
  fields.copy(reinterpret_cast<char*>(message.payload) + 123, 120);
  return message;
}

// Whether a thread of this process waits for something.
bool sleeps(pid_t tid) {
  std::ifstream file("/proc/self/task/" + std::to_string(tid) + "/stat");
  std::string number;
  std::string name;
  std::string state;
  file >> number >> name >> state;
  return state == "S";
}

class MediaMessage : public fake_base::FakeBaseTest {
 protected:
  MediaMessage() {
    clean();
    std::filesystem::create_directories(media::kPhotoFolder);
    std::filesystem::create_directories(media::kVideoFolder);
  }
  ~MediaMessage() override { clean(); }
  static void clean() {
    supervisor::switches.reset();
    media::media_store_reset();
    std::filesystem::remove_all("/tmp/SD0/KRVMEDIA");
  }
  static void test_mode() { supervisor::switches.test_mode.store(1); }
  static int take(const MavlinkMessage& message) { return peer_dispatch(&message); }
  static void put_video(const std::string& name) {
    std::ofstream(std::string(media::kVideoFolder) + "/" + name) << "x";
  }
  static bool listed(const char* name, int32_t kind) {
    return media::media_list_find(name, media::media_list(kind)) != nullptr;
  }
  static void expect_nothing_listed() {
    EXPECT_EQ(media::media_list(media::MEDIA_PHOTO)->load(), nullptr);
    EXPECT_EQ(media::media_list(media::MEDIA_VIDEO)->load(), nullptr);
  }
};

TEST_F(MediaMessage, InTheTestThePhotoIsMoved) {
  test_mode();
  EXPECT_EQ(take(naming(kPhoto)), 0);
  EXPECT_THAT(fake_base::events(), ElementsAre(std::string("run ") + kMovePhoto));
  expect_nothing_listed();
}

TEST_F(MediaMessage, InTheTestTheVideoIsMoved) {
  test_mode();
  EXPECT_EQ(take(naming(kVideo, "time:1;")), 0);
  EXPECT_THAT(fake_base::events(), ElementsAre(std::string("run ") + kMoveVideo));
  expect_nothing_listed();
}

TEST_F(MediaMessage, InTheTestOtherFilesStay) {
  test_mode();
  EXPECT_EQ(take(naming("notes.txt")), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MediaMessage, KindMayStandAtEitherPlace) {
  test_mode();
  MavlinkMessage message = naming(kPhoto);
  message.payload[1] = 0;
  EXPECT_EQ(take(message), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
  message.payload[122] = 3;
  EXPECT_EQ(take(message), 0);
  EXPECT_THAT(fake_base::commands(), ElementsAre(kMovePhoto));
}

TEST_F(MediaMessage, OtherKindsDoNothing) {
  test_mode();
  for (const int kind : {0, 1, 2, 4, 255}) {
    MavlinkMessage message = naming(kPhoto);
    message.payload[0] = 3;
    message.payload[1] = static_cast<uint8_t>(kind);
    message.payload[122] = static_cast<uint8_t>(kind);
    EXPECT_EQ(take(message), 0) << kind;
  }
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MediaMessage, APhotoIsListed) {
  EXPECT_EQ(take(naming(kPhoto)), 0);
  EXPECT_TRUE(listed(kPhoto, media::MEDIA_PHOTO));
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MediaMessage, APhotoWithFieldsIsTaggedAndThenListed) {
  // A photo that is not there cannot be tagged, which costs a message only.
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(take(naming(kPhoto, "time:2020:01:01 12:00:00;gps_lon:1;")), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Out of memory\n");
  EXPECT_TRUE(listed(kPhoto, media::MEDIA_PHOTO));
}

TEST_F(MediaMessage, AVideoIsListedWhenItExists) {
  EXPECT_EQ(take(naming(kVideo)), 0);
  expect_nothing_listed();
  put_video(kVideo);
  EXPECT_EQ(take(naming(kVideo)), 0);
  EXPECT_TRUE(listed(kVideo, media::MEDIA_VIDEO));
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MediaMessage, AnotherFileIsNeitherListedNorMoved) {
  EXPECT_EQ(take(naming("notes.txt", "time:1;")), 0);
  expect_nothing_listed();
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MediaMessage, ATestThatBeginsMeanwhileTidiesTheVideos) {
  put_video(kVideo);
  // The video's message waits for the lists' lock after its first look at the test flag.
  std::unique_lock lock(media::media_store.lock);
  std::atomic<pid_t> tid{0};
  std::thread peer([&tid] {
    const MavlinkMessage message = naming(kVideo);
    tid = gettid();
    EXPECT_EQ(media_file_message(&message), 0);
  });
  EXPECT_TRUE(
      support::poll_until([&tid] { return tid != 0 && sleeps(tid); }, support::seconds(10)));
  test_mode();
  lock.unlock();
  peer.join();
  EXPECT_TRUE(listed(kVideo, media::MEDIA_VIDEO));
  EXPECT_THAT(
      fake_base::events(),
      ElementsAre("run rm /tmp/SD0/KRVMEDIA/VIDEO/*AB.MP4",
                  "run mv /tmp/SD0/KRVMEDIA/VIDEO/*AA.MP4 /tmp/SD0/KRVMEDIA/VIDEO/test.mp4"));
}

TEST_F(MediaMessage, NamesThatMeanSomethingToAShellAreRefused) {
  for (const char* name : {"", "../a.JPG", "a b.JPG", "a;b.MP4", "$(x).JPG", "`x`.MP4", "a/b.JPG",
                           "a\n.JPG", "\xff.JPG", "a'.MP4", "*.MP4", "..", "."}) {
    for (const int mode : {0, 1}) {
      supervisor::switches.test_mode.store(mode);
      EXPECT_EQ(take(naming(name, "time:1;")), -1) << name;
    }
  }
  EXPECT_THAT(fake_base::events(), IsEmpty());
  expect_nothing_listed();
}

TEST_F(MediaMessage, ANameHasAtMost119Characters) {
  test_mode();
  const std::string name = std::string(115, 'a') + ".MP4";  // 119
  EXPECT_EQ(take(naming(name)), 0);
  const std::string folder = "/tmp/SD0/KRVMEDIA/VIDEO";
  EXPECT_THAT(fake_base::commands(),
              ElementsAre("mv " + folder + "/" + name + " " + folder + "/test.mp4"));
  fake_base::reset();
  // One more: the last character goes, and this one is a video no longer.
  EXPECT_EQ(take(naming("a" + name)), 0);
  EXPECT_THAT(fake_base::commands(), IsEmpty());
}

TEST_F(MediaMessage, FieldsBeyondAShortFrameAreEmpty) {
  test_mode();
  MavlinkMessage message = naming(kPhoto);
  message.len = 2;  // kind and no name
  EXPECT_EQ(take(message), -1);
  message.len = 0;
  EXPECT_EQ(take(message), 0);
  message.len = 2 + 17;  // 20200101_120000AA
  EXPECT_EQ(take(message), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
  message.len = 2 + 21;
  EXPECT_EQ(take(message), 0);
  EXPECT_THAT(fake_base::commands(), ElementsAre(kMovePhoto));
}

TEST_F(MediaMessage, ANullMessageGivesMinusOne) { EXPECT_EQ(media_file_message(nullptr), -1); }

TEST_F(MediaMessage, TheApplicationsLinkHasNoSuchMessage) {
  test_mode();
  const MavlinkMessage message = naming(kPhoto);
  EXPECT_EQ(common_dispatch(&message), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

}  // namespace
}  // namespace flightlink
