#include "media/movie/seek.h"

#include <gtest/gtest.h>

#include "media/movie/mov_boxes.h"

namespace media {
namespace {

using media_test::audio_track;
using media_test::Indexed;
using media_test::Tables;
using media_test::video_track;

struct Found {
  uint32_t sample;
  std::string output;
};

Found seek(uint32_t milliseconds, const Indexed& indexed) {
  ::testing::internal::CaptureStdout();
  const uint32_t sample = mov_time_to_keyframe(milliseconds, indexed.index.get());
  return {sample, ::testing::internal::GetCapturedStdout()};
}

// One sample per second, so that a time in seconds is a sample.
Indexed with_stss(const std::vector<uint32_t>& stss) {
  Tables tables;
  tables.stss = stss;
  return Indexed(video_track(tables));
}

Indexed with_stts(const std::vector<uint32_t>& stts, uint32_t time_scale = Tables().time_scale) {
  Tables tables;
  tables.time_scale = time_scale;
  tables.stts = stts;
  return Indexed(video_track(tables));
}

TEST(MovSeek, TheNearestKeyFrameIsTakenAndTheEarlierOnATie) {
  const Indexed indexed = with_stss({1, 31, 61});
  const std::vector<std::pair<uint32_t, uint32_t>> expected = {
      {1, 1},   {2, 1},   {16, 1},  {17, 31}, {31, 31}, {45, 31},
      {46, 31}, {47, 61}, {60, 61}, {61, 61}, {62, 61}, {99, 61}};
  for (const auto& [sample, key_frame] : expected) {
    EXPECT_EQ(seek(sample * 1000, indexed).sample, key_frame) << sample;
  }
}

TEST(MovSeek, PrintsItsSteps) {
  const Indexed indexed = with_stss({1, 31, 61});
  EXPECT_EQ(seek(45000, indexed).output,
            "vtrak id 0\n"
            "stts sample    45 in table[0] count        100 dur 1\n"
            "stts sample 45\n"
            "stss get sample    31\n"
            "stss sample 31\n");
  EXPECT_EQ(seek(31999, indexed).output,
            "vtrak id 0\n"
            "stts sample    31 in table[0] count        100 dur 1\n"
            "stts sample 31\n"
            "stss sample 31\n");
  EXPECT_EQ(seek(999, indexed).output, "vtrak id 0\nstts sample 0\nstss sample 0\n");
}

TEST(MovSeek, BelowOneSecondIsSampleZero) {
  const Indexed indexed = with_stss({31, 61});
  EXPECT_EQ(seek(0, indexed).sample, 0U);
  EXPECT_EQ(seek(999, indexed).sample, 0U);
  EXPECT_EQ(seek(1000, indexed).sample, 31U);
}

TEST(MovSeek, TheVideoTrackIsAsked) {
  Tables tables;
  tables.stss = {7};
  const Indexed indexed(audio_track() + video_track(tables));
  const Found found = seek(2000, indexed);
  EXPECT_EQ(found.sample, 7U);
  EXPECT_TRUE(found.output.starts_with("vtrak id 1\n"));
}

TEST(MovSeek, TimesAreRoundedAsTheTableSays) {
  const Indexed indexed = with_stts({300, 3003}, 90000);
  // 300 - (900900 - 90000) / 3003 = 300 - 270, the division rounded down.
  EXPECT_EQ(seek(1000, indexed).sample, 30U);
  // 300 - (900900 - 900000) / 3003.
  EXPECT_EQ(seek(10000, indexed).sample, 300U);
}

TEST(MovSeek, BehindTheFirstEntryTheTotalItselfIsTheSample) {
  const Indexed indexed = with_stts({10, 3, 1000, 1});
  EXPECT_EQ(seek(29000, indexed).sample, 10U);  // 10 - (30 - 29) / 3
  EXPECT_EQ(seek(30000, indexed).sample, 30U);
  EXPECT_EQ(seek(500000, indexed).output,
            "vtrak id 0\n"
            "stts sample    30 in table[0] count         30 dur 3\n"
            "stts sample 30\n"
            "stss sample 30\n");
}

TEST(MovSeek, WithoutATimeTableItIsSampleZero) {
  Tables tables;
  tables.stss = {31};
  for (const std::vector<uint32_t>& stts :
       {std::vector<uint32_t>{}, std::vector<uint32_t>{100, 0}, std::vector<uint32_t>{0, 100}}) {
    tables.stts = stts;
    const Found found = seek(5000, Indexed(video_track(tables)));
    EXPECT_EQ(found.sample, 0U);
    EXPECT_TRUE(found.output.ends_with("stts sample 0\nstss sample 0\n"));
  }
}

TEST(MovSeek, WithoutKeyFrameTableEverySampleIsOne) {
  const Indexed indexed = with_stss({});
  const Found found = seek(45000, indexed);
  EXPECT_EQ(found.sample, 45U);
  EXPECT_TRUE(found.output.ends_with("stts sample 45\nstss sample 45\n"));
}

TEST(MovSeek, LargeNumbersDoNotWrap) {
  constexpr uint32_t kMost = 0xFFFFFFFF;
  // Second 4294967 of samples that last a second each.
  EXPECT_EQ(seek(kMost, with_stts({kMost, kMost}, kMost)).sample, 4294967U);
  EXPECT_EQ(seek(kMost, with_stts({kMost, 0x10000}, kMost)).sample, kMost);
}

TEST(MovSeek, AnIndexWithoutTracksHasSampleAndOffsetZero) {
  const Indexed indexed({});
  EXPECT_EQ(seek(5000, indexed).sample, 0U);
  EXPECT_EQ(mov_sample_offset(5, indexed.index.get()), 0U);
  EXPECT_EQ(mov_time_to_keyframe(5000, nullptr), 0U);
  EXPECT_EQ(mov_sample_offset(5, nullptr), 0U);
}

uint64_t offset(uint32_t sample, const Tables& tables) {
  const Indexed indexed(video_track(tables));
  return mov_sample_offset(sample, indexed.index.get());
}

using Offsets = std::vector<std::pair<uint32_t, uint64_t>>;

// Of each sample its offset in the file.
void expect_offsets(const Tables& tables, const Offsets& expected) {
  for (const auto& [sample, at] : expected) EXPECT_EQ(offset(sample, tables), at) << sample;
}

TEST(MovSampleOffset, OneRun) {
  Tables tables;  // chunks of 10 samples of 100 bytes at 1000 and 5000
  expect_offsets(tables, {{0, 1000}, {9, 1900}, {10, 5000}, {13, 5300}});
  tables.stsc = {1, 1, 1};
  expect_offsets(tables, {{0, 1000}, {1, 5000}});
}

TEST(MovSampleOffset, SeveralRuns) {
  Tables tables;
  tables.stsc = {1, 10, 1, 2, 5, 1};
  tables.stco = {1000, 5000, 9000};
  // The first run ends exactly behind sample 9.
  expect_offsets(tables, {{9, 1900}, {10, 5000}, {12, 5200}, {14, 5400}, {15, 9000}, {19, 9400}});
  tables.stsc = {1, 2, 1, 3, 1, 1, 4, 3, 1};
  tables.stco = {100, 1000, 2000, 3000, 4000};
  const uint64_t expected[] = {100, 200, 1000, 1100, 2000, 3000, 3100, 3200, 4000, 4100, 4200};
  for (uint32_t i = 0; i < std::size(expected); i++) EXPECT_EQ(offset(i, tables), expected[i]) << i;
}

TEST(MovSampleOffset, TheSizesBeforeTheSampleInItsChunkAreAdded) {
  Tables tables;
  tables.stsc = {1, 3, 1};
  tables.stsz = {1, 20, 300, 4000, 50000, 600000};
  expect_offsets(tables, {{2, 1021}, {3, 5000}, {5, 59000}});
}

TEST(MovSampleOffset, BehindTheTablesTheLastEntriesCount) {
  Tables tables;
  tables.stsz = {1, 2, 3};
  expect_offsets(
      tables, {{3, 1006}, {9, 1000 + 6 + 6 * 3}, {14, 5000 + 4 * 3}, {20, 5000}, {1000000, 5000}});
}

TEST(MovSampleOffset, ALongChunkBehindTheTableIsNotCountedSampleBySample) {
  Tables tables;
  tables.stsc = {1, 0xFFFFFFFF, 1};
  tables.stsz = {7};
  EXPECT_EQ(offset(0xFFFFFFFE, tables), 1000U + 7U * 0xFFFFFFFEULL);
}

TEST(MovSampleOffset, WithoutTablesItIsZero) {
  Tables tables;
  tables.stco = {};
  EXPECT_EQ(offset(5, tables), 0U);
  tables = {};
  tables.stsz = {};
  EXPECT_EQ(offset(5, tables), 0U);
  tables = {};
  tables.stsc = {1, 0, 1};
  EXPECT_EQ(offset(5, tables), 0U);
  tables.stsc = {1, 0, 1, 2, 0, 1};
  EXPECT_EQ(offset(5, tables), 0U);
  tables.stsc = {};
  EXPECT_EQ(offset(5, tables), 0U);
}

TEST(MovSampleOffset, ChunkZeroHasOffsetZero) {
  Tables tables;
  tables.stsc = {0, 10, 1};
  expect_offsets(tables, {{3, 300}, {13, 1300}});
}

TEST(MovSampleOffset, ARunThatEndsBeforeItBeginsIsEmpty) {
  Tables tables;
  tables.stsc = {5, 10, 1, 1, 5, 1};
  EXPECT_EQ(offset(7, tables), 5200U);
  tables.stsc = {1, 0xFFFFFFFF, 1, 0xFFFFFFFF, 0xFFFFFFFF, 1};
  EXPECT_EQ(offset(3, tables), 1300U);
}

}  // namespace
}  // namespace media
