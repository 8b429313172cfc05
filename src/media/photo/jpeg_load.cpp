// Loading: bytes become segments.
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "base/descriptor.h"
#include "media/photo/jpeg_data.h"
#include "media/photo/jpeg_markers.h"
#include "media/photo/jpeg_segments.h"

namespace media {
namespace {

using jpeg_parts::append_segment;
using jpeg_parts::Block;
using jpeg_parts::kLogDomain;
using jpeg_parts::log_no_memory;

constexpr uint32_t kMostFillBytes = 7;

Block new_block(const JpegData* data, size_t size) {
  Block block(static_cast<uint8_t*>(std::malloc(size)));
  if (block == nullptr) log_no_memory(data, size);
  return block;
}

// What is left of the bytes that are being parsed.
struct Input {
  const uint8_t* at;
  uint32_t left;

  void skip(uint32_t size) {
    at += size;
    left -= size;
  }
};

// Copies `size` bytes into a block of its own; nothing for none. False when memory is exhausted.
bool copy_bytes(const JpegData* data, const uint8_t* bytes, uint32_t size, uint8_t** to) {
  if (size == 0) return true;
  Block block = new_block(data, size);
  if (block == nullptr) return false;
  std::memcpy(block.get(), bytes, size);
  *to = block.release();
  return true;
}

// libexif wants the segment from its 0xFF byte on, which is optional in the file: it gets a copy
// that has one. `field` is the length field, with the payload behind it.
bool load_exif(const JpegData* data, const uint8_t* field, uint32_t length, JpegSegment* segment) {
  const Block copy = new_block(data, size_t{length} + 2);
  if (copy == nullptr) return false;
  copy.get()[0] = 0xFF;
  copy.get()[1] = static_cast<uint8_t>(kJpegApp1);
  std::memcpy(copy.get() + 2, field, length);
  segment->content.exif = exif_data_new_from_data(copy.get(), length + 2);
  return true;
}

bool load_scan(JpegData* data, Input* input) {
  uint32_t size = input->left;
  // The closing marker stays behind to be parsed as a segment.
  if (size > 1 && input->at[size - 2] == 0xFF) size -= 2;
  std::free(data->data);
  data->data = nullptr;
  data->size = 0;
  if (!copy_bytes(data, input->at, size, &data->data)) return false;
  data->size = size;
  input->skip(size);
  return true;
}

// The length field and what it counts, and the scan data behind SOS. False when parsing has to
// stop.
bool load_content(JpegData* data, JpegSegment* segment, Input* input) {
  if (input->left < 2) return false;
  const uint32_t length = base::load_u16be(input->at);
  if (length < 2 || length > input->left) return false;
  if (segment->marker == kJpegApp1) {
    if (!load_exif(data, input->at, length, segment)) return false;
  } else {
    if (!copy_bytes(data, input->at + 2, length - 2, &segment->content.bytes)) return false;
    segment->size = length - 2;
  }
  input->skip(length);
  return segment->marker != kJpegSos || load_scan(data, input);
}

// Skips the fill bytes and the marker, which it returns; 0 when the data are not JPEG.
uint32_t load_marker(Input* input) {
  uint32_t fill = 0;
  while (fill < kMostFillBytes && fill < input->left && input->at[fill] == 0xFF) fill++;
  if (fill == input->left || !is_jpeg_marker(input->at[fill])) return 0;
  const uint32_t marker = input->at[fill];
  input->skip(fill + 1);
  return marker;
}

// False when it stopped before the end.
bool parse(JpegData* data, Input input) {
  while (input.left > 0) {
    const uint32_t marker = load_marker(&input);
    if (marker == 0) {
      exif_log(data->priv->log, EXIF_LOG_CODE_CORRUPT_DATA, kLogDomain,
               "Data does not follow JPEG specification.");
      return false;
    }
    JpegSegment* segment = append_segment(data);
    if (segment == nullptr) return false;
    segment->marker = marker;
    if (marker == kJpegSoi || marker == kJpegEoi) continue;
    if (!load_content(data, segment, &input)) return false;
  }
  return true;
}

// Whether the scan data reach to their closing marker: what was not understood behind it is no part
// of the picture.
bool holds_picture_end(const JpegData* data) {
  constexpr uint8_t kEnd[] = {0xFF, static_cast<uint8_t>(kJpegEoi)};
  return data->data != nullptr && memmem(data->data, data->size, kEnd, sizeof(kEnd)) != nullptr;
}

// A file that can be read to its end: never a device or a pipe. Null for any other.
base::File open_regular(const char* path) {
  base::Descriptor fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd.open() || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  base::File file(fdopen(fd.get(), "rb"));
  if (file != nullptr) (void)fd.release();
  return file;
}

}  // namespace

void jpeg_data_load_file(JpegData* data, const char* path) {
  if (data == nullptr || path == nullptr) return;
  base::File file = open_regular(path);
  if (file == nullptr) {
    exif_log(data->priv->log, EXIF_LOG_CODE_CORRUPT_DATA, kLogDomain, "Path '%s' invalid.", path);
    return;
  }
  std::fseek(file.get(), 0, SEEK_END);
  const long end = std::ftell(file.get());
  std::rewind(file.get());
  const auto size = static_cast<size_t>(end < 0 ? 0 : end);
  if (size > kJpegLargestFile) {
    log_no_memory(data, size);
    return;
  }
  const Block block = new_block(data, size > 0 ? size : 1);
  if (block == nullptr) return;
  if (std::fread(block.get(), 1, size, file.get()) != size) {
    exif_log(data->priv->log, EXIF_LOG_CODE_CORRUPT_DATA, kLogDomain, "Could not read '%s'.", path);
    return;
  }
  file.reset();
  jpeg_data_load_data(data, block.get(), static_cast<uint32_t>(size));
}

void jpeg_data_load_data(JpegData* data, const uint8_t* bytes, uint32_t size) {
  if (data == nullptr || bytes == nullptr) return;
  data->priv->cut = false;
  const bool complete = parse(data, {bytes, size});
  if (!complete && !holds_picture_end(data)) data->priv->cut = true;
}

}  // namespace media
