#include "groundstation/media/messages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace groundstation {
namespace {

std::vector<uint8_t> datagram(uint8_t channel, uint8_t msgid, const std::vector<uint8_t>& payload) {
  flightlink::MavlinkMessage message{};
  message.msgid = msgid;
  std::copy(payload.begin(), payload.end(), message.payload);
  flightlink::mavlink_frame_seal(&message, 36, 9, static_cast<uint8_t>(payload.size()),
                                 flightlink::mavlink_crc_extra(msgid), 100);
  std::vector<uint8_t> bytes(1 + flightlink::kMavlinkMaxFrame);
  bytes[0] = channel;
  bytes.resize(1U + flightlink::mavlink_frame_to_buffer(bytes.data() + 1, &message));
  return bytes;
}

std::vector<uint8_t> notice(uint8_t channel, const std::string& text) {
  std::vector<uint8_t> payload(254);
  std::copy(text.begin(), text.end(), payload.begin() + 3);
  return datagram(channel, 110, payload);
}

TEST(MediaMessages, DownloadRequest) {
  const auto message =
      media_request(MediaKind::kVideo, "A.MP4", MediaOperation::kDownload, 4'294'967'296);
  EXPECT_EQ(message.msgid, 142);
  EXPECT_EQ(message.len, 243);
  EXPECT_EQ(message.payload[0], 0);
  EXPECT_EQ(message.payload[1], 3);
  EXPECT_STREQ(reinterpret_cast<const char*>(message.payload + 2), "A.MP4");
  EXPECT_EQ(message.payload[122], 1);
  EXPECT_STREQ(reinterpret_cast<const char*>(message.payload + 123), "4294967296");
}

TEST(MediaMessages, LongNameStaysTerminated) {
  const auto message =
      media_request(MediaKind::kPhoto, std::string(300, 'x'), MediaOperation::kSize);
  EXPECT_EQ(message.payload[120], 'x');
  EXPECT_EQ(message.payload[121], 0);
  EXPECT_EQ(message.payload[122], 0);
}

TEST(MediaMessages, ListRequestChoosesByComponent) {
  EXPECT_EQ(media_list_request(MediaKind::kPhoto).compid, 195);
  EXPECT_EQ(media_list_request(MediaKind::kVideo).compid, 0);
  EXPECT_EQ(media_list_request(MediaKind::kVideo).msgid, 21);
}

TEST(MediaMessages, KindsByName) {
  EXPECT_EQ(media_kind_of("A.JPG"), MediaKind::kPhoto);
  EXPECT_EQ(media_kind_of("a.jpg.txt"), MediaKind::kPhoto);
  EXPECT_EQ(media_kind_of("A.MP4"), MediaKind::kVideo);
  EXPECT_EQ(media_kind_of("a.mp4"), MediaKind::kVideo);
  EXPECT_EQ(media_kind_of("A.TXT"), std::nullopt);
}

TEST(MediaMessages, NoticeOnBothChannels) {
  for (const uint8_t channel : {uint8_t{0}, uint8_t{1}}) {
    const auto bytes = notice(channel, "FSIZE:1500000;DUR:2");
    const auto event = decode_media_datagram(bytes);
    ASSERT_TRUE(event.has_value());
    const auto* found = std::get_if<MediaNotice>(&*event);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->sequence, 9);
    EXPECT_EQ(found->field("FSIZE"), "1500000");
    EXPECT_EQ(found->field("DUR"), "2");
    EXPECT_EQ(found->field("SIZE"), std::nullopt);
  }
}

TEST(MediaMessages, NoticesAboutAFile) {
  const MediaNotice start{0, "TRANSSTART:A.MP4;FTYPE:3;DUR:2"};
  EXPECT_TRUE(start.is("TRANSSTART", "A.MP4"));
  EXPECT_FALSE(start.is("TRANSSTART", "A.MP"));
  EXPECT_FALSE(start.is("TRANSCOMPLETE", "A.MP4"));
  const MediaNotice end{0, "TRANSCOMPLETE:" + std::string(49, 'n')};
  EXPECT_TRUE(end.is("TRANSCOMPLETE", std::string(60, 'n')));
}

TEST(MediaMessages, ListRecord) {
  std::vector<uint8_t> payload(55);
  const uint8_t head[] = {0, 0, 0x40, 0x40, 13, 0, 12, 0};
  std::copy(std::begin(head), std::end(head), payload.begin());
  std::memcpy(payload.data() + 8, "VIDEO12", 7);
  std::memcpy(payload.data() + 24, "A.MP4", 5);
  payload[54] = 11;
  const auto bytes = datagram(0, 22, payload);
  ASSERT_EQ(bytes.size(), 64U);
  const auto event = decode_media_datagram(bytes);
  ASSERT_TRUE(event.has_value());
  const auto* record = std::get_if<MediaRecord>(&*event);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->kind, MediaKind::kVideo);
  EXPECT_EQ(record->count, 13);
  EXPECT_EQ(record->number, 12);
  EXPECT_EQ(record->name, "A.MP4");
}

TEST(MediaMessages, DataIsWhatFollowsTheChannel) {
  const std::vector<uint8_t> bytes{2, 5, 6, 7};
  const auto event = decode_media_datagram(bytes);
  ASSERT_TRUE(event.has_value());
  const auto* data = std::get_if<MediaData>(&*event);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->channel, 2);
  ASSERT_EQ(data->bytes.size(), 3U);
  EXPECT_EQ(data->bytes[0], 5);
}

TEST(MediaMessages, EverythingElseIsNothing) {
  EXPECT_FALSE(decode_media_datagram({}).has_value());
  EXPECT_FALSE(decode_media_datagram(std::vector<uint8_t>{0}).has_value());
  EXPECT_FALSE(decode_media_datagram(std::vector<uint8_t>{0, 0xFE, 9, 9}).has_value());
  EXPECT_FALSE(decode_media_datagram(notice(4, "NOTEXIST")).has_value());
  EXPECT_FALSE(decode_media_datagram(datagram(0, 22, std::vector<uint8_t>(20))).has_value());
  EXPECT_FALSE(decode_media_datagram(datagram(0, 0, std::vector<uint8_t>(9))).has_value());
  auto damaged = notice(0, "NOTEXIST");
  damaged[20] ^= 1;
  EXPECT_FALSE(decode_media_datagram(damaged).has_value());
}

TEST(MediaMessages, Numbers) {
  EXPECT_EQ(media_number("0"), 0U);
  EXPECT_EQ(media_number("1500000"), 1'500'000U);
  EXPECT_EQ(media_number(""), std::nullopt);
  EXPECT_EQ(media_number("-1"), std::nullopt);
  EXPECT_EQ(media_number("12 "), std::nullopt);
}

}  // namespace
}  // namespace groundstation
