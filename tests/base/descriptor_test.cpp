#include "base/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <utility>

namespace {

int open_null() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }
bool is_open(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST(Descriptor, StartsWithoutOne) {
  const base::Descriptor none;
  EXPECT_FALSE(none.open());
  EXPECT_EQ(none.get(), -1);
}

TEST(Descriptor, ClosesWhatItOwns) {
  const int fd = open_null();
  {
    const base::Descriptor owner(fd);
    EXPECT_TRUE(owner.open());
    EXPECT_TRUE(is_open(fd));
  }
  EXPECT_FALSE(is_open(fd));
}

TEST(Descriptor, DescriptorZeroCountsAsOpen) {
  base::Descriptor zero(0);
  EXPECT_TRUE(zero.open());
  EXPECT_EQ(zero.release(), 0);
}

TEST(Descriptor, AMoveHandsItOver) {
  const int first = open_null();
  const int second = open_null();
  base::Descriptor from(first);
  base::Descriptor to(second);
  to = std::move(from);
  EXPECT_EQ(to.get(), first);
  EXPECT_TRUE(is_open(first));
  EXPECT_FALSE(is_open(second));
  const base::Descriptor last(std::move(to));
  EXPECT_EQ(last.get(), first);
}

TEST(Descriptor, ReleaseLeavesItOpen) {
  const int fd = open_null();
  int released = -1;
  {
    base::Descriptor owner(fd);
    released = owner.release();
    EXPECT_FALSE(owner.open());
  }
  EXPECT_EQ(released, fd);
  EXPECT_TRUE(is_open(fd));
  ::close(fd);
}

TEST(Descriptor, ResetClosesTheOldOne) {
  const int fd = open_null();
  base::Descriptor owner(fd);
  owner.reset();
  EXPECT_FALSE(owner.open());
  EXPECT_FALSE(is_open(fd));
}

TEST(File, ClosesTheStream) {
  int fd = -1;
  {
    const base::File file(std::fopen("/dev/null", "re"));
    ASSERT_NE(file, nullptr);
    fd = fileno(file.get());
    EXPECT_TRUE(is_open(fd));
  }
  EXPECT_FALSE(is_open(fd));
}

}  // namespace
