// Saving: segments become bytes.
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "media/card/file_replace.h"
#include "media/photo/exif_block.h"
#include "media/photo/jpeg_data.h"
#include "media/photo/jpeg_markers.h"
#include "media/photo/jpeg_segments.h"

namespace media {
namespace {

using jpeg_parts::Block;
using jpeg_parts::has_payload;

// Grows by exactly what is appended.
struct Output {
  Block bytes;
  uint32_t size = 0;
  bool exif_lost = false;  // there are EXIF data that are not among the bytes

  bool append(const void* from, uint32_t count) {
    if (count == 0) return true;
    void* grown =
        count <= UINT32_MAX - size ? std::realloc(bytes.get(), size_t{size} + count) : nullptr;
    if (grown == nullptr) return false;
    (void)bytes.release();
    bytes.reset(static_cast<uint8_t*>(grown));
    std::memcpy(bytes.get() + size, from, count);
    size += count;
    return true;
  }

  // The length field and what it counts.
  bool append_payload(const void* from, uint32_t count) {
    uint8_t field[2];
    base::store_u16be(field, static_cast<uint16_t>(count + 2));
    return append(field, sizeof(field)) && append(from, count);
  }
};

bool save_exif(ExifData* exif, Output* output) {
  uint8_t* raw = nullptr;
  uint32_t size = 0;
  exif_block_save(exif, &raw, &size);
  const Block block(raw);
  // The marker bytes stay without a length: this is how such a segment is written here.
  if (block == nullptr) {
    if (exif != nullptr) output->exif_lost = true;
    return true;
  }
  return size <= kJpegLargestExif && output->append_payload(block.get(), size);
}

bool save_segment(const JpegData* data, const JpegSegment& segment, Output* output) {
  const uint8_t marker[2] = {0xFF, static_cast<uint8_t>(segment.marker)};
  if (!output->append(marker, sizeof(marker))) return false;
  if (segment.marker == kJpegApp1) return save_exif(segment.content.exif, output);
  if (!has_payload(segment.marker)) return true;
  if (!output->append_payload(segment.content.bytes, segment.size)) return false;
  return segment.marker != kJpegSos || output->append(data->data, data->size);
}

bool save_segments(const JpegData* data, Output* output) {
  for (uint32_t i = 0; i < data->count; i++) {
    if (!save_segment(data, data->sections[i], output)) return false;
  }
  return true;
}

}  // namespace

int32_t jpeg_data_save_data(const JpegData* data, uint8_t** bytes, uint32_t* size) {
  if (data == nullptr || bytes == nullptr || size == nullptr) return -1;
  Output output;
  const bool complete = save_segments(data, &output);
  *size = output.size;
  *bytes = complete ? output.bytes.release() : nullptr;
  return *bytes != nullptr ? 0 : -1;
}

int32_t jpeg_data_save_file(const JpegData* data, const char* path) {
  Output output;
  if (data == nullptr || !save_segments(data, &output) || output.bytes == nullptr) return -1;
  // A marker without a length is no segment for any reader: the picture would be out of reach.
  if (output.exif_lost) return -1;
  return media_replace_file(path, output.bytes.get(), output.size);
}

}  // namespace media
