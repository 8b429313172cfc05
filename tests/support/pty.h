// A pseudo terminal: the line that the module opens by name(), and its far end, which reads and
// writes raw bytes without waiting.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "base/descriptor.h"
#include "support/hex.h"

namespace link_test {

class Pty {
 public:
  Pty() : far_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(grantpt(far_.get()), 0);
    EXPECT_EQ(unlockpt(far_.get()), 0);
    char name[64];
    EXPECT_EQ(ptsname_r(far_.get(), name, sizeof(name)), 0);
    name_ = name;
  }

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] termios settings() const {
    termios now{};
    EXPECT_EQ(tcgetattr(far_.get(), &now), 0);  // the two ends share them
    return now;
  }
  void write_bytes(const Bytes& bytes) const {
    EXPECT_EQ(write(far_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // What the module has written: waits until so many bytes are there, but not for ever. With 0 it
  // takes what comes within a short while.
  [[nodiscard]] Bytes read_bytes(size_t wanted) const {
    Bytes bytes(70000);
    size_t size = 0;
    pollfd readable{far_.get(), POLLIN, 0};
    while (size < std::max<size_t>(wanted, 1) && poll(&readable, 1, wanted == 0 ? 50 : 3000) == 1) {
      const ssize_t got = read(far_.get(), bytes.data() + size, bytes.size() - size);
      if (got < 1) break;
      size += static_cast<size_t>(got);
    }
    bytes.resize(size);
    return bytes;
  }
  void hang_up() { far_.reset(); }

 private:
  base::Descriptor far_;
  std::string name_;
};

}  // namespace link_test
