#include "media/photo/exif_block.h"

#include <algorithm>
#include <cstring>

namespace media {
namespace {

constexpr uint32_t kHeader = 6;   // "Exif", 00 00; offsets count from behind it
constexpr uint32_t kRecord = 12;  // u16 tag, u16 format, u32 components, u32 value or offset

struct Records {
  uint8_t* first;
  uint32_t count;

  [[nodiscard]] uint8_t* at(uint32_t index) const { return first + size_t{index} * kRecord; }
};

// The TIFF part of a block.
struct Tiff {
  uint8_t* bytes;
  uint32_t size;
  ExifByteOrder order;

  [[nodiscard]] uint32_t word(const uint8_t* at) const { return exif_get_long(at, order); }
  [[nodiscard]] uint16_t half(const uint8_t* at) const { return exif_get_short(at, order); }

  // The records of the IFD at that offset; none when it is not inside the block.
  [[nodiscard]] Records records(uint32_t offset) const {
    if (size < 2 || offset > size - 2) return {nullptr, 0};
    const uint32_t count = half(bytes + offset);
    if (count > (size - 2 - offset) / kRecord) return {nullptr, 0};
    return {bytes + offset + 2, count};
  }

  [[nodiscard]] bool is_entry(const uint8_t* record, const ExifEntry& entry) const {
    if (half(record) != entry.tag || half(record + 2) != entry.format) return false;
    if (word(record + 4) != entry.components) return false;
    const uint8_t* value = record + 8;
    if (entry.size > 4) {
      const uint32_t offset = word(value);
      if (offset > size || entry.size > size - offset) return false;
      value = bytes + offset;
    }
    return entry.size == 0 || std::memcmp(value, entry.data, entry.size) == 0;
  }
};

void restore_order(const Tiff& tiff, const Records& records, const ExifContent& content) {
  uint32_t from = 0;
  while (from < records.count) {
    const uint16_t tag = tiff.half(records.at(from));
    uint32_t end = from + 1;
    while (end < records.count && tiff.half(records.at(end)) == tag) end++;
    // Of equal tags, the first entry of the content comes first, and so on.
    for (uint32_t i = 0; end - from > 1 && i < content.count; i++) {
      const ExifEntry& entry = *content.entries[i];
      if (entry.tag != tag) continue;
      uint32_t found = from;
      while (found < end && !tiff.is_entry(records.at(found), entry)) found++;
      if (found == end) break;
      std::rotate(records.at(from), records.at(found), records.at(found + 1));
      from++;
    }
    from = end;
  }
}

}  // namespace

void exif_block_save(ExifData* exif, uint8_t** bytes, uint32_t* size) {
  *bytes = nullptr;
  *size = 0;
  if (exif == nullptr) return;
  exif_data_save_data(exif, bytes, size);
  if (*bytes != nullptr) exif_block_keep_order(exif, *bytes, *size);
}

void exif_block_keep_order(const ExifData* exif, uint8_t* bytes, uint32_t size) {
  if (size < kHeader + 8) return;
  const ExifByteOrder order =
      bytes[kHeader] == 'I' ? EXIF_BYTE_ORDER_INTEL : EXIF_BYTE_ORDER_MOTOROLA;
  const Tiff tiff{bytes + kHeader, size - kHeader, order};
  const Records ifd0 = tiff.records(tiff.word(tiff.bytes + 4));
  for (uint32_t i = 0; i < ifd0.count; i++) {
    if (tiff.half(ifd0.at(i)) != EXIF_TAG_GPS_INFO_IFD_POINTER) continue;
    const Records gps = tiff.records(tiff.word(ifd0.at(i) + 8));
    restore_order(tiff, gps, *exif->ifd[EXIF_IFD_GPS]);
    return;
  }
}

}  // namespace media
