#include "media/channel/transfer_notices.h"

#include "media/channel/transfer_rig.h"

namespace media {
namespace {

using media_test::Bytes;
using media_test::TransferRig;

std::string first_bytes(const Bytes& bytes, size_t count) {
  return support::hex({bytes.data(), std::min(count, bytes.size())});
}

TEST(TransferNotices, ListRecordIsA64ByteDatagram) {
  TransferRig rig;
  EXPECT_EQ(transfer_send_list_record(MEDIA_VIDEO, 300, 12, "20200101_120000AB.MP4"), 64);
  const Bytes datagram = rig.next();
  ASSERT_EQ(datagram.size(), 64U);
  EXPECT_EQ(first_bytes(datagram, 3), "00 fe 37");
  EXPECT_EQ(support::hex({datagram.data() + 4, 3}), "24 64 16");
  // 3.0, 300 files, number 12.
  EXPECT_EQ(support::hex({datagram.data() + 7, 8}), "00 00 40 40 2c 01 0c 00");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(datagram.data()) + 15, 16),
            std::string("VIDEO12") + std::string(9, '\0'));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(datagram.data()) + 31, 30),
            std::string("20200101_120000AB.MP4") + std::string(9, '\0'));
  EXPECT_EQ(datagram[61], 11);
}

TEST(TransferNotices, PhotosHaveTheirOwnValueAndId) {
  TransferRig rig;
  transfer_send_list_record(MEDIA_PHOTO, 1, 1, "a.JPG");
  const Bytes datagram = rig.next();
  EXPECT_EQ(support::hex({datagram.data() + 7, 8}), "00 00 80 3f 01 00 01 00");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(datagram.data()) + 15, 5),
            std::string("PIC1") + '\0');
}

TEST(TransferNotices, LongFileNamesAreCutTo29Characters) {
  TransferRig rig;
  transfer_send_list_record(MEDIA_PHOTO, 1, 1, "123456789012345678901234567890123.JPG");
  EXPECT_EQ(rig.said(), std::vector<std::string>{"list 12345678901234567890123456789"});
}

TEST(TransferNotices, NotificationIsA263ByteDatagram) {
  TransferRig rig;
  EXPECT_EQ(transfer_notify_text("NOTEXIST"), 263);
  const Bytes datagram = rig.next();
  ASSERT_EQ(datagram.size(), 263U);
  EXPECT_EQ(first_bytes(datagram, 3), "00 fe fe");
  EXPECT_EQ(support::hex({datagram.data() + 4, 7}), "24 64 6e 00 00 00 4e");
}

TEST(TransferNotices, TextIsCutTo249Characters) {
  TransferRig rig;
  transfer_notify_text(std::string(300, 'x').c_str());
  const Bytes datagram = rig.next();
  EXPECT_EQ(TransferRig::words(datagram), std::string(249, 'x'));
  EXPECT_EQ(datagram[7 + 3 + 249], 0);
}

TEST(TransferNotices, FramesAreNumberedOneByOne) {
  TransferRig rig;
  transfer_notify_not_found();
  transfer_send_list_record(MEDIA_PHOTO, 1, 1, "a.JPG");
  const uint8_t first = rig.next().at(3);
  EXPECT_EQ(rig.next().at(3), static_cast<uint8_t>(first + 1));
}

TEST(TransferNotices, EveryText) {
  TransferRig rig;
  transfer_notify_stream(1);
  transfer_notify_stream(0);
  transfer_notify_stream(2);
  transfer_notify_not_found();
  transfer_notify_removed("a.JPG");
  transfer_notify_size(1500000, "2");
  transfer_notify_size(4294967296, "");
  transfer_notify_play(1000, 30000);
  transfer_notify_start("a.MP4", 3, "17");
  transfer_notify_start("a.JPG", 1, "");
  transfer_notify_cancelled("a.MP4");
  transfer_notify_complete("a.MP4");
  transfer_notify_thumb_ready("a.MP4");
  transfer_notify_thumb_error("a.MP4");
  EXPECT_EQ(rig.said(), (std::vector<std::string>{
                            "STREAM_ON", "STREAM_OFF", "STREAM_OFF", "NOTEXIST", "FREMOVED:a.JPG",
                            "1 FSIZE:1500000;DUR:2", "1 FSIZE:4294967296", "TIME:1000;SCALE:30000",
                            "TRANSSTART:a.MP4;FTYPE:3;DUR:17", "TRANSSTART:a.JPG;FTYPE:1",
                            "TRANSCANCELED:a.MP4", "TRANSCOMPLETE:a.MP4", "THUMBREADY:a.MP4",
                            "THUMBERROR:a.MP4"}));
}

TEST(TransferNotices, NothingIsSentWithoutASocketOrAnApplication) {
  TransferRig rig;
  const uint8_t bytes[] = {2, 3};
  rig.block();
  EXPECT_EQ(transfer_send(bytes, 2), -1);
  rig.unblock();
  const sockaddr_in peer = rig.context.peer;
  rig.context.peer = {};
  EXPECT_EQ(transfer_send(bytes, 2), -1);
  rig.context.peer = peer;
  EXPECT_EQ(transfer_send(bytes, 2), 2);
  EXPECT_EQ(rig.next(), (Bytes{2, 3}));
  EXPECT_EQ(rig.context.send_slots.count(), 2);
  EXPECT_EQ(rig.context.senders, 0);
}

}  // namespace
}  // namespace media
