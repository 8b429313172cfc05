#include "media/photo/exif_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "media/photo/exif_entries.h"
#include "media/photo/jpeg_data.h"
#include "support/guarded_bytes.h"
#include "support/photo.h"

namespace media {
namespace {

// A new GPS entry with that text, behind those that are there.
void add(ExifData* exif, ExifTag tag, const std::string& text) {
  ExifEntry* entry = create_tag(exif, tag, static_cast<uint32_t>(text.size()));
  entry->format = EXIF_FORMAT_ASCII;
  std::copy(text.begin(), text.end(), entry->data);
}

class ExifBlock : public ::testing::TestWithParam<ExifByteOrder> {
 protected:
  ExifBlock() { exif_data_set_byte_order(exif.get(), GetParam()); }

  // Tag and first byte of the GPS entries, as read by libexif's own pointers into the block.
  static std::string order_of(const Bytes& block) {
    const Bytes tiff(block.begin() + 6, block.end());
    const ExifByteOrder order = GetParam();
    const size_t ifd0 = exif_get_long(&tiff.at(4), order);
    size_t gps = 0;
    for (size_t i = 0; i < exif_get_short(&tiff.at(ifd0), order); i++) {
      const uint8_t* record = &tiff.at(ifd0 + 2 + i * 12);
      if (exif_get_short(record, order) == 0x8825) gps = exif_get_long(record + 8, order);
    }
    std::string text;
    for (size_t i = 0; i < exif_get_short(&tiff.at(gps), order); i++) {
      const uint8_t* record = &tiff.at(gps + 2 + i * 12);
      const bool inside = exif_get_long(record + 4, order) <= 4;
      const uint8_t* value = inside ? record + 8 : &tiff.at(exif_get_long(record + 8, order));
      text += std::to_string(exif_get_short(record, order)) + static_cast<char>(*value) + " ";
    }
    return text;
  }

  [[nodiscard]] Bytes save() const {
    uint8_t* raw = nullptr;
    uint32_t size = 0;
    exif_block_save(exif.get(), &raw, &size);
    Bytes bytes(raw, raw + size);
    std::free(raw);
    return bytes;
  }

  // What becomes of a block that has nothing behind it.
  [[nodiscard]] Bytes kept(const Bytes& block) const {
    const support::GuardedBytes bytes(block);
    exif_block_keep_order(exif.get(), bytes.data(), static_cast<uint32_t>(bytes.size()));
    return {bytes.data(), bytes.data() + bytes.size()};
  }

  // Where the records of the GPS IFD of a block are, when its first tag is `tag`.
  static size_t find_record(const Bytes& block, const Bytes& tag_and_format) {
    const auto at =
        std::search(block.begin(), block.end(), tag_and_format.begin(), tag_and_format.end());
    return static_cast<size_t>(at - block.begin());
  }

  ExifDataOwner exif{exif_data_new()};
};

TEST_P(ExifBlock, EqualTagsKeepTheirOrder) {
  add(exif.get(), static_cast<ExifTag>(5), "b");
  add(exif.get(), static_cast<ExifTag>(1), "S");
  add(exif.get(), static_cast<ExifTag>(1), "N");
  add(exif.get(), static_cast<ExifTag>(2), "z long");
  add(exif.get(), static_cast<ExifTag>(2), "a long");
  EXPECT_EQ(order_of(save()), "1S 1N 2z 2a 5b ");
}

TEST_P(ExifBlock, AnOrderThatASortHasLostIsRestored) {
  for (const char* text : {"S", "N", "T"}) add(exif.get(), static_cast<ExifTag>(1), text);
  for (const char* text : {"z long", "a long"}) add(exif.get(), static_cast<ExifTag>(2), text);
  const Bytes good = save();
  ASSERT_EQ(order_of(good), "1S 1N 1T 2z 2a ");
  Bytes tag{1, 0, 2, 0};
  if (GetParam() == EXIF_BYTE_ORDER_MOTOROLA) tag = {0, 1, 0, 2};
  Bytes block = good;
  uint8_t* records = &block.at(find_record(block, tag));
  std::swap_ranges(records, records + 12, records + 24);
  std::swap_ranges(records + 36, records + 48, records + 48);
  ASSERT_EQ(order_of(block), "1T 1N 1S 2a 2z ");
  exif_block_keep_order(exif.get(), block.data(), static_cast<uint32_t>(block.size()));
  EXPECT_EQ(block, good);
}

TEST_P(ExifBlock, ABlockThatIsCutOrBrokenIsOnlyReadWhereItIs) {
  for (const char* text : {"z long", "a long"}) add(exif.get(), static_cast<ExifTag>(2), text);
  const Bytes good = save();
  for (size_t size = 0; size <= good.size(); size++) {
    const Bytes block(good.begin(), good.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_EQ(kept(block), block) << size;
  }
  // Records change places at most.
  for (size_t at = 6; at < good.size(); at++) {
    Bytes block = good;
    block[at] = 0xFF;
    const Bytes after = kept(block);
    EXPECT_TRUE(std::is_permutation(after.begin(), after.end(), block.begin())) << at;
    EXPECT_EQ(after[at], 0xFF) << at;
  }
}

TEST_P(ExifBlock, WhatLiesBehindTheRecordsIsNoRecord) {
  for (const char* text : {"S", "N", "T"}) add(exif.get(), static_cast<ExifTag>(1), text);
  Bytes tag{1, 0, 2, 0};
  if (GetParam() == EXIF_BYTE_ORDER_MOTOROLA) tag = {0, 1, 0, 2};
  Bytes block = save();
  uint8_t* records = &block.at(find_record(block, tag));
  std::rotate(records, records + 12, records + 36);
  ASSERT_EQ(order_of(block), "1N 1T 1S ");
  // With one record less, the first of the three is not there to be put first.
  exif_set_short(records - 2, GetParam(), 2);
  EXPECT_EQ(kept(block), block);
}

TEST_P(ExifBlock, NothingGivesNothing) {
  uint8_t* raw = nullptr;
  uint32_t size = 5;
  exif_block_save(nullptr, &raw, &size);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(size, 0U);
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, ExifBlock,
                         ::testing::Values(EXIF_BYTE_ORDER_INTEL, EXIF_BYTE_ORDER_MOTOROLA));

}  // namespace
}  // namespace media
