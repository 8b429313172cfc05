#include "media/movie/read_frame.h"

#include <algorithm>
#include <cstring>

#include "media/movie/atoms.h"

namespace media {
namespace {

constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
constexpr uint32_t kLongestPrefix = 4;

// Reads a big-endian number of 1 to 4 bytes.
bool read_prefix(std::FILE* file, uint32_t size, uint32_t* length) {
  if (size == 0 || size > kLongestPrefix) return false;
  uint8_t bytes[kLongestPrefix]{};
  if (std::fread(bytes + kLongestPrefix - size, 1, size, file) != size) return false;
  *length = mov_load_u32(bytes);
  return true;
}

}  // namespace

int64_t mov_read_frame(uint8_t* buffer, uint32_t size, uint64_t* remaining, uint32_t prefix_size,
                       std::FILE* file) {
  if (buffer == nullptr || remaining == nullptr || file == nullptr) return -1;
  uint32_t length = 0;
  if (*remaining <= prefix_size || !read_prefix(file, prefix_size, &length)) return -1;
  *remaining -= prefix_size;
  if (length > uint64_t{size} + sizeof(kStartCode)) {
    std::fprintf(stderr, "frame size too large:%u, buff size:%u\n", length, size);
    return -1;
  }
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(length, *remaining));
  const size_t taken = std::fread(buffer + sizeof(kStartCode), 1, wanted, file);
  if (taken == 0) {
    std::fprintf(stderr, "frame read error %d\n", std::ferror(file) != 0 ? -1 : 0);
    return -1;
  }
  *remaining -= taken;
  std::memcpy(buffer, kStartCode, sizeof(kStartCode));
  return static_cast<int64_t>(taken + sizeof(kStartCode));
}

}  // namespace media
