#include "media/photo/jpeg_data.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "media/photo/jpeg_markers.h"

namespace media {
namespace {

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
    } else if (jpeg_parts::has_payload(segment.marker)) {
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

bool jpeg_data_is_whole(const JpegData* data) { return data != nullptr && !data->priv->cut; }

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
  if (jpeg_parts::append_segment(data) == nullptr || data->count < 2) {
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
