// The tests' own frame builder against frames that are known byte by byte.
#include "support/mavlink.h"

#include <gtest/gtest.h>

namespace {

using support::Bytes;
using support::Frame;

TEST(TestMavlink, EncodesKnownFrames) {
  Frame frame = support::message(0, Bytes(9));
  frame.system = 36;
  EXPECT_EQ(support::hex(support::encode(frame)),
            "fe 09 00 24 00 00 00 00 00 00 00 00 00 00 00 af 6b");
  frame = support::message(77, {0xD1, 0x07, 0});
  frame.system = 36;
  EXPECT_EQ(support::hex(support::encode(frame)), "fe 03 00 24 00 4d d1 07 00 85 3d");
}

TEST(TestMavlink, DecodesOnlyOneWholeGoodFrame) {
  const Bytes good{0xFE, 3, 5, 36, 0, 77, 0xD1, 7, 0};
  Bytes bytes = support::encode({5, 36, 0, 77, {0xD1, 7, 0}, {}});
  const auto frame = support::decode({bytes, {}});
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->sequence, 5);
  EXPECT_EQ(frame->system, 36);
  EXPECT_EQ(frame->u16(0), 2001);
  EXPECT_EQ(frame->payload.size(), 3U);
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 9), good);

  Bytes longer = bytes;
  longer.push_back(0);
  EXPECT_FALSE(support::decode({longer, {}}));
  for (size_t i = 0; i < bytes.size(); i++) {
    if (i == 5) continue;  // another message id has another extra byte
    Bytes bad = bytes;
    bad[i] ^= 1;
    EXPECT_FALSE(support::decode({bad, {}})) << i;
  }
  bytes.pop_back();
  EXPECT_FALSE(support::decode({bytes, {}}));
}

}  // namespace
