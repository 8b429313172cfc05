#include "media/channel/transfer_requests.h"

#include <cstring>
#include <initializer_list>

#include "fake_base/fake_base.h"
#include "media/card/store.h"
#include "media/channel/file_sender.h"
#include "media/channel/list_sender.h"
#include "media/channel/thumbnail_maker.h"
#include "media/channel/transfer_rig.h"
#include "media/channel/video_streamer.h"

namespace media {
namespace {

using media_test::Bytes;
using media_test::exists;
using media_test::file_request;
using media_test::parsed;
using Words = std::vector<std::string>;

class TransferRequests : public fake_base::FakeBaseTest {
 protected:
  TransferContext& context() { return rig_.context; }

  void receive(const support::Frame& frame) { transfer_dispatch(parsed(frame), &context()); }
  void ask(uint8_t kind, uint8_t operation, const std::string& name,
           const std::string& argument = "") {
    receive(file_request(kind, operation, name, argument));
  }
  // The handler's turn, for the one request that is queued.
  void handle() {
    ASSERT_EQ(context().queued, 1U);
    ASSERT_EQ(context().queue->handler, &transfer_request);
    transfer_work_once(&context());
  }
  // A listed file of that size.
  std::string add(const char* name, int32_t kind, size_t size = 5) {
    const std::string path = folder_.path(name);
    media_test::write_file(path, Bytes(size));
    EXPECT_EQ(media_add_file(name, path.c_str(), kind), 0);
    return path;
  }
  // The one item that is queued.
  const WorkItem& queued() {
    static const WorkItem none{};
    EXPECT_EQ(context().queued, 1U);
    return context().queue == nullptr ? none : *context().queue;
  }

