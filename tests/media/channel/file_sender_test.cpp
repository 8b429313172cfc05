#include "media/channel/file_sender.h"

#include "fake_base/fake_base.h"
#include "media/channel/transfer_rig.h"
#include "media/movie/mov_boxes.h"

namespace media {
namespace {

using media_test::Bytes;
using media_test::make_item;
using Words = std::vector<std::string>;

class FileSender : public fake_base::FakeBaseTest {
 protected:
  // Writes the file and sends it from the offset on.
  void send(size_t size, int64_t offset = 0) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; i++) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
    media_test::write_file(path_, bytes);
    item_ = make_item("a.JPG", path_, 1, offset);
    EXPECT_EQ(file_sender(item_.get(), &rig_.context), 0);
  }

  media_test::TransferRig rig_;
  media_test::TemporaryFolder folder_;
  std::string path_ = folder_.path("a.JPG");
  std::unique_ptr<WorkItem> item_;
};

TEST_F(FileSender, DataDatagramsHold8181Bytes) {
  const struct {
    size_t size;
    int64_t offset;
    Words data;
  } rows[] = {
      {0, 0, {}},
      {1, 0, {"data 2 1"}},
      {8180, 0, {"data 2 8180"}},
      {8181, 0, {"data 2 8181"}},
      {8182, 0, {"data 2 8181", "data 2 1"}},
      {16362, 0, {"data 2 8181", "data 2 8181"}},
      {16363, 0, {"data 2 8181", "data 2 8181", "data 2 1"}},
      {100, 99, {"data 2 1"}},
      {100, 100, {}},
      {100, 101, {}},
      {100, 1000000, {}},
      {0, 1, {}},
      {100, INT64_MAX - 1, {}},  // no file system reads there, and most do not even seek there
      {100, INT64_MAX, {}},
  };
  for (const auto& row : rows) {
    send(row.size, row.offset);
    Words expected{"TRANSSTART:a.JPG;FTYPE:1"};
    expected.insert(expected.end(), row.data.begin(), row.data.end());
    expected.emplace_back("TRANSCOMPLETE:a.JPG");
    EXPECT_EQ(rig_.said(), expected) << row.size << " from " << row.offset;
  }
}

TEST_F(FileSender, DataAreTheFilesBytesFromTheOffsetOn) {
  send(10, 4);
  rig_.next();
  EXPECT_EQ(rig_.next(), (Bytes{2, 28, 35, 42, 49, 56, 63}));
}

TEST_F(FileSender, StartOfAVideoSaysItsDuration) {
  media_test::write_file(path_, media_test::movie_of(2000));
  for (const auto& [kind, start] :
       {std::pair<uint16_t, const char*>{3, "TRANSSTART:a.MP4;FTYPE:3;DUR:2"},
        {2, "TRANSSTART:a.MP4;FTYPE:2"}}) {
    item_ = make_item("a.MP4", path_, kind);
    EXPECT_EQ(file_sender(item_.get(), &rig_.context), 0);
    EXPECT_EQ(rig_.said().front(), start);
  }
}

TEST_F(FileSender, FileThatCannotBeOpenedIsSilent) {
  item_ = make_item("a.JPG", folder_.path("none"), 1);
  EXPECT_EQ(file_sender(item_.get(), &rig_.context), -1);
  EXPECT_EQ(rig_.said(), Words{});
}

TEST_F(FileSender, FolderInPlaceOfAFileEndsAfterTheStart) {
  item_ = make_item("a.JPG", folder_.folder(), 1);
  EXPECT_EQ(file_sender(item_.get(), &rig_.context), -1);
  EXPECT_EQ(rig_.said(), Words{"TRANSSTART:a.JPG;FTYPE:1"});
}

TEST_F(FileSender, CancelEndsItWithANotice) {
  rig_.context.cancel = 1;
  send(5);
  EXPECT_EQ(rig_.said(), Words{"TRANSCANCELED:a.JPG"});
}

TEST_F(FileSender, StartIsRepeatedUntilItGoesOut) {
  rig_.block();
  int sleeps = 0;
  fake_base::on_sleep([&](uint64_t us) {
    EXPECT_EQ(us, 1000U);
    if (++sleeps == 3) rig_.unblock();
  });
  send(5);
  EXPECT_EQ(sleeps, 3);
  EXPECT_EQ(rig_.said(), (Words{"TRANSSTART:a.JPG;FTYPE:1", "data 2 5", "TRANSCOMPLETE:a.JPG"}));
}

TEST_F(FileSender, StartIsRepeatedAfterAFirstChunkThatDidNotGoOut) {
  int data = 0;
  rig_.refuse([&](const Bytes& datagram) { return datagram[0] == 2 && ++data <= 2; });
  send(8182);
  const std::string start = "TRANSSTART:a.JPG;FTYPE:1";
  EXPECT_EQ(rig_.said(),
            (Words{start, start, start, "data 2 8181", "data 2 1", "TRANSCOMPLETE:a.JPG"}));
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{1000, 1000}));
}

TEST_F(FileSender, EveryChunkIsSentAgainUntilItGoesOut) {
  int data = 0;
  rig_.refuse([&](const Bytes& datagram) { return datagram[0] == 2 && ++data % 3 != 0; });
  send(20000);
  EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>(6, 1000));
  Bytes received;
  for (Bytes next = rig_.next(); !next.empty(); next = rig_.next()) {
    if (next[0] == 2) received.insert(received.end(), next.begin() + 1, next.end());
  }
  EXPECT_EQ(received, media_test::read_file(path_));
}

TEST_F(FileSender, CancelEndsTheWaitForALinkThatIsDown) {
  rig_.block();
  fake_base::on_sleep([&](uint64_t) { rig_.context.cancel = 1; });
  send(5);
  EXPECT_EQ(fake_base::sleeps().size(), 1U);
}

TEST_F(FileSender, OtherWorkEndsOnlyAnItemThatGivesWay) {
  rig_.context.new_work = 1;
  send(5);
  EXPECT_EQ(rig_.said(), Words{"TRANSCANCELED:a.JPG"});
  item_ = make_item("a.JPG", path_, 1);
  item_->cancel_on_new_work = 0;
  EXPECT_EQ(file_sender(item_.get(), &rig_.context), 0);
  EXPECT_EQ(rig_.said().back(), "TRANSCOMPLETE:a.JPG");
}

}  // namespace
}  // namespace media
