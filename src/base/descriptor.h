// Owners of system resources, so that an early return is always safe. Single-threaded use per
// object.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

namespace base {

// Owns one file descriptor; -1 means none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { reset(); }

  [[nodiscard]] int get() const { return fd_; }
  [[nodiscard]] bool open() const { return fd_ >= 0; }
  // Hands the descriptor over to the caller.
  [[nodiscard]] int release() { return std::exchange(fd_, -1); }
  void reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
// Owns a stdio stream; null means none.
using File = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace base
