#include "media/card/paced_writer.h"

#include <algorithm>

#include "base/descriptor.h"
#include "fake_base/fake_base.h"
#include "support/photo.h"

namespace media {
namespace {

// A stream that notes the size of every write that reaches the file, up to a capacity.
struct Sink {
  std::vector<size_t> writes;
  Bytes bytes;
  size_t capacity = SIZE_MAX;
};

ssize_t sink_write(void* cookie, const char* from, size_t size) {
  auto* sink = static_cast<Sink*>(cookie);
  const size_t taken = std::min(size, sink->capacity - sink->bytes.size());
  if (taken == 0) return 0;
  sink->writes.push_back(taken);
  sink->bytes.insert(sink->bytes.end(), from, from + taken);
  return static_cast<ssize_t>(taken);
}

base::File open_sink(Sink* sink) {
  return base::File(fopencookie(sink, "wb", {nullptr, sink_write, nullptr, nullptr}));
}

Bytes pattern(size_t size) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; i++) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
  return bytes;
}

class PacedWriter : public fake_base::FakeBaseTest {
 protected:
  Sink sink;
  base::File file = open_sink(&sink);
};

TEST_F(PacedWriter, WritesTwentyBlocksThenOneThenTheRest) {
  // What is in the file at each sleep tells how the calls were cut.
  std::vector<size_t> at_sleep;
  fake_base::on_sleep([&](uint64_t) { at_sleep.push_back(sink.bytes.size()); });
  const Bytes bytes = pattern(700000);
  EXPECT_EQ(media_write_paced(bytes.data(), bytes.size(), file.get()), 700000U);
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{6000, 6000}));
  EXPECT_EQ(at_sleep, (std::vector<size_t>{655360, 688128}));
  EXPECT_EQ(sink.bytes, bytes);
}

TEST_F(PacedWriter, ASmallBufferIsFlushedWithoutASleep) {
  const Bytes bytes = pattern(32767);
  EXPECT_EQ(media_write_paced(bytes.data(), bytes.size(), file.get()), 32767U);
  EXPECT_EQ(sink.bytes, bytes);
  EXPECT_TRUE(fake_base::sleeps().empty());
}

TEST_F(PacedWriter, WholeBlocksLeaveNoRest) {
  const Bytes bytes = pattern(1310720);
  EXPECT_EQ(media_write_paced(bytes.data(), bytes.size(), file.get()), 1310720U);
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{6000, 6000}));
  EXPECT_EQ(sink.bytes, bytes);
}

TEST_F(PacedWriter, NothingIsWrittenForNothing) {
  EXPECT_EQ(media_write_paced("", 0, file.get()), 0U);
  EXPECT_EQ(media_write_paced(nullptr, 10, file.get()), 0U);
  EXPECT_EQ(media_write_paced("a", 1, nullptr), 0U);
  EXPECT_TRUE(sink.writes.empty());
}

TEST_F(PacedWriter, StopsWhenTheFileTakesNothingMore) {
  sink.capacity = 655360;
  const Bytes bytes = pattern(700000);
  EXPECT_EQ(media_write_paced(bytes.data(), bytes.size(), file.get()), 655360U);
  EXPECT_EQ(sink.bytes.size(), 655360U);
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{6000}));
}

TEST_F(PacedWriter, StopsInsideACallAndNeverWritesOutOfPlace) {
  sink.capacity = 100000;
  const Bytes bytes = pattern(700000);
  EXPECT_LE(media_write_paced(bytes.data(), bytes.size(), file.get()), 98304U);
  EXPECT_TRUE(std::equal(sink.bytes.begin(), sink.bytes.end(), bytes.begin()));
  EXPECT_TRUE(fake_base::sleeps().empty());
}

TEST_F(PacedWriter, ARestThatCannotBeFlushedDoesNotCount) {
  sink.capacity = 0;
  EXPECT_EQ(media_write_paced("abc", 3, file.get()), 0U);
}

}  // namespace
}  // namespace media
