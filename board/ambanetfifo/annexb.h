// The index of an H.264 elementary stream file (ITU-T H.264 annex B): where each picture begins and
// how many bytes belong to it, parameter sets and start codes included. Made once, so that playing
// the stream never looks at its bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ambanetfifo {

struct AccessUnit {
  uint64_t offset;
  uint32_t size;
  bool key;  // holds an IDR slice
};

// Reads the file from its beginning, in small pieces. Returns the pictures in stream order, from
// the first IDR picture to the end of the file, without a gap between them; empty when the file
// cannot be read or holds no IDR picture.
[[nodiscard]] std::vector<AccessUnit> index_annexb(int fd);

// Reads `size` bytes at `offset` of the file, fewer where it ends or fails. Returns the bytes read.
size_t read_at(int fd, uint8_t* to, size_t size, uint64_t offset);

}  // namespace ambanetfifo
