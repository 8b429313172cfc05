// What the media channel does with the card of a virtual board, with sleeps of the test's own: lists, and
// what it leaves alone while a photo is being tagged.
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <span>

#include "fake_base/fake_base.h"
#include "media/card/store.h"
#include "media/channel/list_sender.h"
#include "media/channel/transfer.h"
#include "media/channel/transfer_notices.h"
#include "media/channel/transfer_requests.h"
#include "media/channel/transfer_rig.h"
#include "media/photo/exif.h"
#include "support/loopback.h"

namespace media {
namespace {

namespace fs = std::filesystem;
using media_test::Bytes;
using Words = std::vector<std::string>;

constexpr uint8_t kPhotos = 195;
constexpr uint8_t kVideos = 0;

class CardBoard : public fake_base::FakeBaseTest {
 protected:
  CardBoard() {
    fs::remove_all(kCardFolder);
    for (const char* folder : {kPhotoFolder, kVideoFolder}) fs::create_directories(folder);
  }
  ~CardBoard() override { fs::remove_all(kCardFolder); }

  static void put_photos(const Words& names) {
    for (const std::string& name : names) {
      media_test::write_file(std::string(kPhotoFolder) + "/" + name, media_test::plain_photo());
    }
  }
  // The result of sending the list of a component's kind, as the queued request has it.
  int32_t send_list(uint8_t component) {
    support::Frame frame = support::message(21, Bytes(2));
    frame.component = component;
    transfer_dispatch(media_test::parsed(frame), &rig_.context);
    return media_send_file_list(rig_.context.queue.get(), &rig_.context);
  }

  void ask(uint8_t operation) {
    const support::Frame frame = media_test::file_request(MEDIA_VIDEO, operation, "a.MP4", "5");
    transfer_dispatch(media_test::parsed(frame), &rig_.context);
  }

  media_test::TransferRig rig_;
};

TEST_F(CardBoard, ListHasARecordPerFileAndAPauseBehindEach) {
  put_photos({"a.JPG", "b.JPG", "c.JPG"});
  EXPECT_EQ(send_list(kPhotos), 0);
  Words said = rig_.said();
  std::sort(said.begin(), said.end());
  EXPECT_EQ(said, (Words{"list a.JPG", "list b.JPG", "list c.JPG"}));
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{10, 10, 10}));
}

TEST_F(CardBoard, EmptyListIsSilent) {
  put_photos({"a.JPG"});
  EXPECT_EQ(send_list(kVideos), -1);
  EXPECT_EQ(rig_.said(), Words{});
}

TEST_F(CardBoard, MissingCardIsSilentAndKeepsWhatIsKnown) {
  put_photos({"a.JPG"});
  EXPECT_EQ(send_list(kPhotos), 0);
  EXPECT_EQ(rig_.said(), Words{"list a.JPG"});
  fs::remove_all(kCardFolder);
  EXPECT_EQ(send_list(kPhotos), -1);
  EXPECT_EQ(rig_.said(), Words{});
  EXPECT_EQ(media_list_count(media_list(MEDIA_PHOTO)), 1);
}

TEST_F(CardBoard, ListEndsAtEveryStopFlag) {
  put_photos({"a.JPG", "b.JPG", "c.JPG"});
  for (std::atomic<int32_t>* flag :
       {&rig_.context.cancel, &rig_.context.stream_hold, &rig_.context.stream_hold_id}) {
    fake_base::on_sleep([&](uint64_t) { flag->store(1); });
    EXPECT_EQ(send_list(kPhotos), 0);
    EXPECT_EQ(rig_.said().size(), 1U);
    EXPECT_EQ(send_list(kPhotos), 0);
    EXPECT_EQ(rig_.said().size(), 0U);
    flag->store(0);
  }
  // Other work waits until the list is out.
  fake_base::on_sleep([&](uint64_t) { rig_.context.new_work = 1; });
  EXPECT_EQ(send_list(kPhotos), 0);
  EXPECT_EQ(rig_.said().size(), 3U);
}

// Every request for a file, the immediate ones too; lists and data streams are not held up.
TEST_F(CardBoard, RequestsForFilesAreIgnoredWhileAPhotoIsTagged) {
  // Large enough for a pause in the writing of it.
  Bytes large = media_test::plain_photo();
  large.insert(large.end() - 2, 100000, 0x11);
  media_test::write_file(std::string(kPhotoFolder) + "/a.JPG",
                         media_test::photo_with_exif(media_test::exif_bytes({}), large));
  int looks = 0;
  fake_base::on_sleep([&](uint64_t) {
    if (looks++ != 0) return;
    EXPECT_EQ(get_tagging_busy(), 1);
    for (uint8_t operation = 0; operation < 9; operation++) ask(operation);
    EXPECT_EQ(rig_.context.queued, 0U);
    EXPECT_EQ(rig_.context.cancel, 0);
    EXPECT_EQ(rig_.context.paused, 0);
    EXPECT_EQ(rig_.context.seek_pending, 0);
    transfer_dispatch(media_test::parsed(support::message(67, {0, 0, 0, 2})), &rig_.context);
    EXPECT_EQ(rig_.context.stream_hold_id, 2);
  });
  EXPECT_EQ(exif_tag_and_rename_photo("a.JPG", 0, 0, 0), 0);
  EXPECT_GT(looks, 0);
  EXPECT_EQ(get_tagging_busy(), 0);
  ask(0);
  EXPECT_EQ(rig_.context.queued, 1U);
}

TEST_F(CardBoard, TheSocketTakesRequestsAndKnowsWhoAsked) {
  rig_.block();
  ASSERT_EQ(transfer_socket_open(), 0);
  const int channel = rig_.context.sock;
  ASSERT_NE(channel, 0);
  EXPECT_EQ(ntohs(support::own_address(channel).sin_port), 8857);
  EXPECT_EQ(support::own_address(channel).sin_addr.s_addr, htonl(INADDR_ANY));
  EXPECT_EQ(fcntl(channel, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(transfer_socket_open(), -1);  // the port is taken
  // Half a request, and the rest with the whole next one.
  const support::Bytes request = support::encode(media_test::file_request(MEDIA_PHOTO, 1, "a.JPG"));
  support::Bytes rest(request.begin() + 100, request.end());
  rest.insert(rest.end(), request.begin(), request.end());
  const base::Descriptor application = support::open_socket(SOCK_DGRAM);
  support::send_to(application, std::span(request).first(100), support::loopback_address(8857));
  EXPECT_EQ(transfer_socket_serve(), 0);
  EXPECT_EQ(rig_.context.queued, 0U);
  EXPECT_EQ(rig_.context.peer.sin_port, support::own_address(application.get()).sin_port);
  support::send_to(application, rest, support::loopback_address(8857));
  EXPECT_EQ(transfer_socket_serve(), 0);
  EXPECT_EQ(rig_.context.queued, 2U);
  // Answers go back to where the newest request came from.
  const base::Descriptor other = support::open_socket(SOCK_DGRAM);
  support::send_to(other, std::span(request).first(1), support::loopback_address(8857));
  EXPECT_EQ(transfer_socket_serve(), 0);
  EXPECT_GT(transfer_notify_not_found(), 0);
  uint8_t answer[300];
  EXPECT_GT(recv(other.get(), answer, sizeof(answer), MSG_DONTWAIT), 0);
  transfer_socket_close();
  EXPECT_EQ(rig_.context.sock, 0);
  EXPECT_EQ(fcntl(channel, F_GETFD), -1);
}

}  // namespace
}  // namespace media
