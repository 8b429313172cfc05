#include "base/bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(Saturate, TruncatesTowardZero) {
  EXPECT_EQ(base::saturate<int32_t>(2.99), 2);
  EXPECT_EQ(base::saturate<int32_t>(-2.99), -2);
  EXPECT_EQ(base::saturate<int32_t>(-0.99), 0);
  EXPECT_EQ(base::saturate<uint8_t>(254.99), 254);
}

TEST(Saturate, NotANumberIsZero) {
  EXPECT_EQ(base::saturate<int32_t>(kNan), 0);
  EXPECT_EQ(base::saturate<int32_t>(-kNan), 0);
  EXPECT_EQ(base::saturate<uint64_t>(kNan), 0U);
}

TEST(Saturate, InfinitiesAreTheLimits) {
  EXPECT_EQ(base::saturate<int32_t>(kInfinity), 2147483647);
  EXPECT_EQ(base::saturate<int32_t>(-kInfinity), -2147483647 - 1);
  EXPECT_EQ(base::saturate<uint32_t>(kInfinity), 4294967295U);
  EXPECT_EQ(base::saturate<uint32_t>(-kInfinity), 0U);
}

TEST(Saturate, HugeValuesAreTheLimits) {
  EXPECT_EQ(base::saturate<int32_t>(1e30), 2147483647);
  EXPECT_EQ(base::saturate<int32_t>(-1e30), -2147483647 - 1);
  EXPECT_EQ(base::saturate<int8_t>(1e30), 127);
  EXPECT_EQ(base::saturate<uint16_t>(1e30F), 65535);
  EXPECT_EQ(base::saturate<int64_t>(1e30), 9223372036854775807);
  EXPECT_EQ(base::saturate<int64_t>(-1e30), -9223372036854775807 - 1);
  EXPECT_EQ(base::saturate<uint64_t>(1e30), 18446744073709551615U);
}

TEST(Saturate, NegativeIsZeroForUnsigned) {
  EXPECT_EQ(base::saturate<uint8_t>(-1.0), 0);
  EXPECT_EQ(base::saturate<uint16_t>(-0.5), 0);
  EXPECT_EQ(base::saturate<uint32_t>(-1e30), 0U);
}

TEST(Saturate, IsExactAtTheLimits) {
  EXPECT_EQ(base::saturate<int32_t>(2147483646.5), 2147483646);
  EXPECT_EQ(base::saturate<int32_t>(2147483647.0), 2147483647);
  EXPECT_EQ(base::saturate<int32_t>(2147483647.5), 2147483647);
  EXPECT_EQ(base::saturate<int32_t>(2147483648.0), 2147483647);
  EXPECT_EQ(base::saturate<int32_t>(-2147483648.5), -2147483647 - 1);
  EXPECT_EQ(base::saturate<int32_t>(-2147483649.0), -2147483647 - 1);
  // The largest double below 2^63, and 2^63 itself.
  EXPECT_EQ(base::saturate<int64_t>(9223372036854774784.0), 9223372036854774784);
  EXPECT_EQ(base::saturate<int64_t>(9223372036854775808.0), 9223372036854775807);
  EXPECT_EQ(base::saturate<uint64_t>(9223372036854775808.0), 9223372036854775808U);
}

TEST(Fields, AreStoredLittleEndian) {
  std::array<uint8_t, 8> bytes{};
  base::store_u16le(bytes.data(), 0x1234);
  EXPECT_EQ(bytes, (std::array<uint8_t, 8>{0x34, 0x12}));
  base::store_u32le(bytes.data(), 0x89ABCDEF);
  EXPECT_EQ(bytes, (std::array<uint8_t, 8>{0xEF, 0xCD, 0xAB, 0x89}));
  base::store_u64le(bytes.data(), 0x0123456789ABCDEF);
  EXPECT_EQ(bytes, (std::array<uint8_t, 8>{0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}));
  base::store_f32le(bytes.data(), 1.0F);
  EXPECT_EQ(bytes, (std::array<uint8_t, 8>{0x00, 0x00, 0x80, 0x3F, 0x67, 0x45, 0x23, 0x01}));
}

TEST(Fields, BigEndianWordIsHighByteFirst) {
  std::array<uint8_t, 2> bytes{};
  base::store_u16be(bytes.data(), 0xFFE1);
  EXPECT_EQ(bytes, (std::array<uint8_t, 2>{0xFF, 0xE1}));
  EXPECT_EQ(base::load_u16be(bytes.data()), 0xFFE1);
}

TEST(Fields, AreLoadedFromAnyAddress) {
  const std::array<uint8_t, 9> bytes{0, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0xF1};
  EXPECT_EQ(base::load_u16le(bytes.data() + 1), 0xCDEF);
  EXPECT_EQ(base::load_u32le(bytes.data() + 1), 0x89ABCDEFU);
  EXPECT_EQ(base::load_u64le(bytes.data() + 1), 0xF123456789ABCDEFU);
  const std::array<uint8_t, 5> minus_two{0, 0x00, 0x00, 0x00, 0xC0};
  EXPECT_EQ(base::load_f32le(minus_two.data() + 1), -2.0F);
}

}  // namespace
