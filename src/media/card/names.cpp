#include "media/card/names.h"

#include <cstdio>
#include <cstring>

namespace media {
namespace {

bool contains(const char* text, const char* part) { return std::strstr(text, part) != nullptr; }

const char* mode_letters(int32_t mode) {
  switch (mode) {
    case 1:
      return "PR";
    case 2:
      return "PW";
    case 3:
      return "PV";
    default:
      return "PH";
  }
}

}  // namespace

int32_t media_file_kind(const char* name) {
  if (name == nullptr) return MEDIA_OTHER;
  if (contains(name, "jpg") || contains(name, "JPG") || contains(name, "JPEG")) return MEDIA_PHOTO;
  if (contains(name, "mp4") || contains(name, "MP4")) return MEDIA_VIDEO;
  return MEDIA_OTHER;
}

int32_t media_thumb_name(char* name, size_t size) {
  if (name == nullptr || strnlen(name, size) == size) return -1;
  const int32_t kind = media_file_kind(name);
  char* dot = std::strrchr(name, '.');
  if (dot == nullptr || kind == MEDIA_OTHER) return -1;
  const size_t left = size - static_cast<size_t>(dot - name);
  std::snprintf(dot, left, "_%s.JPG", kind == MEDIA_VIDEO ? "v" : "p");
  return 0;
}

int32_t media_photo_name(const char* name, const PhotoMark& mark, char* to, size_t size) {
  if (mark.mode == 0 || name == nullptr || to == nullptr || size == 0) return 0;
  std::snprintf(to, size, "%.15s_%s%02d.JPG", name, mode_letters(mark.mode), mark.sequence);
  return 1;
}

}  // namespace media
