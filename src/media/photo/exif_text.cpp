#include "media/photo/exif_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace media {

int32_t exif_get_field(const char* text, char* to, size_t limit, const char* key) {
  if (text == nullptr || to == nullptr || key == nullptr || limit == 0) return -1;
  const char* value = std::strstr(text, key);
  if (value == nullptr) return 0;
  value += std::strlen(key);
  if (*value != '\0') value++;
  const size_t length = std::min(std::strcspn(value, ";"), limit - 1);
  std::memmove(to, value, length);
  to[length] = '\0';
  return 0;
}

int32_t exif_time_from_name(const char* name, size_t name_length, char* to, size_t size) {
  if (name == nullptr || to == nullptr || name_length <= 16 || size < kExifTimeSize) return -1;
  std::snprintf(to, size, "%.4s:%.2s:%.2s %.2s:%.2s:%.2s", name, name + 4, name + 6, name + 9,
                name + 11, name + 13);
  return 0;
}

}  // namespace media
