#include "media/movie/atoms.h"

#include <cinttypes>
#include <cstdio>

namespace media {
namespace {

constexpr uint64_t kLongHeader = 16;  // with a size of 64 bits

// Reads the header at the start of the `left` bytes, at least 8, and sets *header to its length.
// Returns false at a size that cannot be.
bool read_atom(const uint8_t* at, uint64_t left, MovAtom* atom, uint64_t* header) {
  uint64_t size = mov_load_u32(at);
  *header = kMovShortHeader;
  if (size == 1) {
    if (left < kLongHeader) {
      std::fprintf(stderr, "not enough room for 64 bit atom size\n");
      return false;
    }
    size = mov_load_u64(at + kMovShortHeader);
    *header = kLongHeader;
  }
  if (size < *header) {
    std::fprintf(stderr, "atom size %" PRIu64 " too small\n", size);
    return false;
  }
  *atom = {mov_load_u32(at + 4), at + *header, size - *header};
  if (atom->size > left - *header) {
    std::fprintf(stderr, "atom size %" PRIu64 " too big\n", atom->size);
    return false;
  }
  return true;
}

}  // namespace

int32_t mov_walk_atoms(const uint8_t* buffer, uint64_t length, MovHandler handler,
                       MovIndex* context) {
  if (buffer == nullptr || handler == nullptr) return -1;
  while (length >= kMovShortHeader) {
    MovAtom atom{};
    uint64_t header = 0;
    if (!read_atom(buffer, length, &atom, &header)) return -1;
    if (handler(context, &atom) < 0) {
      std::printf("process %c%c%c%c failed\n", mov_type_char(atom.type, 0),
                  mov_type_char(atom.type, 1), mov_type_char(atom.type, 2),
                  mov_type_char(atom.type, 3));
    }
    buffer += header + atom.size;
    length -= header + atom.size;
  }
  return 0;
}

}  // namespace media
