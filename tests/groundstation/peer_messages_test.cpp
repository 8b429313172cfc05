#include "groundstation/peer_messages.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/bytes.h"

namespace groundstation_test {
namespace {

using groundstation::CameraAction;
using groundstation::PeerMessage;
using Bytes = std::vector<uint8_t>;

TEST(PeerMessages, HeartbeatCarriesLevelAndWish) {
  EXPECT_EQ(groundstation::heartbeat_message(false, 0).payload, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 3}));
  EXPECT_EQ(groundstation::heartbeat_message(true, 10).payload,
            (Bytes{0, 0, 0, 0, 0, 0, 0, 0xA2, 3}));
}

TEST(PeerMessages, CameraActionIsCommand2) {
  const PeerMessage message = groundstation::action_message(CameraAction::kBitrate, 70);
  EXPECT_EQ(message.msgid, 76);
  Bytes expected(33);
  // 9.0 and 70.0
  expected[2] = 0x10;
  expected[3] = 0x41;
  expected[6] = 0x8C;
  expected[7] = 0x42;
  expected[28] = 2;
  EXPECT_EQ(message.payload, expected);
}

TEST(PeerMessages, NamedPhotoCarriesModeLessOneSequenceAndOne) {
  const PeerMessage message = groundstation::named_photo_message(2, 3);
  Bytes expected(33);
  // 1.0 at 16, 3.0 at 20, 1.0 at 24; command 203
  expected[18] = 0x80;
  expected[19] = 0x3F;
  expected[22] = 0x40;
  expected[23] = 0x40;
  expected[26] = 0x80;
  expected[27] = 0x3F;
  expected[28] = 0xCB;
  EXPECT_EQ(message.payload, expected);
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

}  // namespace
}  // namespace groundstation_test
