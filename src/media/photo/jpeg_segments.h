// The records of the JPEG container, and what its files share. Users include jpeg_data.h, which
// says what is done with them.
#pragma once

#include <libexif/exif-data.h>
#include <libexif/exif-log.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "media/photo/jpeg_markers.h"

namespace media {

struct JpegSegment {
  uint32_t marker;  // the byte after 0xFF
  uint32_t size;    // bytes of the payload without its two length bytes; 0 for APP1
  union {
    uint8_t* bytes;  // owned; null when there are none
    ExifData* exif;  // APP1: an own reference, or null
  } content;
};

struct JpegDataPrivate {
  uint32_t references;  // 1
  ExifLog* log;         // an own reference, or null
  bool cut;  // memory ran out, or parsing stopped before the picture's end: saving would lose some
};

struct JpegData {
  JpegSegment* sections;  // `count` of them, in file order; owned
  uint32_t count;
  uint8_t* data;  // the scan data behind the SOS segment; owned
  uint32_t size;
  JpegDataPrivate* priv;
};

// The largest file that is loaded and the most segments that are kept; beyond, memory counts as
// exhausted. A 12 megapixel photo has about 6 MB and 20 segments.
inline constexpr uint32_t kJpegLargestFile = 64 << 20;
inline constexpr uint32_t kJpegMostSegments = 65536;
// A segment's length field counts itself, so an EXIF block may have that many bytes.
inline constexpr uint32_t kJpegLargestExif = 65533;

// For the container's own files.
namespace jpeg_parts {

// Owns a block from malloc.
struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t, Free>;

inline constexpr const char kLogDomain[] = "jpeg-data";

// Whether a segment with that marker has its payload in content.bytes.
[[nodiscard]] constexpr bool has_payload(uint32_t marker) {
  return marker != kJpegSoi && marker != kJpegEoi && marker != kJpegApp1;
}

// Logs that `size` bytes could not be had; the container is not whole.
void log_no_memory(const JpegData* data, size_t size);

// Grows the array by one zeroed segment. Null, logged, when memory is exhausted; the count is then
// as it was.
[[nodiscard]] JpegSegment* append_segment(JpegData* data);

}  // namespace jpeg_parts

}  // namespace media
