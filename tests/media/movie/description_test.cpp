#include "media/movie/description.h"

#include <gtest/gtest.h>

#include "media/movie/atoms.h"
#include "media/movie/mov_boxes.h"
#include "support/heap.h"

namespace media {
namespace {

using media_test::avc_description;

struct DescriptionFree {
  void operator()(MovSampleDescription* description) const { mov_description_free(description); }
};
using Owner = std::unique_ptr<MovSampleDescription, DescriptionFree>;

// Parses a copy of exactly that size, so that a sanitizer sees a read behind it.
Owner parse(const Bytes& bytes) {
  const std::vector<uint8_t> copy(bytes.begin(), bytes.end());
  return Owner(mov_description_parse(copy.data(), copy.size()));
}

std::vector<uint8_t> set(const uint8_t* bytes, uint16_t length) { return {bytes, bytes + length}; }

// Where the fields of an avc_description begin.
constexpr size_t kNextHeader = 86;
constexpr size_t kRecord = 94;

TEST(MovDescription, HoldsEveryField) {
  const Owner parsed = parse(avc_description({0x67, 1, 2}, {0x68, 3}));
  ASSERT_NE(parsed, nullptr);
  EXPECT_EQ(parsed->size, 86U + 8 + 6 + 2 + 3 + 1 + 2 + 2);
  EXPECT_EQ(parsed->format, mov_type("avc1"));
  EXPECT_EQ(parsed->data_reference, 1);
  EXPECT_EQ(parsed->version, 2);
  EXPECT_EQ(parsed->revision, 3);
  EXPECT_EQ(parsed->vendor, 4U);
  EXPECT_EQ(parsed->temporal_quality, 5U);
  EXPECT_EQ(parsed->spatial_quality, 6U);
  EXPECT_EQ(parsed->width, 1280);
  EXPECT_EQ(parsed->height, 720);
  EXPECT_EQ(parsed->horizontal_resolution, 0x480000U);
  EXPECT_EQ(parsed->vertical_resolution, 0x490000U);
  EXPECT_EQ(parsed->data_size, 7U);
  EXPECT_EQ(parsed->frame_count, 8);
  EXPECT_EQ(parsed->compressor[0], 5);
  EXPECT_EQ(parsed->compressor[5], 'e');
  EXPECT_EQ(parsed->compressor[6], 0);
  EXPECT_EQ(parsed->depth, 24);
  EXPECT_EQ(parsed->colour_table, 0xFFFF);
  EXPECT_EQ(parsed->next_size, 24U);
  EXPECT_EQ(parsed->next_type, mov_type("avcC"));
}

TEST(MovDescription, HoldsTheAvcConfiguration) {
  const Owner parsed = parse(avc_description({0x67, 1, 2}, {0x68, 3}));
  ASSERT_NE(parsed->avc, nullptr);
  const MovAvcConfiguration& avc = *parsed->avc;
  EXPECT_EQ(avc.configuration_version, 1);
  EXPECT_EQ(avc.profile, 100);
  EXPECT_EQ(avc.profile_compatibility, 0);
  EXPECT_EQ(avc.level, 41);
  EXPECT_EQ(avc.length_reserved, 63);
  EXPECT_EQ(avc.nal_length_size, 4);
  EXPECT_EQ(avc.sps_count, 1);
  EXPECT_EQ(avc.sps_reserved, 7);
  EXPECT_EQ(set(avc.sps, avc.sps_length), (std::vector<uint8_t>{0x67, 1, 2}));
  EXPECT_EQ(avc.pps_count, 1);
  EXPECT_EQ(set(avc.pps, avc.pps_length), (std::vector<uint8_t>{0x68, 3}));
}

TEST(MovDescription, WithoutAvcCThereIsNoConfiguration) {
  Bytes bytes = avc_description({1}, {2});
  bytes[kNextHeader + 7] = 'X';
  const Owner parsed = parse(bytes);
  EXPECT_EQ(parsed->avc, nullptr);
  EXPECT_EQ(parsed->next_type, mov_type("avcX"));
}

TEST(MovDescription, FieldsBehindTheEndAreZero) {
  const Bytes whole = avc_description({0x67, 1, 2}, {0x68, 3});
  for (size_t size = 0; size <= whole.size(); size++) {
    const Owner parsed = parse(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
    ASSERT_NE(parsed, nullptr);
    EXPECT_EQ(parsed->format == mov_type("avc1"), size >= 8) << size;
    EXPECT_EQ(parsed->height == 720, size >= 36) << size;
    EXPECT_EQ(parsed->avc != nullptr, size >= kRecord) << size;
    if (parsed->avc == nullptr) continue;
    EXPECT_EQ(parsed->avc->sps != nullptr, size >= kRecord + 8 + 3) << size;
    EXPECT_EQ(parsed->avc->sps_length, size >= kRecord + 8 + 3 ? 3 : 0) << size;
    EXPECT_EQ(parsed->avc->pps != nullptr, size >= whole.size()) << size;
    EXPECT_EQ(parsed->avc->pps_length, size >= whole.size() ? 2 : 0) << size;
  }
}

TEST(MovDescription, OnlyTheFirstSetsAreKept) {
  Bytes bytes = avc_description({}, {});
  bytes.resize(kRecord + 5);
  bytes = bytes + Bytes{0xE3, 0, 1, 0xA1, 0, 2, 0xA2, 0xA3, 0, 1, 0xA4, 2, 0, 1, 0xB1, 0, 1, 0xB2};
  const Owner parsed = parse(bytes);
  EXPECT_EQ(parsed->avc->sps_count, 3);
  EXPECT_EQ(set(parsed->avc->sps, parsed->avc->sps_length), (std::vector<uint8_t>{0xA1}));
  EXPECT_EQ(parsed->avc->pps_count, 2);
  EXPECT_EQ(set(parsed->avc->pps, parsed->avc->pps_length), (std::vector<uint8_t>{0xB1}));
}

TEST(MovDescription, WithoutSpsThePpsIsStillFound) {
  Bytes bytes = avc_description({}, {});
  bytes.resize(kRecord + 5);
  const Owner parsed = parse(bytes + Bytes{0xE0, 1, 0, 1, 0xB1});
  EXPECT_EQ(parsed->avc->sps, nullptr);
  EXPECT_EQ(set(parsed->avc->pps, parsed->avc->pps_length), (std::vector<uint8_t>{0xB1}));
}

TEST(MovDescription, ALengthBeyondTheAtomGivesNoSet) {
  Bytes bytes = avc_description({0x67, 1, 2}, {0x68, 3});
  bytes[kRecord + 6] = 0xFF;
  Owner parsed = parse(bytes);
  EXPECT_EQ(parsed->avc->sps, nullptr);
  EXPECT_EQ(parsed->avc->sps_length, 0);
  EXPECT_EQ(parsed->avc->pps, nullptr);
  EXPECT_EQ(parsed->avc->pps_count, 0);
  bytes = avc_description({0x67, 1, 2}, {0x68, 3});
  bytes[kRecord + 8 + 3 + 2] = 3;
  parsed = parse(bytes);
  EXPECT_EQ(parsed->avc->sps_length, 3);
  EXPECT_EQ(parsed->avc->pps, nullptr);
  EXPECT_EQ(parsed->avc->pps_length, 0);
}

TEST(MovDescription, FreesNothing) { mov_description_free(nullptr); }

TEST(MovDescription, FreesItsSets) {
  const Bytes bytes = avc_description(Bytes(5000, 1), Bytes(3000, 2));
  EXPECT_EQ(support::heap_kept_by([&bytes] {
              const Owner parsed = parse(bytes);
              EXPECT_EQ(parsed->avc->sps_length, 5000);
              EXPECT_EQ(parsed->avc->pps_length, 3000);
            }),
            0U);
}

}  // namespace
}  // namespace media
