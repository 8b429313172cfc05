#include "ambanetfifo/annexb.h"

#include <unistd.h>

#include <cstring>
#include <utility>

namespace ambanetfifo {
namespace {

constexpr size_t kChunk = size_t{256} * 1024;
constexpr size_t kBefore = 3;  // bytes before the one of a start code: three zeros at most
constexpr size_t kAfter = 2;   // bytes behind it: the unit's header and the first of its slice

// Collects the units of a stream, in order, into pictures.
struct Indexer {
  std::vector<AccessUnit> pictures;
  uint64_t begin = 0;  // of the picture that is being collected
  bool open = false;   // a unit has come since the last picture ended
  bool has_slice = false;
  bool key = false;

  void end_picture(uint64_t at) {
    if (open && has_slice && (key || !pictures.empty())) {
      pictures.push_back({begin, static_cast<uint32_t>(at - begin), key});
    }
    open = has_slice = key = false;
  }

  // `first` is the byte behind the header; its top bit is set when a slice is its picture's first.
  void unit(uint64_t at, uint8_t header, uint8_t first) {
    const int type = header & 0x1F;
    const bool slice = type >= 1 && type <= 5;
    const bool leads = (type >= 6 && type <= 9) || (slice && (first & 0x80) != 0);
    if (has_slice && leads) end_picture(at);
    if (!open) begin = at;
    open = true;
    has_slice = has_slice || slice;
    key = key || type == 5;
  }
};

// Finds the start codes of one chunk whose 0x01 lies in [from, to), all of its neighbours included.
void scan(Indexer& indexer, const uint8_t* bytes, size_t from, size_t to, uint64_t offset) {
  const uint8_t* at = bytes + from;
  const uint8_t* const end = bytes + to;
  while (at < end) {
    at = static_cast<const uint8_t*>(std::memchr(at, 1, static_cast<size_t>(end - at)));
    if (at == nullptr) return;
    const auto place = static_cast<size_t>(at - bytes);
    if (place >= 2 && at[-1] == 0 && at[-2] == 0) {
      const size_t code = place >= 3 && at[-3] == 0 ? 3 : 2;
      indexer.unit(offset + place - code, at[1], at[2]);
    }
    at++;
  }
}

}  // namespace

size_t read_at(int fd, uint8_t* to, size_t size, uint64_t offset) {
  size_t done = 0;
  while (done < size) {
    const ssize_t n = pread(fd, to + done, size - done, static_cast<off_t>(offset + done));
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  return done;
}

std::vector<AccessUnit> index_annexb(int fd) {
  Indexer indexer;
  std::vector<uint8_t> chunk(kBefore + kChunk + kAfter);
  uint64_t offset = 0;  // of the chunk's first byte in the file
  size_t from = 0;      // the first byte of the chunk that has not been a candidate yet
  for (;;) {
    const size_t size = read_at(fd, chunk.data(), chunk.size(), offset);
    if (size <= from + kAfter) {
      indexer.end_picture(offset + size);
      return std::move(indexer.pictures);
    }
    const size_t to = size - kAfter;
    scan(indexer, chunk.data(), from, to, offset);
    if (size < chunk.size()) {
      indexer.end_picture(offset + size);
      return std::move(indexer.pictures);
    }
    offset += to - kBefore;
    from = kBefore;
  }
}

}  // namespace ambanetfifo
