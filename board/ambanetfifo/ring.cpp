#include "ambanetfifo/ring.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace ambanetfifo {

bool Ring::map(size_t capacity) {
  unmap();
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t usable = (capacity + page - 1) / page * page;
  const size_t size = usable + 2 * page;
  void* mapping = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) return false;
  auto* bytes = static_cast<uint8_t*>(mapping) + page;
  if (mprotect(bytes, usable, PROT_READ | PROT_WRITE) != 0) {
    munmap(mapping, size);
    return false;
  }
  mapping_ = mapping;
  mapped_ = size;
  start_ = bytes + (usable - capacity);
  capacity_ = capacity;
  return true;
}

Ring::Pieces Ring::pieces(uint64_t position, size_t size) const {
  const size_t at = position % capacity_;
  const size_t first = std::min(size, capacity_ - at);
  return {{start_ + at, first}, {start_, size - first}};
}

void Ring::unmap() {
  if (mapping_ != nullptr) munmap(mapping_, mapped_);
  mapping_ = nullptr;
}

}  // namespace ambanetfifo
