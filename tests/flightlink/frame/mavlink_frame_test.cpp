// Checksum, CRC extra table and finishing of frames. The frames' bytes are worked out by hand from
// the public definition of MAVLink 1.
#include "flightlink/frame/mavlink_frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>

#include "flightlink/frame/message_head.h"

namespace flightlink {
namespace {

Bytes wire(const MavlinkMessage& message) {
  uint8_t buffer[kMavlinkMaxFrame];
  const uint16_t length = mavlink_frame_to_buffer(buffer, &message);
  return {buffer, buffer + length};
}

MavlinkMessage zero_message(uint8_t msgid) {
  MavlinkMessage message{};
  message.msgid = msgid;
  return message;
}

TEST(MavlinkChecksum, OneStepFollowsTheFormula) {
  // t = 00 ^ ff = ff, ff ^ f0 = 0f; 00ff ^ 0f00 ^ 0078 ^ 0000
  uint16_t crc = 0xFFFF;
  crc_x25_accumulate(0x00, &crc);
  EXPECT_EQ(crc, 0x0F87);
}

TEST(MavlinkChecksum, GivesThePublishedCheckValue) {
  uint16_t crc = 0xFFFF;
  for (const char c : {'1', '2', '3', '4', '5', '6', '7', '8', '9'}) {
    crc_x25_accumulate(static_cast<uint8_t>(c), &crc);
  }
  EXPECT_EQ(crc, 0x6F91);
}

TEST(MavlinkCrcExtra, TableHoldsTheMessageSetAndZeroElsewhere) {
  const std::map<int, int> rows = {
      {0, 50},    {1, 124},   {2, 137},   {4, 237},   {5, 217},   {6, 104},   {7, 119},
      {11, 89},   {20, 214},  {21, 159},  {22, 49},   {23, 244},  {24, 24},   {25, 23},
      {26, 170},  {27, 144},  {28, 67},   {29, 115},  {30, 39},   {31, 246},  {32, 185},
      {33, 104},  {34, 237},  {35, 244},  {36, 222},  {37, 212},  {38, 9},    {39, 254},
      {40, 230},  {41, 28},   {42, 28},   {43, 132},  {44, 221},  {45, 232},  {46, 11},
      {47, 153},  {48, 41},   {49, 39},   {50, 78},   {51, 30},   {52, 221},  {53, 221},
      {54, 15},   {55, 3},    {56, 150},  {57, 229},  {58, 132},  {59, 24},   {61, 153},
      {62, 183},  {63, 51},   {64, 59},   {65, 118},  {66, 148},  {67, 21},   {69, 243},
      {70, 124},  {73, 38},   {74, 20},   {75, 158},  {76, 152},  {77, 143},  {81, 106},
      {82, 49},   {83, 22},   {84, 143},  {85, 140},  {86, 5},    {87, 150},  {89, 231},
      {90, 183},  {91, 63},   {92, 54},   {100, 175}, {101, 102}, {102, 158}, {103, 208},
      {104, 56},  {105, 93},  {106, 138}, {107, 108}, {108, 32},  {109, 185}, {110, 84},
      {111, 34},  {112, 174}, {113, 124}, {114, 237}, {115, 4},   {116, 76},  {117, 128},
      {118, 56},  {119, 116}, {120, 134}, {121, 237}, {122, 203}, {123, 250}, {124, 87},
      {125, 203}, {126, 220}, {127, 25},  {128, 226}, {129, 46},  {130, 29},  {131, 223},
      {132, 85},  {133, 6},   {134, 229}, {135, 203}, {136, 1},   {137, 195}, {138, 109},
      {139, 168}, {140, 181}, {141, 148}, {142, 72},  {146, 103}, {147, 154}, {148, 178},
      {149, 200}, {241, 90},  {242, 104}, {243, 85},  {244, 95},  {248, 8},   {249, 204},
      {250, 49},  {251, 170}, {252, 44},  {253, 83},  {254, 46},
  };
  for (int id = 0; id < 256; id++) {
    const auto row = rows.find(id);
    EXPECT_EQ(mavlink_crc_extra(static_cast<uint8_t>(id)), row == rows.end() ? 0 : row->second)
        << "message " << id;
  }
}

TEST(MavlinkMessageLayout, PayloadIsAlignedAndHoldsTheChecksumToo) {
  static_assert(offsetof(MavlinkMessage, checksum) == 0);
  static_assert(offsetof(MavlinkMessage, magic) == 2);
  static_assert(offsetof(MavlinkMessage, msgid) == 7);
  static_assert(offsetof(MavlinkMessage, payload) == 8);
  static_assert(alignof(MavlinkMessage) == 8);
  EXPECT_GE(sizeof(MavlinkMessage::payload), 257U);
}

TEST(MavlinkFinalize, ZeroHeartbeatToTheApplication) {
  in_fresh_process([] {
    MavlinkMessage message = zero_message(0);
    EXPECT_EQ(mavlink_frame_finalize_app(&message, 9, 50), 17);
    EXPECT_EQ(message.checksum, 0x6BAF);
    EXPECT_EQ(wire(message), hex("fe 09 00 24 00 00 " + zeros(9) + "af 6b"));
  });
}

TEST(MavlinkFinalize, SetsEveryHeaderFieldAndStoresTheChecksumBehindThePayload) {
  in_fresh_process([] {
    MavlinkMessage message{};
    std::ranges::fill(message.payload, uint8_t{0xEE});
    message.checksum = 0xEEEE;
    message.magic = message.len = message.seq = message.sysid = message.compid = 0xEE;
    message.msgid = 77;
    message.payload[0] = 0xD1;
    message.payload[1] = 0x07;
    message.payload[2] = 0;
    EXPECT_EQ(mavlink_frame_finalize_app(&message, 3, 143), 11);
    EXPECT_EQ(head_of(message), (Bytes{0xFE, 3, 0, 36, 0, 77}));
    EXPECT_EQ(message.checksum, 0x3D85);
    EXPECT_EQ(message.payload[3], 0x85);
    EXPECT_EQ(message.payload[4], 0x3D);
    EXPECT_EQ(message.payload[5], 0xEE);
  });
}

TEST(MavlinkFinalize, EachVariantHasItsOwnSequenceAndSystemId) {
  in_fresh_process([] {
    MavlinkMessage message = zero_message(59);
    EXPECT_EQ(mavlink_frame_finalize(&message, 37, 44, 24), 52);
    EXPECT_EQ(wire(message), hex("fe 2c 00 25 00 3b " + zeros(44) + "97 72"));
    message = zero_message(76);
    EXPECT_EQ(mavlink_frame_finalize(&message, 35, 33, 152), 41);
    EXPECT_EQ(wire(message), hex("fe 21 01 23 00 4c " + zeros(33) + "f9 82"));

    message = zero_message(0);
    message.payload[8] = 3;
    EXPECT_EQ(mavlink_frame_finalize_peer(&message, 9, 50), 17);
    EXPECT_EQ(wire(message), hex("fe 09 00 25 00 00 " + zeros(8) + "03 6a 44"));

    message = zero_message(0);
    EXPECT_EQ(mavlink_frame_finalize_app(&message, 9, 50), 17);
    EXPECT_EQ(message.seq, 0);
    mavlink_frame_finalize_app(&message, 9, 50);
    EXPECT_EQ(message.seq, 1);
    mavlink_frame_finalize_peer(&message, 9, 50);
    EXPECT_EQ(message.seq, 1);
    mavlink_frame_finalize(&message, 36, 9, 50);
    EXPECT_EQ(message.seq, 2);
  });
}

TEST(MavlinkFinalize, SequencesWrapAfter255) {
  in_fresh_process([] {
    MavlinkMessage message = zero_message(77);
    message.payload[0] = 0xD1;
    message.payload[1] = 0x07;
    for (int i = 0; i < 256; i++) mavlink_frame_finalize_app(&message, 3, 143);
    EXPECT_EQ(wire(message), hex("fe 03 ff 24 00 4d d1 07 00 ac cf"));
    mavlink_frame_finalize_app(&message, 3, 143);
    EXPECT_EQ(wire(message), hex("fe 03 00 24 00 4d d1 07 00 85 3d"));
    for (int i = 0; i < 257; i++) mavlink_frame_finalize_peer(&message, 3, 143);
    EXPECT_EQ(message.seq, 0);
    for (int i = 0; i < 257; i++) mavlink_frame_finalize(&message, 35, 3, 143);
    EXPECT_EQ(message.seq, 0);
  });
}

TEST(MavlinkFinalize, SealTakesTheCallersSequence) {
  MavlinkMessage message = zero_message(77);
  message.payload[0] = 0xD1;
  message.payload[1] = 0x07;
  EXPECT_EQ(mavlink_frame_seal(&message, 36, 1, 3, 143), 11);
  EXPECT_EQ(wire(message), hex("fe 03 01 24 00 4d d1 07 00 3a bc"));
}

TEST(MavlinkFinalize, ChecksumIsRightForEveryLengthUpTo9) {
  // Payload 10 11 12 ..., message 110 from system 37, sequence 3.
  const char* frames[] = {
      "fe 00 03 25 00 6e 5c 1f",
      "fe 01 03 25 00 6e 10 84 32",
      "fe 02 03 25 00 6e 10 11 b1 64",
      "fe 03 03 25 00 6e 10 11 12 8c ef",
      "fe 04 03 25 00 6e 10 11 12 13 b1 95",
      "fe 05 03 25 00 6e 10 11 12 13 14 c1 a3",
      "fe 06 03 25 00 6e 10 11 12 13 14 15 d7 1b",
      "fe 07 03 25 00 6e 10 11 12 13 14 15 16 f3 c6",
      "fe 08 03 25 00 6e 10 11 12 13 14 15 16 17 99 22",
      "fe 09 03 25 00 6e 10 11 12 13 14 15 16 17 18 27 ba",
  };
  MavlinkParser parser{};
  for (uint8_t length = 0; length < 10; length++) {
    MavlinkMessage message = zero_message(110);
    for (uint8_t i = 0; i < length; i++) message.payload[i] = static_cast<uint8_t>(0x10 + i);
    mavlink_frame_seal(&message, 37, 3, length, 84);
    EXPECT_EQ(wire(message), hex(frames[length]));
    MavlinkMessage parsed{};
    MavlinkParseStatus status{};
    int good = 0;
    for (const uint8_t byte : hex(frames[length])) {
      good += mavlink_parser_feed(&parser, byte, &parsed, &status);
    }
    EXPECT_EQ(good, 1) << int{length};
    EXPECT_EQ(parsed.len, length);
  }
}

TEST(MavlinkToBuffer, EmptyPayloadGivesEightBytes) {
  MavlinkMessage message = zero_message(0);
  EXPECT_EQ(mavlink_frame_seal(&message, 1, 5, 0, 50), 8);
  EXPECT_EQ(wire(message), hex("fe 00 05 01 00 00 0e 20"));
}

TEST(MavlinkToBuffer, FullPayloadGives263Bytes) {
  MavlinkMessage message = zero_message(110);
  for (int i = 0; i < 255; i++) message.payload[i] = static_cast<uint8_t>(i);
  EXPECT_EQ(mavlink_frame_seal(&message, 2, 7, 255, 84), 263);
  const Bytes bytes = wire(message);
  ASSERT_EQ(bytes.size(), 263U);
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 8), hex("fe ff 07 02 00 6e 00 01"));
  EXPECT_EQ(Bytes(bytes.end() - 4, bytes.end()), hex("fd fe 21 35"));
}

TEST(MavlinkToBuffer, WritesTheFieldsAsTheyAre) {
  // A frame that is passed on keeps what it came with, its checksum included.
  const MavlinkMessage message{.checksum = 0x1234,
                               .magic = 0xFE,
                               .len = 2,
                               .seq = 9,
                               .sysid = 5,
                               .compid = 7,
                               .msgid = 1,
                               .payload = {0xAA, 0xBB, 0xCC, 0xDD}};
  uint8_t buffer[kMavlinkMaxFrame];
  std::ranges::fill(buffer, uint8_t{0x77});
  EXPECT_EQ(mavlink_frame_to_buffer(buffer, &message), 10);
  EXPECT_EQ(Bytes(buffer, buffer + 11), hex("fe 02 09 05 07 01 aa bb 34 12 77"));
}

}  // namespace
}  // namespace flightlink