  media_test::TransferRig rig_;
  media_test::TemporaryFolder folder_;
};

TEST_F(TransferRequests, ListIsQueuedWithItsFrame) {
  support::Frame frame = support::message(21, Bytes(2));
  frame.component = 195;
  receive(frame);
  EXPECT_EQ(queued().handler, &media_send_file_list);
  EXPECT_EQ(queued().droppable, 1);
  EXPECT_EQ(queued().cancel_on_new_work, 0);
  flightlink::MavlinkMessage kept;
  std::memcpy(&kept, queued().work.frame, sizeof(kept));
  EXPECT_EQ(kept.compid, 195);
}

TEST_F(TransferRequests, DataStreamIsAppliedAtOnce) {
  receive(support::message(67, {0, 0, 0, 2}));
  EXPECT_EQ(context().stream_hold, 1);
  EXPECT_EQ(context().stream_hold_id, 2);
  receive(support::message(67, {0, 0, 0, 0}));
  EXPECT_EQ(context().stream_hold, 0);
  EXPECT_EQ(context().stream_hold_id, 0);
  EXPECT_EQ(context().queued, 0U);
}

TEST_F(TransferRequests, ShortDataStreamMessageReadsAsOff) {
  context().stream_hold = 1;
  receive(support::message(67, {1, 1, 1}));
  EXPECT_EQ(context().stream_hold, 0);
}

TEST_F(TransferRequests, OtherMessagesAreIgnored) {
  for (const uint8_t id : std::initializer_list<uint8_t>{0, 22, 76, 110, 111})
    receive(support::message(id, Bytes(33)));
  EXPECT_EQ(context().queued, 0U);
  EXPECT_EQ(rig_.said(), Words{});
}

TEST_F(TransferRequests, CancelIsAppliedAtOnceForEveryKind) {
  ask(0, 4, "");
  EXPECT_EQ(context().cancel, 1);
  EXPECT_EQ(context().queued, 0U);
}

TEST_F(TransferRequests, PlaybackControlsAreForVideosOnly) {
  for (const uint8_t operation : std::initializer_list<uint8_t>{6, 7, 8}) {
    ask(1, operation, "a.JPG", "5");
    ask(2, operation, "a.JPG", "5");
  }
  EXPECT_EQ(context().paused, 0);
  EXPECT_EQ(context().seek_pending, 0);
  EXPECT_EQ(context().queued, 0U);
  ask(3, 7, "a.MP4");
  EXPECT_EQ(context().paused, 1);
  ask(3, 6, "a.MP4");
  EXPECT_EQ(context().paused, 0);
  ask(3, 8, "a.MP4", "12500");
  EXPECT_EQ(context().seek_pending, 1);
  EXPECT_EQ(context().seek_time, 12500);
  EXPECT_EQ(context().queued, 0U);
}

TEST_F(TransferRequests, ArgumentsAreTakenForWhatTheyCanMean) {
  const struct {
    const char* text;
    int32_t ms;
  } rows[] = {{"-5", 0},
              {"", 0},
              {"abc", 0},
              {"7x", 7},
              {"2147483648", 2147483647},
              {"99999999999999999999999", 2147483647}};
  for (const auto& row : rows) {
    ask(3, 8, "a.MP4", row.text);
    EXPECT_EQ(context().seek_time, row.ms) << row.text;
  }
  ask(3, 8, "a.MP4", std::string(120, '1'));  // no room for a terminator
  EXPECT_EQ(context().seek_time, 2147483647);
}

TEST_F(TransferRequests, UnknownNameDoesNotExist) {
  ask(1, 1, "a.JPG");
  handle();
  EXPECT_EQ(rig_.said(), Words{"NOTEXIST"});
  EXPECT_EQ(context().queued, 0U);
}

TEST_F(TransferRequests, OddNamesDoNotExist) {
  add("a.JPG", MEDIA_PHOTO);
  for (const std::string& name :
       {std::string("../a.JPG"), std::string("a.JPG "), std::string("'a.JPG'"), std::string(),
        std::string(120, 'a'), std::string("A.JPG")}) {
    ask(1, 2, name);
    handle();
    EXPECT_EQ(rig_.said(), Words{"NOTEXIST"}) << name;
  }
  EXPECT_TRUE(exists(folder_.path("a.JPG")));
}

TEST_F(TransferRequests, UnknownKindsDoNotExist) {
  add("a.JPG", MEDIA_PHOTO);
  for (const uint8_t kind : std::initializer_list<uint8_t>{0, 4, 255}) {
    ask(kind, 1, "a.JPG");
    handle();
    EXPECT_EQ(rig_.said(), Words{"NOTEXIST"});
  }
}

TEST_F(TransferRequests, MissingThumbnailIsQueuedForMaking) {
  ask(2, 1, "a.MP4");
  handle();
  EXPECT_EQ(rig_.said(), Words{"NOTEXIST"});
  EXPECT_EQ(queued().handler, &thumbnail_maker);
  EXPECT_STREQ(queued().work.name, "a.MP4");
  EXPECT_EQ(queued().droppable, 1);
  EXPECT_EQ(queued().cancel_on_new_work, 0);
}

TEST_F(TransferRequests, SizeOfAPhotoHasNoDuration) {
  add("a.JPG", MEDIA_PHOTO, 1234);
  ask(1, 0, "a.JPG");
  handle();
  EXPECT_EQ(rig_.said(), Words{"1 FSIZE:1234"});
}

TEST_F(TransferRequests, DownloadIsQueuedWithItsOffset) {
  const std::string path = add("a.MP4", MEDIA_VIDEO);
  ask(3, 1, "a.MP4", "4294967297");
  handle();
  EXPECT_EQ(queued().handler, &file_sender);
  EXPECT_EQ(queued().work.offset, 4294967297);
  EXPECT_EQ(queued().work.kind, 3);
  EXPECT_EQ(queued().work.path, path);
  EXPECT_STREQ(queued().work.name, "a.MP4");
  EXPECT_EQ(queued().cancel_on_new_work, 1);
  EXPECT_EQ(queued().droppable, 1);
}

TEST_F(TransferRequests, NegativeOffsetIsTheStart) {
  add("a.MP4", MEDIA_VIDEO);
  ask(3, 1, "a.MP4", "-5");
  handle();
  EXPECT_EQ(queued().work.offset, 0);
}

TEST_F(TransferRequests, ThumbnailIsSentUnderTheNameThatWasAskedFor) {
  const std::string path = add("a_v.JPG", MEDIA_THUMB);
  ask(2, 1, "a.MP4");
  handle();
  EXPECT_STREQ(queued().work.name, "a.MP4");
  EXPECT_EQ(queued().work.path, path);
  EXPECT_EQ(queued().work.kind, 2);
}

TEST_F(TransferRequests, DeletedFileTakesItsThumbnailAlong) {
  const std::string video = add("a.MP4", MEDIA_VIDEO);
  const std::string other = add("b.MP4", MEDIA_VIDEO);
  const std::string thumbnail = add("a_v.JPG", MEDIA_THUMB);
  ask(3, 2, "a.MP4");
  handle();
  EXPECT_EQ(rig_.said(), Words{"FREMOVED:a.MP4"});
  EXPECT_FALSE(exists(video));
  EXPECT_FALSE(exists(thumbnail));
  EXPECT_TRUE(exists(other));
  EXPECT_EQ(media_list_count(media_list(MEDIA_VIDEO)), 1);
}

TEST_F(TransferRequests, FileThatCannotBeDeletedGivesNoAnswer) {
  add("a.MP4", MEDIA_VIDEO);
  std::remove(folder_.path("a.MP4").c_str());
  ask(3, 2, "a.MP4");
  handle();
  EXPECT_EQ(rig_.said(), Words{});
}

TEST_F(TransferRequests, PlayStartsAtItsTimeUnpaused) {
  add("a.MP4", MEDIA_VIDEO);
  context().paused = 1;
  context().seek_pending = 1;
  ask(3, 5, "a.MP4", "12500");
  handle();
  EXPECT_EQ(context().paused, 0);
  EXPECT_EQ(context().seek_pending, 0);
  EXPECT_EQ(context().seek_time, 12500);
  EXPECT_EQ(queued().handler, &video_streamer);
  EXPECT_EQ(queued().cancel_on_new_work, 1);
}

TEST_F(TransferRequests, PhotosAreNotPlayed) {
  add("a.JPG", MEDIA_PHOTO);
  ask(1, 5, "a.JPG");
  handle();
  EXPECT_EQ(context().queued, 0U);
  EXPECT_EQ(rig_.said(), Words{});
}

TEST_F(TransferRequests, OtherOperationsDoNothing) {
  add("a.MP4", MEDIA_VIDEO);
  for (const uint8_t operation : std::initializer_list<uint8_t>{3, 9, 255}) {
    ask(3, operation, "a.MP4");
    handle();
    EXPECT_EQ(context().queued, 0U);
    EXPECT_EQ(rig_.said(), Words{});
  }
}

TEST_F(TransferRequests, ShortFrameReadsAsZeros) {
  add("a.JPG", MEDIA_PHOTO);
  support::Frame frame = support::message(142, {0, 1, 'a', '.', 'J', 'P', 'G'});
  receive(frame);
  handle();
  EXPECT_EQ(rig_.said(), Words{"1 FSIZE:5"});
}

}  // namespace
}  // namespace media
