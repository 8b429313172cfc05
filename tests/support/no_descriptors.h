// While it lives, the process can open no file and no socket.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace support {

class NoDescriptors {
 public:
  NoDescriptors() {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
    rlimit none = before_;
    none.rlim_cur = 0;
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  }
  ~NoDescriptors() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_{};
};

}  // namespace support
