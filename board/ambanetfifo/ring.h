// The memory of one ring of frame data, between two pages that must not be touched: a reader that
// runs past the ring's end is caught at once. The ring's start has no particular alignment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ambanetfifo {

class Ring {
 public:
  Ring() = default;
  Ring(const Ring&) = delete;
  Ring& operator=(const Ring&) = delete;
  ~Ring() { unmap(); }

  // Maps `capacity` bytes, all zero; drops what was mapped before. False when there is no memory.
  [[nodiscard]] bool map(size_t capacity);

  [[nodiscard]] size_t capacity() const { return capacity_; }
  [[nodiscard]] uint64_t start() const { return reinterpret_cast<uintptr_t>(start_); }
  [[nodiscard]] uint64_t end() const { return start() + capacity_; }
  // The address of the byte that was written as number `position` since the ring's beginning.
  [[nodiscard]] uint64_t address(uint64_t position) const { return start() + position % capacity_; }

  struct Pieces {
    std::span<uint8_t> first, second;  // the second is empty unless the range passes the ring's end
  };
  // The memory of `size` bytes from `position` on; `size` is at most the capacity.
  [[nodiscard]] Pieces pieces(uint64_t position, size_t size) const;

 private:
  void unmap();

  void* mapping_ = nullptr;
  size_t mapped_ = 0;
  uint8_t* start_ = nullptr;
  size_t capacity_ = 0;
};

}  // namespace ambanetfifo
