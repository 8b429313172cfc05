#include "groundstation/live/access_units.h"

#include <gtest/gtest.h>

#include "groundstation/live/sample_stream.h"

namespace groundstation_test {
namespace {

using groundstation::AccessUnit;
using groundstation::AccessUnitBuilder;
using groundstation::NalSplitter;
using groundstation::NalUnit;

struct Units {
  std::vector<Bytes> bytes;
  std::vector<int> types;
  NalSplitter splitter{[this](const NalUnit& unit) {
    bytes.emplace_back(unit.bytes.begin(), unit.bytes.end());
    types.push_back(unit.type());
  }};
};

TEST(NalSplitter, UnitsAreFoundWhereverTheDatagramsAreCut) {
  const Bytes stream = join({{0xEE, 0x00}, kSps, kPps, kKeySecondSlice, kPicture1});
  for (size_t cut = 0; cut <= stream.size(); cut++) {
    Units units;
    units.splitter.feed(std::span(stream).first(cut));
    units.splitter.feed(std::span(stream).subspan(cut));
    units.splitter.flush();
    EXPECT_EQ(units.bytes, (std::vector<Bytes>{kSps, kPps, kKeySecondSlice, kPicture1}))
        << "cut at " << cut;
  }
}

TEST(NalSplitter, UnitsAreFoundByteByByte) {
  Units units;
  for (const uint8_t byte : join({kSps, kPps, kKey})) units.splitter.feed({&byte, 1});
  units.splitter.flush();
  EXPECT_EQ(units.types, (std::vector<int>{7, 8, 5}));
}

TEST(NalSplitter, UnitIsPassedOnWhenTheNextStartCodeIsThere) {
  Units units;
  units.splitter.feed(join({kSps, {0, 0, 0}}));
  EXPECT_TRUE(units.bytes.empty());
  units.splitter.feed(Bytes{1});
  EXPECT_EQ(units.bytes, (std::vector<Bytes>{kSps}));
}

TEST(NalSplitter, EmptyUnitIsLeftOut) {
  Units units;
  units.splitter.feed(Bytes{0, 0, 1, 0, 0, 1, 0x67, 0x42});
  units.splitter.flush();
  EXPECT_EQ(units.bytes, (std::vector<Bytes>{{0, 0, 1, 0x67, 0x42}}));
}

TEST(NalSplitter, EndlessUnitIsDroppedAndTheNextOneWorks) {
  Units units;
  const Bytes megabyte(1 << 20, 0xAA);
  units.splitter.feed(kSps);
  for (int i = 0; i < 9; i++) units.splitter.feed(megabyte);
  units.splitter.feed(kPps);
  units.splitter.flush();
  EXPECT_EQ(units.bytes, (std::vector<Bytes>{kPps}));
}

struct Pictures {
  std::vector<AccessUnit> pictures;
  AccessUnitBuilder builder{[this](AccessUnit& unit) { pictures.push_back(unit); }};
  NalSplitter splitter{[this](const NalUnit& unit) { builder.feed(unit); }};
  void feed(const Bytes& bytes) {
    splitter.feed(bytes);
    splitter.flush();
  }
};

TEST(AccessUnitBuilder, ParameterSetsBelongToThePictureBehindThem) {
  Pictures result;
  result.feed(join({kSps, kPps, kKey, kPicture1, kSps, kPps, kKey}));
  ASSERT_EQ(result.pictures.size(), 2U);
  EXPECT_EQ(result.pictures[0].bytes, join({kSps, kPps, kKey}));
  EXPECT_TRUE(result.pictures[0].has_sps);
  EXPECT_TRUE(result.pictures[0].has_pps);
  EXPECT_TRUE(result.pictures[0].is_key);
  EXPECT_TRUE(result.pictures[0].is_whole);
  EXPECT_EQ(result.pictures[1].bytes, kPicture1);
  EXPECT_FALSE(result.pictures[1].is_key);
}

TEST(AccessUnitBuilder, SecondSliceStaysInItsPicture) {
  Pictures result;
  result.feed(join({kKey, kKeySecondSlice, kPicture1}));
  ASSERT_EQ(result.pictures.size(), 1U);
  EXPECT_EQ(result.pictures[0].bytes, join({kKey, kKeySecondSlice}));
}

TEST(AccessUnitBuilder, PictureWithoutItsFirstSliceIsNotWhole) {
  Pictures result;
  result.feed(join({kKeySecondSlice, kPicture1}));
  ASSERT_EQ(result.pictures.size(), 1U);
  EXPECT_TRUE(result.pictures[0].is_key);
  EXPECT_FALSE(result.pictures[0].is_whole);
}

}  // namespace
}  // namespace groundstation_test
