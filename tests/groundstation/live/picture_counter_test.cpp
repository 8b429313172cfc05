#include "groundstation/live/picture_counter.h"

#include <gtest/gtest.h>

#include "groundstation/live/sample_stream.h"

namespace groundstation_test {
namespace {

using groundstation::NalSplitter;
using groundstation::NalUnit;
using groundstation::parse_sequence_parameters;
using groundstation::PictureCounter;

PictureCounter count(const Bytes& stream) {
  PictureCounter counter;
  NalSplitter splitter([&](const NalUnit& unit) { counter.feed(unit); });
  splitter.feed(stream);
  splitter.flush();
  return counter;
}

TEST(PictureCounter, ConsecutiveFrameNumbersAreNoGap) {
  const PictureCounter counter = count(join({kSps, kPps, kKey, kPicture1, kPicture2, kPicture3}));
  EXPECT_EQ(counter.pictures(), 4U);
  EXPECT_EQ(counter.gaps(), 0U);
}

TEST(PictureCounter, SkippedFrameNumbersAreOneGap) {
  const PictureCounter counter = count(join({kSps, kPps, kKey, kPicture1, kPicture5}));
  EXPECT_EQ(counter.pictures(), 3U);
  EXPECT_EQ(counter.gaps(), 1U);
  EXPECT_EQ(counter.missing(), 3U);
}

TEST(PictureCounter, UnreferencedPictureSharesItsNumberWithTheNext) {
  const PictureCounter counter =
      count(join({kSps, kPps, kKey, kPicture1, kUnreferenced2, kPicture2, kPicture3}));
  EXPECT_EQ(counter.pictures(), 5U);
  EXPECT_EQ(counter.gaps(), 0U);
}

TEST(PictureCounter, KeyPictureStartsTheNumbersAnew) {
  const PictureCounter counter = count(join({kSps, kPps, kKey, kPicture1, kKey, kPicture1}));
  EXPECT_EQ(counter.pictures(), 4U);
  EXPECT_EQ(counter.gaps(), 0U);
}

TEST(PictureCounter, NothingCountsBeforeTheFirstKeyPicture) {
  const PictureCounter counter = count(join({kSps, kPps, kPicture3, kPicture5, kKey}));
  EXPECT_EQ(counter.pictures(), 1U);
  EXPECT_EQ(counter.gaps(), 0U);
}

TEST(SequenceParameters, HighProfileWithScalingListsIsRead) {
  // Profile 100, constraints, level, then bits: 1 (set 0), 010 (chroma 1), 1, 1 (depths), 0
  // (bypass), 1 (lists follow): list 0 present (1) with delta 0001000 00 (se -8 -> next 0, rest is
  // default): ue 16 is 000010001, se of 16 is -8; lists 1 to 7 absent (0000000); then 011 (ue 2: 6
  // bits). 1 010 1 1 0 1 | 1 0000100 | 01 000000 | 0 011 1111
  const Bytes unit = {0x67, 100, 0x00, 0x1F, 0xAD, 0x84, 0x40, 0x3F};
  const auto parameters = parse_sequence_parameters(unit);
  ASSERT_TRUE(parameters.has_value());
  EXPECT_EQ(parameters->frame_number_bits, 6U);
  EXPECT_FALSE(parameters->separate_planes);
}

TEST(SequenceParameters, EmulationPreventionByteIsLeftOut) {
  // Baseline; the level is 0 and the byte before it is 0, so a 3 follows before the bits 11....
  const Bytes unit = {0x67, 66, 0x00, 0x00, 0x03, 0xFF};
  const auto parameters = parse_sequence_parameters(unit);
  ASSERT_TRUE(parameters.has_value());
  EXPECT_EQ(parameters->frame_number_bits, 4U);
}

TEST(SequenceParameters, CutOrDamagedSetIsRefused) {
  EXPECT_FALSE(parse_sequence_parameters({}).has_value());
  EXPECT_FALSE(parse_sequence_parameters(Bytes{0x67, 66, 0x00}).has_value());
  // 40 zero bits where a number should be.
  EXPECT_FALSE(
      parse_sequence_parameters(Bytes{0x67, 66, 0x01, 0x1E, 0, 0, 3, 0, 0, 3, 0}).has_value());
  // 1, then 0001110 (ue 13): 17 bits of frame number do not exist.
  EXPECT_FALSE(parse_sequence_parameters(Bytes{0x67, 66, 0x00, 0x1E, 0x8E}).has_value());
}

}  // namespace
}  // namespace groundstation_test
