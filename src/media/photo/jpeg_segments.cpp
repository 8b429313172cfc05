#include "media/photo/jpeg_segments.h"

#include <new>

namespace media::jpeg_parts {

void log_no_memory(const JpegData* data, size_t size) {
  exif_log(data->priv->log, EXIF_LOG_CODE_NO_MEMORY, kLogDomain, "Could not allocate %lu byte(s).",
           static_cast<unsigned long>(size));
  data->priv->cut = true;
}

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

}  // namespace media::jpeg_parts
