#include "groundstation/media/download.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace groundstation {
namespace {

using Bytes = std::vector<uint8_t>;

class MemoryStore : public MediaStore {
 public:
  explicit MemoryStore(size_t size) : bytes(size, 0xEE) {}
  bool write(uint64_t at, std::span<const uint8_t> from) override {
    if (refuses || at + from.size() > bytes.size()) return false;
    std::copy(from.begin(), from.end(), bytes.begin() + static_cast<ptrdiff_t>(at));
    return true;
  }
  bool read(uint64_t at, std::span<uint8_t> to) override {
    if (at + to.size() > bytes.size()) return false;
    std::copy_n(bytes.begin() + static_cast<ptrdiff_t>(at), to.size(), to.begin());
    return true;
  }
  Bytes bytes;
  bool refuses = false;
};

Bytes random_bytes(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(size);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// A camera without a network: streams of a file, of which `lost` leaves datagrams out.
struct Camera {
  Bytes file;
  std::function<bool()> lost = [] { return false; };
  uint64_t sent = 0;

  // Runs one stream; `overrun` datagrams leave before the camera hears that it is to stop.
  void stream(MediaDownload* download, size_t overrun = 3) {
    size_t at = static_cast<size_t>(download->offset());
    size_t extra = 0;
    download->start();
    for (; at < file.size(); at += kMediaChunk) {
      if (!download->wants_more() && ++extra > overrun) break;
      sent++;
      if (lost() || extra > 0) continue;
      download->data({file.data() + at, std::min(kMediaChunk, file.size() - at)});
    }
    download->end(at >= file.size(), true);
  }
};

std::function<bool()> lose(double share, uint32_t seed) {
  return [random = std::mt19937(seed), share]() mutable {
    return std::uniform_real_distribution<>(0, 1)(random) < share;
  };
}

// Streams until done; the number of them, 0 when it never ends.
int run(Camera* camera, MediaDownload* download, int most = 3000) {
  for (int streams = 1; streams <= most; streams++) {
    camera->stream(download);
    if (download->done()) return streams;
    if (download->failed()) return 0;
  }
  return 0;
}

Bytes tail(const Bytes& file, size_t from) {
  return {file.begin() + static_cast<ptrdiff_t>(std::min(from, file.size())), file.end()};
}

TEST(MediaDownload, OneStreamIsEnoughWithoutLoss) {
  for (const size_t size : {1, 8180, 8181, 8182, 16362, 16363, 100'000}) {
    Camera camera{random_bytes(size, 1)};
    MemoryStore store(size);
    MediaDownload download(size, 0, store);
    EXPECT_EQ(download.offset(), 0U);
    EXPECT_EQ(run(&camera, &download), 1) << size;
    EXPECT_EQ(store.bytes, camera.file) << size;
    EXPECT_FALSE(download.recovering());
  }
}

TEST(MediaDownload, NothingIsWantedAtOrBehindTheEnd) {
  MemoryStore store(0);
  EXPECT_TRUE(MediaDownload(0, 0, store).done());
  EXPECT_TRUE(MediaDownload(100, 100, store).done());
  EXPECT_TRUE(MediaDownload(100, 5000, store).done());
}

TEST(MediaDownload, WholeFileUnderEveryLossAndFromEveryOffset) {
  uint32_t seed = 0;
  for (const double share : {0.01, 0.05, 0.26}) {
    for (const size_t from : {0, 1, 8181, 50'000}) {
      for (const size_t size : {8182, 163'620, 3'000'000, 3'002'427}) {
        Camera camera{random_bytes(size, ++seed), lose(share, seed)};
        MemoryStore store(size > from ? size - from : 0);
        MediaDownload download(size, from, store);
        if (size > from) {
          ASSERT_GT(run(&camera, &download), 0) << share << " " << size;
        }
        ASSERT_TRUE(download.done());
        ASSERT_EQ(store.bytes, tail(camera.file, from)) << share << " " << size << " " << from;
      }
    }
  }
}

// What a lossy link costs: windows grow, so that few streams and little overrun are needed.
TEST(MediaDownload, FivePercentLossCostsAFewTimesTheFile) {
  constexpr size_t kSize = 40'000'000;
  Camera camera{random_bytes(kSize, 5), lose(0.05, 6)};
  MemoryStore store(kSize);
  MediaDownload download(kSize, 0, store);
  ASSERT_GT(run(&camera, &download), 0);
  EXPECT_EQ(store.bytes, camera.file);
  EXPECT_LT(camera.sent, 6 * (kSize / kMediaChunk));
}

TEST(MediaDownload, EveryTwentiethDatagramLost) {
  Camera camera{random_bytes(5'000'000, 7)};
  camera.lost = [count = 0]() mutable { return ++count % 20 == 0; };
  MemoryStore store(camera.file.size());
  MediaDownload download(camera.file.size(), 0, store);
  ASSERT_GT(run(&camera, &download), 0);
  EXPECT_EQ(store.bytes, camera.file);
}

// Each single chunk lost in the first stream is noticed and repaired.
TEST(MediaDownload, AnySingleLossIsRepaired) {
  const Bytes file = random_bytes(10 * kMediaChunk + 17, 8);
  for (int victim = 0; victim < 11; victim++) {
    Camera camera{file};
    camera.lost = [count = 0, victim]() mutable { return count++ == victim; };
    MemoryStore store(file.size());
    MediaDownload download(file.size(), 0, store);
    EXPECT_EQ(run(&camera, &download), 2) << victim;
    EXPECT_EQ(store.bytes, file);
  }
}

// A window whose stream lacks a chunk and has one of what is proved instead is not believed: 100
// chunks, the first window of 32 is proved, then exactly one of the next window is lost.
TEST(MediaDownload, LossInsideAWindowIsNeverTakenForSuccess) {
  const Bytes file = random_bytes(100 * kMediaChunk, 9);
  for (int victim = 0; victim < 64; victim++) {
    Camera camera{file};
    int count = 0;
    camera.lost = [&] { return count++ == victim; };
    MemoryStore store(file.size());
    MediaDownload download(file.size(), 0, store);
    camera.stream(&download);  // has its loss
    count = 1000;
    camera.stream(&download);
    ASSERT_EQ(download.proved_bytes(), 32 * kMediaChunk);
    count = 0;
    camera.stream(&download);
    ASSERT_EQ(download.proved_bytes(), 32 * kMediaChunk) << victim;
    count = 1000;
    camera.stream(&download);
    ASSERT_EQ(download.proved_bytes(), 96 * kMediaChunk);
    ASSERT_GT(run(&camera, &download), 0);
    EXPECT_EQ(store.bytes, file);
  }
}

// Two streams that each lack another chunk make a window together.
TEST(MediaDownload, StreamsWithDifferentLossesAddUp) {
  const Bytes file = random_bytes(32 * kMediaChunk, 10);
  Camera camera{file};
  int count = 0;
  int victim = 5;
  camera.lost = [&] { return count++ == victim; };
  MemoryStore store(file.size());
  MediaDownload download(file.size(), 0, store);
  camera.stream(&download);
  for (const int next : {9, 20}) {
    EXPECT_FALSE(download.done());
    count = 0;
    victim = next;
    camera.stream(&download);
  }
  EXPECT_TRUE(download.done());
  EXPECT_EQ(store.bytes, file);
}

Bytes with_runs(size_t before, size_t zeros, size_t behind) {
  Bytes file = random_bytes(before, 11);
  file.resize(before + zeros);
  const Bytes end = random_bytes(behind, 12);
  file.insert(file.end(), end.begin(), end.end());
  return file;
}

TEST(MediaDownload, RunsOfZerosAnywhere) {
  uint32_t seed = 100;
  const size_t long_run = 300 * kMediaChunk + 99;
  for (const Bytes& file : {with_runs(0, long_run, 0), with_runs(500'000, long_run, 500'000),
                            with_runs(500'000, 300 * kMediaChunk, 0),
                            with_runs(0, long_run, 500'000), with_runs(3, long_run, 3)}) {
    for (int round = 0; round < 3; round++) {
      Camera camera{file, lose(0.05, ++seed)};
      MemoryStore store(file.size());
      MediaDownload download(file.size(), 0, store);
      ASSERT_GT(run(&camera, &download), 0) << file.size();
      ASSERT_EQ(store.bytes, file);
    }
  }
}

// Downloads with that loss, each by its own seed: some are not through after `rounds`, none is wrong.
void expect_never_wrong(const Bytes& file, uint32_t seeds, double loss, int rounds) {
  for (uint32_t seed = 0; seed < seeds; seed++) {
    Camera camera{file, lose(loss, seed)};
    MemoryStore store(file.size());
    MediaDownload download(file.size(), 0, store);
    if (run(&camera, &download, rounds) == 0) continue;
    ASSERT_EQ(store.bytes, file) << seed;
  }
}

// The same few chunks again and again: seldom provable, but never wrong.
TEST(MediaDownload, RepeatingContentsAreNeverWrong) {
  const Bytes one = random_bytes(kMediaChunk, 13);
  const Bytes two = random_bytes(kMediaChunk, 14);
  Bytes file;
  for (int i = 0; i < 40; i++) {
    const Bytes& next = i % 7 == 3 || i % 2 == 0 ? one : two;
    file.insert(file.end(), next.begin(), next.end());
  }
  expect_never_wrong(file, 200, 0.1, 400);
}

// A window that differs from the run behind it in one chunk is not taken for more of the run, even
// when streams have lost that chunk.
TEST(MediaDownload, OneOddChunkInARunIsKept) {
  Bytes file(200 * kMediaChunk, 0);
  std::memset(file.data() + 150 * kMediaChunk, 7, kMediaChunk);
  expect_never_wrong(file, 20, 0.05, 1500);
}

TEST(MediaDownload, StreamsThatAreNotWholeProveNothing) {
  const Bytes file = random_bytes(20 * kMediaChunk, 15);
  MemoryStore store(file.size());
  MediaDownload download(file.size(), 0, store);
  for (int round = 0; round < 3; round++) {
    download.start();
    for (size_t at = 0; at < file.size(); at += kMediaChunk) {
      download.data({file.data() + at, kMediaChunk});
    }
    download.end(true, false);
    EXPECT_FALSE(download.done());
  }
  EXPECT_EQ(download.fruitless(), 2U);
}

// Told to end ahead of time: only a window in front of proved bytes says where its use ends.
TEST(MediaDownload, SaysWhereAStreamStopsBeingOfUse) {
  const Bytes file = random_bytes(100 * kMediaChunk, 19);
  Camera camera{file};
  camera.lost = [count = 0]() mutable { return count++ == 3; };
  MemoryStore store(file.size());
  MediaDownload download(file.size(), 0, store);
  EXPECT_EQ(download.still_useful(), std::nullopt);
  camera.stream(&download);
  EXPECT_EQ(download.still_useful(), std::nullopt);  // it ends with the file
  camera.stream(&download);
  ASSERT_EQ(download.offset(), 4 * kMediaChunk);
  download.start();
  EXPECT_EQ(download.still_useful(),
            66U);  // 64, the first proved one and the one that is unlike it
  download.data({file.data() + 4 * kMediaChunk, kMediaChunk});
  EXPECT_EQ(download.still_useful(), 65U);
}

TEST(MediaDownload, AStreamThatBeginsAgainCountsFromItsBeginning) {
  const Bytes file = random_bytes(20 * kMediaChunk, 16);
  MemoryStore store(file.size());
  MediaDownload download(file.size(), 0, store);
  download.start();
  download.data({file.data(), kMediaChunk});
  Camera camera{file};
  camera.stream(&download);
  EXPECT_TRUE(download.done());
  EXPECT_EQ(store.bytes, file);
}

TEST(MediaDownload, AnotherSizeThanAnnouncedEndsIt) {
  for (const size_t size : {99'999, 100'001, 120'000}) {
    Camera camera{random_bytes(size, 17)};
    MemoryStore store(100'000);
    MediaDownload download(100'000, 0, store);
    EXPECT_EQ(run(&camera, &download, 50), 0);
    EXPECT_TRUE(download.failed());
    EXPECT_TRUE(download.wrong_size());
  }
}

TEST(MediaDownload, ADiskThatRefusesEndsIt) {
  Camera camera{random_bytes(100'000, 18)};
  MemoryStore store(100'000);
  store.refuses = true;
  MediaDownload download(100'000, 0, store);
  EXPECT_EQ(run(&camera, &download, 50), 0);
  EXPECT_TRUE(download.failed());
  EXPECT_FALSE(download.wrong_size());
}

}  // namespace
}  // namespace groundstation
