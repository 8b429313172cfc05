// The decoder of these tests itself, against frames whose bytes are fixed.
#include "camera/frame_decoder.h"

#include <gtest/gtest.h>

#include <vector>

namespace camera_test {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(FrameDecoder, TakesAKnownAcknowledgement) {
  EXPECT_EQ(decode_frame(Bytes{0xFE, 3, 0, 0x24, 0, 0x4D, 0xD1, 7, 0, 0x85, 0x3D}),
            "app 77: d1 07 00");
}

TEST(FrameDecoder, TakesAKnownCameraReport) {
  Bytes frame{0xFE, 0x21, 0, 0x23, 0, 0x4C, 0, 0, 0x80, 0x3F};
  frame.resize(frame.size() + 24);
  for (const uint8_t byte : Bytes{2, 0, 0x64, 0, 0, 9, 0xAF}) frame.push_back(byte);
  EXPECT_EQ(decode_frame(frame),
            "flight 76: 00 00 80 3f 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
            "00 00 00 00 02 00 64 00 00");
}

TEST(FrameDecoder, RefusesWhatIsNotExactlyOneGoodFrame) {
  const Bytes good{0xFE, 3, 0, 0x24, 0, 0x4D, 0xD1, 7, 0, 0x85, 0x3D};
  for (size_t i = 0; i < good.size(); i++) {
    Bytes changed = good;
    changed[i] ^= 1;
    EXPECT_EQ(decode_frame(changed).substr(0, 10), "bad frame:") << "byte " << i;
  }
  Bytes longer = good;
  longer.push_back(0);
  EXPECT_EQ(decode_frame(longer).substr(0, 16), "bad frame: size:");
  EXPECT_EQ(decode_frame(Bytes{}).substr(0, 10), "bad frame:");
}

}  // namespace
}  // namespace camera_test
