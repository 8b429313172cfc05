#include "groundstation/messages/hex_text.h"

#include <gtest/gtest.h>

namespace groundstation {
namespace {

TEST(HexText, Writes) {
  const std::vector<uint8_t> bytes{0xFE, 0, 0x1A};
  EXPECT_EQ(hex_text(bytes), "fe 00 1a");
  EXPECT_EQ(hex_text(bytes, 2), "fe 00 ... (3 bytes)");
  EXPECT_EQ(hex_text({}), "");
}

TEST(HexText, ReadsPairsWithOrWithoutSomethingBetween) {
  const std::vector<uint8_t> bytes{0xFE, 0, 0x1A};
  EXPECT_EQ(parse_hex("fe001A"), bytes);
  EXPECT_EQ(parse_hex("fe 00:1a"), bytes);
  EXPECT_EQ(parse_hex(""), std::vector<uint8_t>());
}

TEST(HexText, RefusesAnythingElse) {
  for (const char* text : {"f", "fe0", "0x12", "fg", "f e0", "-1", "+1"}) {
    EXPECT_FALSE(parse_hex(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace groundstation
