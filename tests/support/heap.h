// How much the heap gives out, to see that a block has come back.
#pragma once

#include <malloc.h>

#include <cstddef>
#include <functional>

namespace support {

// Bytes in blocks that are not free. The C library keeps small blocks (up to 1 KiB) at hand when they are
// freed; only larger ones tell. Always 0 under a sanitizer, which finds leaks by itself.
inline size_t heap_in_use() {
  const struct mallinfo2 now = mallinfo2();
  return now.uordblks + now.hblkhd;
}

// What `call` leaves in use when small blocks are at hand already.
inline size_t heap_kept_by(const std::function<void()>& call) {
  call();
  const size_t before = heap_in_use();
  call();
  return heap_in_use() - before;
}

}  // namespace support
