// The dissector with traffic that was made for it: what it shows, and that it finds what is wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "support/mavlink.h"
#include "support/temporary_folder.h"
#include "support/tshark.h"

namespace {

using namespace support;  // NOLINT

constexpr const char* kCamera = "\xC0\xA8\x1F\x01";  // 192.168.31.1
constexpr const char* kPeer = "\xC0\xA8\x1F\x6F";    // 192.168.31.111
constexpr const char* kElsewhere = "\x0A\x00\x00\x02";

const std::vector<std::string> kFields = {"_ws.malformed",
                                          "camera_module.direction",
                                          "camera_module.layout",
                                          "camera_module.checksum_good",
                                          "camera_module.unknown",
                                          "camera_module.broken",
                                          "camera_module.bad_checksum",
                                          "camera_module.more",
                                          "camera_module.camera_setting.setting",
                                          "camera_module.camera_setting.value",
                                          "camera_module.stamp",
                                          "camera_module.status_record.iso",
                                          "camera_module.status_record.shutter",
                                          "h264.nal_unit_hdr",
                                          "camera_module.channel",
                                          "camera_module.notice.text",
                                          "camera_module.h264_units"};

std::string text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::string big16(size_t value) {
  return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}

// A capture file of IPv4 packets.
class Traffic {
 public:
  Traffic() {
    // Magic number, version 2.4, zone, accuracy, longest packet, link type 101 (raw IP); little-endian.
    pcap_ = std::string("\xD4\xC3\xB2\xA1\2\0\4\0\0\0\0\0\0\0\0\0\0\0\4\0\x65\0\0\0", 24);
  }

  void udp(const char* from, const char* to, int from_port, int to_port,
           const std::string& payload) {
    ip(from, to, 17,
       big16(static_cast<size_t>(from_port)) + big16(static_cast<size_t>(to_port)) +
           big16(8 + payload.size()) + big16(0) + payload);
  }
  void peer(const std::string& payload) { udp(kPeer, kCamera, 8888, 8888, payload); }
  void camera(const std::string& payload) { udp(kCamera, kPeer, 8888, 8888, payload); }
  // One direction of one connection.
  void app(const std::string& payload) {
    ip(kPeer, kCamera, 6,
       big16(40000) + big16(8866) + big16(0) + big16(sequence_) + big16(0) + big16(1) + "\x50\x10" +
           big16(0xFFFF) + big16(0) + big16(0) + payload);
    sequence_ += payload.size();
  }

  [[nodiscard]] std::vector<DecodedPacket> decoded() const {
    const std::string file = folder_.path("pcap");
    std::ofstream(file, std::ios::binary) << pcap_;
    return decode_capture(file, "ip", kFields);
  }

 private:
  void ip(const char* from, const char* to, char protocol, const std::string& rest) {
    const std::string packet = "\x45" + std::string(1, '\0') + big16(20 + rest.size()) + big16(0) +
                               big16(0) + "\x40" + protocol + big16(0) + std::string(from, 4) +
                               std::string(to, 4) + rest;
    const std::string size{static_cast<char>(packet.size() & 0xFF),
                           static_cast<char>(packet.size() >> 8 & 0xFF), '\0', '\0'};
    pcap_ += std::string(8, '\0') + size + size + packet;
  }

