// Where a download goes: memory of the file's size, and not a byte behind it.
#pragma once

#include <algorithm>
#include <vector>

#include "fuzz/support.h"
#include "groundstation/media/download.h"

namespace fuzz {

class MemoryStore : public groundstation::MediaStore {
 public:
  explicit MemoryStore(size_t size) : bytes_(size) {}

  bool write(uint64_t at, std::span<const uint8_t> bytes) override {
    check_place(at, bytes.size());
    std::copy(bytes.begin(), bytes.end(), bytes_.begin() + static_cast<ptrdiff_t>(at));
    return true;
  }
  bool read(uint64_t at, std::span<uint8_t> bytes) override {
    check_place(at, bytes.size());
    std::copy_n(bytes_.begin() + static_cast<ptrdiff_t>(at), bytes.size(), bytes.begin());
    return true;
  }
  [[nodiscard]] std::span<const uint8_t> bytes() const { return bytes_; }

 private:
  void check_place(uint64_t at, size_t size) const {
    check(at <= bytes_.size() && size <= bytes_.size() - at, "behind the file's end");
  }

  std::vector<uint8_t> bytes_;
};

}  // namespace fuzz
