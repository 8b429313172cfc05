#include "groundstation/flightside/ack_frames.h"

#include <gtest/gtest.h>

#include <vector>

namespace groundstation {
namespace {

// "abc" with the stamp 0x04030201; its checksum by hand: 0x6261 + 0x0063 = 0x62C4, complement
// 0x9D3B.
const std::vector<uint8_t> kAbc{'C',  '0',  'X', 'F', 1,   2,   3,   4,   3,  0,
                                0x3B, 0x9D, 'a', 'b', 'c', 'F', 'X', '0', 'C'};

TEST(AckFrames, ReadsAFrameAndAnswersItsStamp) {
  std::string trouble;
  const auto frame = parse_ack_frame(kAbc, &trouble);
  ASSERT_TRUE(frame.has_value()) << trouble;
  EXPECT_EQ(frame->stamp, 0x04030201U);
  EXPECT_EQ(std::string(frame->payload.begin(), frame->payload.end()), "abc");
  EXPECT_EQ(ack_answer(frame->stamp), (std::array<uint8_t, 6>{'F', 'F', 1, 2, 3, 4}));
}

TEST(AckFrames, NoByteMayBeOther) {
  for (size_t i = 0; i < kAbc.size(); i++) {
    if (i >= 4 && i < 8) continue;  // the stamp is free
    std::vector<uint8_t> damaged = kAbc;
    damaged[i] ^= 0x20;
    std::string trouble;
    EXPECT_FALSE(parse_ack_frame(damaged, &trouble).has_value()) << i;
    EXPECT_FALSE(trouble.empty()) << i;
  }
}

TEST(AckFrames, EveryLengthButTheRightOneIsRefused) {
  std::vector<uint8_t> bytes = kAbc;
  bytes.resize(64);
  for (size_t length = 0; length <= bytes.size(); length++) {
    std::string trouble;
    const auto frame = parse_ack_frame(std::span(bytes).first(length), &trouble);
    EXPECT_EQ(frame.has_value(), length == kAbc.size()) << length;
  }
}

TEST(AckFrames, PayloadsAreTextOrHexadecimal) {
  EXPECT_EQ(ack_payload_text(std::vector<uint8_t>{'a', 'b'}), "\"ab\"");
  EXPECT_EQ(ack_payload_text(std::vector<uint8_t>{'a', 0}), "61 00");
  EXPECT_EQ(ack_payload_text({}), "");
  EXPECT_EQ(ack_payload_text(std::vector<uint8_t>(65, 'x')), "\"" + std::string(64, 'x') + "\"...");
}

}  // namespace
}  // namespace groundstation