  TemporaryFolder folder_;
  std::string pcap_;
  size_t sequence_ = 1;
};

std::string setting(uint8_t sub, float value) {
  return text(encode(command_long({.command = 180, .param1 = value, .target_component = sub})));
}

std::string notice(const std::string& words) {
  Bytes payload(254, 0);
  std::copy(words.begin(), words.end(), payload.begin() + 3);
  Frame frame = message(110, payload);
  frame.system = 36;
  frame.component = 100;
  return text(encode(frame));
}

std::string field(const DecodedPacket& packet, const std::string& name) {
  const auto found = packet.find("camera_module." + name);
  return found == packet.end() ? "" : found->second;
}

bool has_fault(const DecodedPacket& packet) {
  return packet.contains("_ws.malformed") || !field(packet, "unknown").empty() ||
         !field(packet, "broken").empty() || !field(packet, "bad_checksum").empty();
}

TEST(Dissector, ShowsTheFieldsOfGoodFrames) {
  Traffic traffic;
  traffic.peer(setting(17, 9) + setting(6, 1000));
  Frame status = message(76, Bytes(33, 0));
  status.system = 36;
  status.payload[4] = 0xE8;
  status.payload[5] = 3;
  status.payload[19] = 29;
  status.payload[26] = 0x80;
  status.payload[27] = 0x3F;
  status.payload[28] = 2;
  traffic.camera(text(encode(status)));
  const auto packets = traffic.decoded();
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(field(packets[0], "layout"), "camera setting,camera setting");
  EXPECT_EQ(field(packets[0], "direction"), "to camera,to camera");
  EXPECT_EQ(field(packets[0], "checksum_good"), "1,1");
  EXPECT_EQ(field(packets[0], "camera_setting.setting"), "17,6");
  EXPECT_EQ(field(packets[0], "camera_setting.value"), "9,1000");
  EXPECT_EQ(field(packets[1], "layout"), "status record");
  EXPECT_EQ(field(packets[1], "status_record.iso"), "1000");
  EXPECT_EQ(field(packets[1], "status_record.shutter"), "29");
  for (const auto& packet : packets) EXPECT_FALSE(has_fault(packet));
}

TEST(Dissector, TellsWrongChecksumsUnknownMessagesAndBrokenFrames) {
  Traffic traffic;
  std::string wrong = setting(6, 100);
  wrong[10] ^= 1;
  traffic.peer(wrong);
  Frame report = message(57, Bytes(11, 0));  // which only the camera sends
  traffic.peer(text(encode(report)));
  traffic.peer(std::string("\xFE\0\1\1\0\xC8\0\0", 8));  // message 200
  traffic.peer(setting(6, 100).substr(0, 20));
  traffic.peer("no frame");
  traffic.udp(kCamera, kPeer, 8857, 40000, "\7 no channel");
  const auto packets = traffic.decoded();
  ASSERT_EQ(packets.size(), 6U);
  EXPECT_NE(field(packets[0], "bad_checksum"), "");
  EXPECT_EQ(field(packets[0], "checksum_good"), "0");
  EXPECT_NE(field(packets[1], "unknown"), "");
  EXPECT_EQ(field(packets[1], "checksum_good"), "1");
  EXPECT_NE(field(packets[2], "unknown"), "");
  EXPECT_NE(field(packets[3], "broken"), "");
  EXPECT_NE(field(packets[4], "broken"), "");
  EXPECT_NE(field(packets[5], "unknown"), "");
}

// Bytes that a payload lacks read as zero, bytes too many are ignored.
TEST(Dissector, TakesPayloadsOfAnyLength) {
  Traffic traffic;
  Frame frame = command_long({.command = 180, .param1 = 100, .target_component = 6});
  frame.payload.resize(30);
  traffic.peer(text(encode(frame)));
  frame.payload.resize(40);
  traffic.peer(text(encode(frame)));
  traffic.peer(text(encode(message(0, {}))));
  const auto packets = traffic.decoded();
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(field(packets[0], "camera_setting.value"), "100");
  EXPECT_EQ(field(packets[0], "camera_setting.setting"), "");
  EXPECT_EQ(field(packets[1], "camera_setting.setting"), "0");
  EXPECT_EQ(field(packets[1], "more").size(), 14U);  // seven bytes in hexadecimal digits
  EXPECT_EQ(field(packets[2], "layout"), "heartbeat of the peer");
  for (const auto& packet : packets) EXPECT_FALSE(has_fault(packet));
}

TEST(Dissector, KnowsTheDirectionWithoutTheCamerasAddress) {
  Traffic traffic;
  traffic.udp(kElsewhere, kElsewhere, 50000, 8888, setting(6, 100));
  Frame acknowledgement = message(77, {0xD1, 0x07, 0});
  acknowledgement.system = 36;
  traffic.udp(kElsewhere, kElsewhere, 8888, 50000, text(encode(acknowledgement)));
  traffic.udp(kElsewhere, kElsewhere, 8888, 8888, text(encode(acknowledgement)));
  const auto packets = traffic.decoded();
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(field(packets[0], "direction"), "to camera");
  EXPECT_EQ(field(packets[1], "direction"), "from camera");
  EXPECT_EQ(field(packets[2], "layout"), "command acknowledgement");
}

TEST(Dissector, ReadsTheApplicationsFramesAcrossSegments) {
  Traffic traffic;
  const std::string frames = setting(6, 100) + setting(6, 200);
  traffic.app(frames.substr(0, 50));
  traffic.app(frames.substr(50));
  const auto packets = traffic.decoded();
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(field(packets[0], "camera_setting.value"), "100");
  EXPECT_EQ(field(packets[1], "camera_setting.value"), "200");
  for (const auto& packet : packets) EXPECT_FALSE(has_fault(packet));
}

TEST(Dissector, ReadsTheMediaChannelAndVideo) {
  Traffic traffic;
  traffic.udp(kCamera, kPeer, 8857, 40000, "\1" + notice("FSIZE:5"));
  traffic.udp(kCamera, kPeer, 8857, 40000, "\2 any bytes");
  const std::string start("\0\0\0\1", 4);
  traffic.udp(kCamera, kPeer, 40000, 8856, start + "\x09\xF0" + start + "\x09\xF0");
  traffic.udp(kCamera, kPeer, 40000, 8856, "the rest of a picture");
  const auto packets = traffic.decoded();
  ASSERT_EQ(packets.size(), 4U);
  EXPECT_EQ(field(packets[0], "channel"), "1");
  EXPECT_EQ(field(packets[0], "notice.text"), "FSIZE:5");
  EXPECT_EQ(field(packets[1], "channel"), "2");
  EXPECT_EQ(packets[2].at("h264.nal_unit_hdr"), "9,9");
  EXPECT_FALSE(packets[3].contains("h264.nal_unit_hdr"));
  EXPECT_EQ(field(packets[2], "h264_units"), "2");
  EXPECT_EQ(field(packets[3], "h264_units"), "0");
  for (const auto& packet : packets) EXPECT_FALSE(has_fault(packet));
}

TEST(Dissector, ReadsAcknowledgedDatagramsAndTheirAnswers) {
  Traffic traffic;
  // The words 0x6261 and 0x0063 add up to 0x62C4.
  const std::string good = std::string("C0XF\x10\0\0\0\3\0", 10) + "\x3B\x9D" + "abcFX0C";
  traffic.udp(kCamera, kPeer, 40000, 8866, good);
  std::string bad = good;
  bad[12] = 'x';
  traffic.udp(kCamera, kPeer, 40000, 8866, bad);
  traffic.udp(kPeer, kCamera, 40000, 8866, std::string("FF\x10\0\0\0", 6));
  traffic.udp(kPeer, kCamera, 40000, 8866, "F");
  const auto packets = traffic.decoded();
  ASSERT_EQ(packets.size(), 4U);
  EXPECT_EQ(field(packets[0], "stamp"), "16");
  EXPECT_EQ(field(packets[0], "checksum_good"), "1");
  EXPECT_NE(field(packets[1], "bad_checksum"), "");
  EXPECT_EQ(field(packets[2], "stamp"), "16");
  EXPECT_FALSE(has_fault(packets[2]));
  EXPECT_NE(field(packets[3], "broken"), "");
}

}  // namespace
