#include "media/jpeg_data.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/bytes.h"
#include "base/descriptor.h"
#include "media/exif_block.h"
#include "media/file_replace.h"
#include "media/jpeg_markers.h"

namespace media {
namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t, Free>;

constexpr const char kDomain[] = "jpeg-data";
constexpr uint32_t kMostFillBytes = 7;

void log_no_memory(const JpegData* data, size_t size) {
  exif_log(data->priv->log, EXIF_LOG_CODE_NO_MEMORY, kDomain, "Could not allocate %lu byte(s).",
           static_cast<unsigned long>(size));
}

Block new_block(const JpegData* data, size_t size) {
  Block block(static_cast<uint8_t*>(std::malloc(size)));
  if (block == nullptr) log_no_memory(data, size);
  return block;
}

bool has_payload(uint32_t marker) {
  return marker != kJpegSoi && marker != kJpegEoi && marker != kJpegApp1;
}

// Null when memory is exhausted; the count is then as it was.
JpegSegment* append_segment(JpegData* data) {
  const size_t size = (size_t{data->count} + 1) * sizeof(JpegSegment);
  void* grown = data->count < kJpegMostSegments ? std::realloc(data->sections, size) : nullptr;
  if (grown == nullptr) {
    log_no_memory(data, size);
    return nullptr;
  }
  data->sections = static_cast<JpegSegment*>(grown);
  return new (&data->sections[data->count++]) JpegSegment{};
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
      exif_log(data->priv->log, EXIF_LOG_CODE_CORRUPT_DATA, kDomain,
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

// A file that can be read to its end: never a device or a pipe. Null for any other.
base::File open_regular(const char* path) {
  base::Descriptor fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd.open() || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  base::File file(fdopen(fd.get(), "rb"));
  if (file != nullptr) (void)fd.release();
  return file;
}

// Grows by exactly what is appended.
struct Output {
  Block bytes;
  uint32_t size = 0;

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
  if (block == nullptr) return true;
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

JpegSegment* find_app1(const JpegData* data) {
  for (uint32_t i = 0; i < data->count; i++) {
    if (data->sections[i].marker == kJpegApp1) return &data->sections[i];
  }
  return nullptr;
}

}  // namespace

JpegData* jpeg_data_new() {
  auto* data = new (std::nothrow) JpegData{};
  if (data == nullptr) return nullptr;
  data->priv = new (std::nothrow) JpegDataPrivate{};
  if (data->priv == nullptr) {
    delete data;
    return nullptr;
  }
  data->priv->references = 1;
  return data;
}

JpegData* jpeg_data_new_from_file(const char* path) {
  JpegData* data = jpeg_data_new();
  jpeg_data_load_file(data, path);
  return data;
}

JpegData* jpeg_data_new_from_data(const uint8_t* bytes, uint32_t size) {
  JpegData* data = jpeg_data_new();
  jpeg_data_load_data(data, bytes, size);
  return data;
}

void jpeg_data_free(JpegData* data) {
  if (data == nullptr) return;
  for (uint32_t i = 0; i < data->count; i++) {
    const JpegSegment& segment = data->sections[i];
    if (segment.marker == kJpegApp1) {
      if (segment.content.exif != nullptr) exif_data_unref(segment.content.exif);
    } else if (has_payload(segment.marker)) {
      std::free(segment.content.bytes);
    }
  }
  std::free(data->sections);
  std::free(data->data);
  if (data->priv->log != nullptr) exif_log_unref(data->priv->log);
  delete data->priv;
  delete data;
}

void jpeg_data_set_log(JpegData* data, ExifLog* log) {
  if (data == nullptr) return;
  if (log != nullptr) exif_log_ref(log);
  if (data->priv->log != nullptr) exif_log_unref(data->priv->log);
  data->priv->log = log;
}

void jpeg_data_load_file(JpegData* data, const char* path) {
  if (data == nullptr || path == nullptr) return;
  base::File file = open_regular(path);
  if (file == nullptr) {
    exif_log(data->priv->log, EXIF_LOG_CODE_CORRUPT_DATA, kDomain, "Path '%s' invalid.", path);
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
    exif_log(data->priv->log, EXIF_LOG_CODE_CORRUPT_DATA, kDomain, "Could not read '%s'.", path);
    return;
  }
  file.reset();
  jpeg_data_load_data(data, block.get(), static_cast<uint32_t>(size));
}

void jpeg_data_load_data(JpegData* data, const uint8_t* bytes, uint32_t size) {
  if (data == nullptr || bytes == nullptr) return;
  const bool complete = parse(data, {bytes, size});
  data->priv->cut = !complete && data->data == nullptr;
}

bool jpeg_data_is_whole(const JpegData* data) { return data != nullptr && !data->priv->cut; }

int32_t jpeg_data_save_data(const JpegData* data, uint8_t** bytes, uint32_t* size) {
  if (data == nullptr || bytes == nullptr || size == nullptr) return -1;
  Output output;
  bool complete = true;
  for (uint32_t i = 0; complete && i < data->count; i++) {
    complete = save_segment(data, data->sections[i], &output);
  }
  *size = output.size;
  *bytes = complete ? output.bytes.release() : nullptr;
  return *bytes != nullptr ? 0 : -1;
}

int32_t jpeg_data_save_file(const JpegData* data, const char* path) {
  uint8_t* raw = nullptr;
  uint32_t size = 0;
  if (jpeg_data_save_data(data, &raw, &size) != 0) return -1;
  const Block bytes(raw);
  return media_replace_file(path, bytes.get(), size);
}

ExifData* jpeg_data_get_exif_data(const JpegData* data) {
  if (data == nullptr) return nullptr;
  const JpegSegment* app1 = find_app1(data);
  if (app1 == nullptr || app1->content.exif == nullptr) return nullptr;
  exif_data_ref(app1->content.exif);
  return app1->content.exif;
}

void jpeg_data_set_exif_data(JpegData* data, ExifData* exif) {
  if (data == nullptr || exif == nullptr) return;
  JpegSegment* app1 = find_app1(data);
  // First: the new data may be those that the segment holds.
  exif_data_ref(exif);
  if (app1 != nullptr) {
    if (app1->content.exif != nullptr) exif_data_unref(app1->content.exif);
    app1->content.exif = exif;
    return;
  }
  if (append_segment(data) == nullptr || data->count < 2) {
    exif_data_unref(exif);
    return;
  }
  JpegSegment* second = &data->sections[1];
  std::memmove(second + 1, second, (data->count - 2) * sizeof(JpegSegment));
  *second = JpegSegment{};
  second->marker = kJpegApp1;
  second->content.exif = exif;
}

}  // namespace media
