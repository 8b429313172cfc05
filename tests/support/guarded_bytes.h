// Bytes that end where the process's memory ends: whoever reads or writes behind them is ended by a
// signal, in every build.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <span>

namespace support {

class GuardedBytes {
 public:
  explicit GuardedBytes(std::span<const uint8_t> bytes) : size_(bytes.size()) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    whole_ = (size_ + page - 1) / page * page + page;
    void* pages = mmap(nullptr, whole_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(pages, MAP_FAILED);
    pages_ = static_cast<uint8_t*>(pages);
    EXPECT_EQ(mprotect(pages_ + whole_ - page, page, PROT_NONE), 0);
    data_ = pages_ + whole_ - page - size_;
    if (size_ != 0) std::memcpy(data_, bytes.data(), size_);
  }
  ~GuardedBytes() { munmap(pages_, whole_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  [[nodiscard]] uint8_t* data() const { return data_; }
  [[nodiscard]] size_t size() const { return size_; }

 private:
  size_t size_;
  size_t whole_;
  uint8_t* pages_;
  uint8_t* data_;
};

}  // namespace support
