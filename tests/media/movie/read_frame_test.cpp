#include "media/movie/read_frame.h"

#include <gtest/gtest.h>

#include "media/movie/mov_boxes.h"

namespace media {
namespace {

using media_test::open_bytes;

struct Read {
  int64_t result;
  uint64_t remaining;
  std::string errors;
  std::vector<uint8_t> buffer;  // as large as is promised for the size
  off_t position;
};

Read read(const Bytes& bytes, uint32_t size, uint64_t remaining, uint32_t prefix = 4) {
  const base::File file = open_bytes(bytes);
  Read done{0, remaining, {}, std::vector<uint8_t>(size + kMovFrameSlack, 0xEE), 0};
  ::testing::internal::CaptureStderr();
  done.result = mov_read_frame(done.buffer.data(), size, &done.remaining, prefix, file.get());
  done.errors = ::testing::internal::GetCapturedStderr();
  done.position = ftello(file.get());
  return done;
}

TEST(MovReadFrame, TheLengthBecomesAStartCode) {
  const Read done = read(be32({3}) + text_bytes("abcdef"), 10, 100);
  EXPECT_EQ(done.result, 7);
  EXPECT_EQ(done.remaining, 93U);
  EXPECT_EQ(done.position, 7);
  EXPECT_EQ(std::vector<uint8_t>(done.buffer.begin(), done.buffer.begin() + 8),
            (std::vector<uint8_t>{0, 0, 0, 1, 'a', 'b', 'c', 0xEE}));
  EXPECT_EQ(done.errors, "");
}

TEST(MovReadFrame, AFrameMayBeFourBytesLargerThanTheBuffer) {
  Read done = read(be32({14}) + Bytes(20, uint8_t{7}), 10, 100);
  EXPECT_EQ(done.result, 18);
  EXPECT_EQ(done.remaining, 82U);
  EXPECT_EQ(done.buffer.back(), 7);
  done = read(be32({15}) + Bytes(20, uint8_t{7}), 10, 100);
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(done.errors, "frame size too large:15, buff size:10\n");
  EXPECT_EQ(done.remaining, 96U);
  EXPECT_EQ(done.buffer[0], 0xEE);
  done = read(be32({0xFFFFFFFF}) + Bytes(20, uint8_t{7}), 10, 100);
  EXPECT_EQ(done.errors, "frame size too large:4294967295, buff size:10\n");
}

TEST(MovReadFrame, TheRunBoundsTheRead) {
  Read done = read(be32({5}) + text_bytes("abcdef"), 10, 7);
  EXPECT_EQ(done.result, 7);
  EXPECT_EQ(done.remaining, 0U);
  done = read(be32({5}) + text_bytes("abcdef"), 10, 4);
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(done.remaining, 4U);
  EXPECT_EQ(done.position, 0);
  EXPECT_EQ(done.errors, "");
  EXPECT_EQ(read(be32({5}) + text_bytes("abcdef"), 10, 5).result, 5);
}

TEST(MovReadFrame, AFileThatEndsInsideAFrameGivesWhatIsThere) {
  Read done = read(be32({9}) + text_bytes("abc"), 10, 100);
  EXPECT_EQ(done.result, 7);
  EXPECT_EQ(done.remaining, 93U);
  done = read(be32({9}), 10, 100);
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(done.errors, "frame read error 0\n");
  EXPECT_EQ(done.remaining, 96U);
  done = read({0, 0, 9}, 10, 100);
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(done.errors, "");
  EXPECT_EQ(done.remaining, 100U);
}

TEST(MovReadFrame, AnEmptyFrameIsAnError) {
  const Read done = read(be32({0}) + text_bytes("abc"), 10, 100);
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(done.errors, "frame read error 0\n");
  EXPECT_EQ(done.buffer[0], 0xEE);
}

TEST(MovReadFrame, AReadErrorIsNamed) {
  // The prefix comes from the stream; then its device fails.
  cookie_read_function_t* fail_later = [](void* cookie, char* to, size_t size) -> ssize_t {
    int* calls = static_cast<int*>(cookie);
    if ((*calls)++ > 0 || size < 4) return -1;
    const char prefix[] = {0, 0, 0, 9};
    std::copy(std::begin(prefix), std::end(prefix), to);
    return 4;
  };
  int calls = 0;
  const base::File file(fopencookie(&calls, "rb", {fail_later, nullptr, nullptr, nullptr}));
  uint8_t buffer[10 + kMovFrameSlack];
  uint64_t remaining = 100;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(mov_read_frame(buffer, 10, &remaining, 4, file.get()), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "frame read error -1\n");
}

TEST(MovReadFrame, ShorterPrefixesAreRead) {
  EXPECT_EQ(read(Bytes{3} + text_bytes("abcdef"), 10, 100, 1).result, 7);
  EXPECT_EQ(read(Bytes{0, 3} + text_bytes("abcdef"), 10, 100, 2).result, 7);
  EXPECT_EQ(read(Bytes{0, 0, 3} + text_bytes("abcdef"), 10, 100, 3).remaining, 94U);
  EXPECT_EQ(read(be32({3}) + text_bytes("abcdef"), 10, 100, 0).result, -1);
  EXPECT_EQ(read(be32({0, 3}) + text_bytes("abcdef"), 10, 100, 5).result, -1);
}

TEST(MovReadFrame, NullsAreRefused) {
  const base::File file = open_bytes(be32({1, 1}));
  uint8_t buffer[16];
  uint64_t remaining = 8;
  EXPECT_EQ(mov_read_frame(nullptr, 8, &remaining, 4, file.get()), -1);
  EXPECT_EQ(mov_read_frame(buffer, 8, nullptr, 4, file.get()), -1);
  EXPECT_EQ(mov_read_frame(buffer, 8, &remaining, 4, nullptr), -1);
  EXPECT_EQ(ftello(file.get()), 0);
}

}  // namespace
}  // namespace media
