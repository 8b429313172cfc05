#include "groundstation/messages/peer_messages.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/bytes.h"

namespace groundstation_test {
namespace {

using groundstation::CameraAction;
using groundstation::PeerMessage;
using Bytes = std::vector<uint8_t>;

// A COMMAND_LONG that is zero but for these bytes.
Bytes command_bytes(const std::vector<std::pair<size_t, uint8_t>>& places) {
  Bytes bytes(33);
  for (const auto& [at, byte] : places) bytes.at(at) = byte;
  return bytes;
}

TEST(PeerMessages, HeartbeatCarriesLevelAndWish) {
  EXPECT_EQ(groundstation::heartbeat_message(false, 0).payload, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 3}));
  EXPECT_EQ(groundstation::heartbeat_message(true, 10).payload,
            (Bytes{0, 0, 0, 0, 0, 0, 0, 0xA2, 3}));
}

TEST(PeerMessages, CameraActionIsCommand2) {
  const PeerMessage message = groundstation::action_message(CameraAction::kBitrate, 70);
  EXPECT_EQ(message.msgid, 76);
  // 9.0 and 70.0
  EXPECT_EQ(message.payload, command_bytes({{2, 0x10}, {3, 0x41}, {6, 0x8C}, {7, 0x42}, {28, 2}}));
}

TEST(PeerMessages, NamedPhotoCarriesModeLessOneSequenceAndOne) {
  const PeerMessage message = groundstation::named_photo_message(2, 3);
  // 1.0 at 16, 3.0 at 20, 1.0 at 24; command 203
  EXPECT_EQ(
      message.payload,
      command_bytes(
          {{18, 0x80}, {19, 0x3F}, {22, 0x40}, {23, 0x40}, {26, 0x80}, {27, 0x3F}, {28, 0xCB}}));
}

TEST(PeerMessages, PhotoWithoutModeCodeCarriesMinusOne) {
  const PeerMessage message = groundstation::named_photo_message(0, 1);
  EXPECT_EQ((Bytes{message.payload.begin() + 16, message.payload.begin() + 20}),
            (Bytes{0x00, 0x00, 0x80, 0xBF}));
}

TEST(PeerMessages, StreamSwitchIsByte3) {
  EXPECT_EQ(groundstation::stream_switch_message(true).payload, (Bytes{0, 0, 0, 1}));
  EXPECT_EQ(groundstation::stream_switch_message(false).payload, (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(groundstation::stream_switch_message(true).msgid, 67);
}

TEST(PeerMessages, PositionIsInTenMillionthsOfADegree) {
  const PeerMessage message = groundstation::position_message(22.5, -1e-7, 0);
  EXPECT_EQ(message.msgid, 24);
  // 225000000 is 0x0D693A40
  EXPECT_EQ((Bytes{message.payload.begin() + 8, message.payload.begin() + 16}),
            (Bytes{0x40, 0x3A, 0x69, 0x0D, 0xFF, 0xFF, 0xFF, 0xFF}));
}

// The camera takes ten times the value and drops the fraction.
TEST(PeerMessages, AltitudeKeepsItsTenthOfAMetre) {
  for (int tenths = -20000; tenths <= 100000; tenths++) {
    const PeerMessage message = groundstation::altitude_message(tenths / 10.0);
    const float value = base::load_f32le(message.payload.data());
    ASSERT_EQ(static_cast<int>(static_cast<double>(value) * 10.0), tenths);
    ASSERT_EQ(static_cast<int>(value * 10.0F), tenths);
  }
}

// The bytes of a COMMAND_LONG whose parameters are given by the upper half of their floats.
Bytes command_bytes(std::initializer_list<uint16_t> params, uint8_t command, uint8_t component,
                    uint8_t confirmation) {
  Bytes bytes(33);
  size_t at = 2;
  for (const uint16_t half : params) {
    bytes[at] = static_cast<uint8_t>(half);
    bytes[at + 1] = static_cast<uint8_t>(half >> 8);
    at += 4;
  }
  bytes[28] = command;
  bytes[31] = component;
  bytes[32] = confirmation;
  return bytes;
}

TEST(PeerMessages, SettingIsCommand180WithItsSub) {
  // 400.0 is 0x43C80000, -1.0 is 0xBF800000
  EXPECT_EQ(groundstation::setting_message(6, 400).payload, command_bytes({0x43C8}, 180, 6, 0));
  EXPECT_EQ(groundstation::setting_message(5, -1).payload, command_bytes({0xBF80}, 180, 5, 0));
}

TEST(PeerMessages, TimelapseIsSub16) {
  // 3.0, 1.0, 5.0, 0, 2.0, 3.0, 4.0
  EXPECT_EQ(
      groundstation::timelapse_start_message({.count = 3, .interval = 5, .values = {1, 2, 3, 4}})
          .payload,
      command_bytes({0x4040, 0x3F80, 0x40A0, 0, 0x4000, 0x4040, 0x4080}, 180, 16, 0));
  EXPECT_EQ(groundstation::timelapse_stop_message().payload, command_bytes({}, 180, 16, 2));
}

TEST(PeerMessages, LinkQualityIsCommand203WithSub14) {
  // 100.0 is 0x42C80000, 50.0 is 0x42480000; the losses 1 to 5
  EXPECT_EQ(
      groundstation::link_quality_message({.sent = 100, .arrived = 50, .losses = {1, 2, 3, 4, 5}})
          .payload,
      command_bytes({0x42C8, 0x3F80, 0x4000, 0x4040, 0x4080, 0x40A0, 0x4248}, 203, 14, 0));
}

TEST(PeerMessages, ClockCarriesMillisecondsAndHours) {
  // 1577836800999 is 0x16F5E66EBE7
  EXPECT_EQ(groundstation::clock_message(1577836800999, -2).payload,
            (Bytes{0xE7, 0xEB, 0x66, 0x5E, 0x6F, 0x01, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(groundstation::clock_message(0, 8).msgid, 111);
}

TEST(PeerMessages, TelemetryEndsWithAValueOfTheMessagesSize) {
  groundstation::Telemetry gimbal{105, 0x0807060504030201, {}, 0xFFFF};
  gimbal.values[0] = 1;
  gimbal.values[12] = -1;
  Bytes bytes = groundstation::telemetry_message(gimbal).payload;
  ASSERT_EQ(bytes.size(), 62U);
  EXPECT_EQ((Bytes{bytes.begin(), bytes.begin() + 12}),
            (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0x80, 0x3F}));
  EXPECT_EQ((Bytes{bytes.begin() + 56, bytes.end()}), (Bytes{0, 0, 0x80, 0xBF, 0xFF, 0xFF}));
  const groundstation::Telemetry flight{107, 0, {}, 0xFFFFFFFB};
  bytes = groundstation::telemetry_message(flight).payload;
  ASSERT_EQ(bytes.size(), 64U);
  EXPECT_EQ((Bytes{bytes.begin() + 60, bytes.end()}), (Bytes{0xFB, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(groundstation::telemetry_message({90, 7, {}, 0}).payload,
            (Bytes{7, 0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace groundstation_test
