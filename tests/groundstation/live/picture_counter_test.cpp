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

struct Counted {
  const char* name;
  std::vector<Bytes> units;  // behind the parameter sets
  uint64_t pictures, gaps, missing;
};

class PictureCounters : public ::testing::TestWithParam<Counted> {};

TEST_P(PictureCounters, CountsPicturesAndGaps) {
  std::vector<Bytes> units{kSps, kPps};
  units.insert(units.end(), GetParam().units.begin(), GetParam().units.end());
  const PictureCounter counter = count(join(units));
  EXPECT_EQ(counter.pictures(), GetParam().pictures);
  EXPECT_EQ(counter.gaps(), GetParam().gaps);
  EXPECT_EQ(counter.missing(), GetParam().missing);
}

INSTANTIATE_TEST_SUITE_P(
    All, PictureCounters,
    ::testing::Values(
        Counted{
            "ConsecutiveFrameNumbersAreNoGap", {kKey, kPicture1, kPicture2, kPicture3}, 4, 0, 0},
        Counted{"SkippedFrameNumbersAreOneGap", {kKey, kPicture1, kPicture5}, 3, 1, 3},
        Counted{"UnreferencedPictureSharesItsNumberWithTheNext",
                {kKey, kPicture1, kUnreferenced2, kPicture2, kPicture3},
                5,
                0,
                0},
        Counted{"KeyPictureStartsTheNumbersAnew", {kKey, kPicture1, kKey, kPicture1}, 4, 0, 0},
        Counted{"NothingCountsBeforeTheFirstKeyPicture", {kPicture3, kPicture5, kKey}, 1, 0, 0}),
    [](const auto& row) { return row.param.name; });

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
