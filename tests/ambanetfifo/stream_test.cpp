// The undisturbed stream, seen by a reader and judged by FFmpeg's programs.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <fstream>
#include <memory>

#include "ambanetfifo/fifo_reader.h"
#include "base/clock.h"
#include "base/shell.h"
#include "support/temporary_folder.h"

namespace fifo_test {
namespace {

const std::string kStream = LIB_DIR "/ambanetfifo/live.h264";

// 3.2 seconds of both tracks, taken once for all of these tests.
class Capture : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    FifoReader reader;
    ASSERT_TRUE(reader.open());
    reader.pump_for(3200);
    info = reader.info;
    list = reader.list;
    video = reader.of(true);
    audio = reader.of(false);
  }

  static std::vector<uint8_t> joined() {
    std::vector<uint8_t> all;
    for (const Seen& one : video) all.insert(all.end(), one.bytes.begin(), one.bytes.end());
    return all;
  }

  static inline platform::FifoMediaInfo info;
  static inline platform::FifoStreamList list;
  static inline std::vector<Seen> video, audio;
};

// Entries per second between the first and the last one.
double rate(const std::vector<Seen>& entries) {
  const double seconds =
      static_cast<double>(entries.back().at_us - entries.front().at_us) / 1'000'000;
  return static_cast<double>(entries.size() - 1) / seconds;
}

TEST_F(Capture, DecodesWithoutAnErrorAndHasOnePicturePerEntry) {
  const support::TemporaryFolder folder;
  const std::string path = folder.path("taken.h264");
  const std::vector<uint8_t> bytes = joined();
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  char line[200] = "";
  const std::string count =
      "ffprobe -v error -count_frames -show_entries stream=nb_read_frames "
      "-of csv=p=0 " +
      path;
  ASSERT_EQ(base::read_shell_line(count.c_str(), line, sizeof line), 1);
  EXPECT_EQ(static_cast<size_t>(std::atoi(line)), video.size());
  const std::string decode = "ffmpeg -nostdin -v error -i " + path + " -f null - 2>&1";
  EXPECT_EQ(base::read_shell_line(decode.c_str(), line, sizeof line), 0) << line;
}

TEST_F(Capture, JoinedEntriesAreTheStreamFile) {
  const std::vector<uint8_t> bytes = joined();
  std::vector<uint8_t> file = file_bytes(kStream);
  ASSERT_GT(file.size(), bytes.size());
  file.resize(bytes.size());
  EXPECT_TRUE(bytes == file);
}

TEST_F(Capture, RunsAtRealSpeed) {
  EXPECT_NEAR(rate(video), 30.0, 1.5);
  EXPECT_NEAR(rate(audio), 46.875, 2.35);
}

TEST_F(Capture, TimeStampsAdvanceByThe90KilohertzClock) {
  for (size_t i = 1; i < video.size(); i++) {
    ASSERT_EQ(video[i].entry.time_stamp - video[i - 1].entry.time_stamp, 3000u);
  }
  for (size_t i = 1; i < audio.size(); i++) {
    ASSERT_EQ(audio[i].entry.time_stamp - audio[i - 1].entry.time_stamp, 1920u);
  }
}

TEST_F(Capture, EveryThirtiethPictureIsAKeyPicture) {
  ASSERT_GT(video.size(), 60u);
  for (size_t i = 0; i < video.size(); i++)
    ASSERT_EQ(video[i].entry.type, i % 30 == 0 ? 1 : 2) << i;
}

TEST_F(Capture, KeyPicturesBeginWithTheirParameterSets) {
  const std::vector<uint8_t>& key = video[30].bytes;
  ASSERT_GT(key.size(), 5u);
  const std::vector<uint8_t> start(key.begin(), key.begin() + 4);
  EXPECT_EQ(start, (std::vector<uint8_t>{0, 0, 0, 1}));
  EXPECT_EQ(key[4] & 0x1F, 7);
}

TEST_F(Capture, BothRingsWrapInTheMiddleOfAnEntry) {
  const auto wraps = [](const std::vector<Seen>& entries) {
    return std::count_if(entries.begin(), entries.end(), [](const Seen& e) { return e.wrapped; });
  };
  EXPECT_GE(wraps(video), 1);
  EXPECT_GE(wraps(audio), 1);
}

TEST_F(Capture, SoundIsATone480HertzWithoutAGap) {
  std::vector<int16_t> samples;
  for (const Seen& one : audio) {
    EXPECT_EQ(one.entry.type, 8);
    ASSERT_EQ(one.bytes.size(), 2048u);
    for (size_t i = 0; i < one.bytes.size(); i += 2) {
      samples.push_back(static_cast<int16_t>(one.bytes[i] | (one.bytes[i + 1] << 8)));
    }
  }
  ASSERT_GT(samples.size(), 100'000u);
  EXPECT_EQ(samples[0], 0);
  EXPECT_EQ(samples[25], 8000);
  EXPECT_EQ(samples[75], -8000);
  for (size_t i = 100; i < samples.size(); i++) ASSERT_EQ(samples[i], samples[i - 100]) << i;
}

TEST_F(Capture, RecordsDescribeTheSecondStreamWithTwoTracks) {
  EXPECT_EQ(list.count, 2u);
  EXPECT_EQ(list.entries[0].active, 0u);
  EXPECT_NE(list.entries[1].active, 0u);
  EXPECT_EQ(info.track_count, 2);
  EXPECT_EQ(info.tracks[0].kind, 1);
  EXPECT_EQ(info.tracks[1].kind, 2);
  EXPECT_EQ(info.tracks[0].time_scale, 90000u);
  EXPECT_EQ(info.tracks[1].time_scale, 90000u);
  EXPECT_EQ(info.tracks[1].sample_rate, 48000);
  EXPECT_EQ(info.tracks[1].audio_byte, 1);
  EXPECT_EQ(info.tracks[0].ring_end - info.tracks[0].ring_start, 1048576u);
  EXPECT_EQ(info.tracks[1].ring_end - info.tracks[1].ring_start, 261144u);
}

TEST(Stream, LoopsForEver) {
  FifoReader reader("rate 600\n");
  ASSERT_TRUE(reader.open());
  const std::vector<uint8_t> first = reader.next(true).bytes;
  size_t looked_at = reader.seen.size();
  // The file has 360 pictures, the first of them once. A reader that is held up for long misses some.
  EXPECT_TRUE(reader.pump(
      [&] {
        for (; looked_at < reader.seen.size(); looked_at++) {
          const Seen& one = reader.seen[looked_at];
          if (one.video && one.bytes == first) return one.entry.type == 1;
        }
        return false;
      },
      60000));
  EXPECT_GT(reader.of(true).size(), 30U);
}

TEST(Stream, UnreadEntriesStayAsTheyAreAndTheRestBeginsWithAKeyPicture) {
  FifoReader reader("rate 300\n");
  ASSERT_TRUE(reader.open());
  reader.keep = true;
  reader.pump([&] { return reader.log_text().find("dropped video") != std::string::npos; });
  reader.pump_for(300);
  reader.keep = false;
  reader.pump_for(300);
  const std::vector<Seen> video = reader.of(true);
  size_t gap = 0;
  for (size_t i = 1; i < video.size(); i++) {
    if (video[i].entry.time_stamp - video[i - 1].entry.time_stamp <= 300) continue;
    EXPECT_EQ(gap, 0u) << "one gap only";
    gap = i;
  }
  ASSERT_GT(gap, 30u);
  EXPECT_EQ(video[gap].entry.type, 1);
  std::vector<uint8_t> kept;
  for (size_t i = 0; i < gap; i++) {
    kept.insert(kept.end(), video[i].bytes.begin(), video[i].bytes.end());
  }
  EXPECT_LE(kept.size(), 1048576u);
  std::vector<uint8_t> file = file_bytes(kStream);
  file.resize(kept.size());
  EXPECT_TRUE(kept == file);
}

TEST(Stream, AnotherFileMayBePlayed) {
  const std::string path = LIB_DIR "/ambanetfifo/live8m.h264";
  FifoReader reader("rate 300\n", path);
  ASSERT_TRUE(reader.open());
  reader.next(true, 240);
  std::vector<uint8_t> bytes;
  for (const Seen& one : reader.of(true))
    bytes.insert(bytes.end(), one.bytes.begin(), one.bytes.end());
  std::vector<uint8_t> file = file_bytes(path);
  ASSERT_GE(bytes.size(), file.size());
  bytes.resize(file.size());
  EXPECT_TRUE(bytes == file);
  // 8 Mbit/s for 8 s, within 20 %.
  EXPECT_GT(file.size(), 6'400'000u);
  EXPECT_LT(file.size(), 9'600'000u);
}

TEST(Stream, AMissingOrForeignFileFailsInit) {
  {
    FifoReader reader({}, "/nonexistent/stream");
    EXPECT_LT(reader.begin(), 0);
    EXPECT_EQ(reader.instance, -1);
  }
  FifoReader reader({}, SOURCE_DIR "/CMakeLists.txt");
  EXPECT_LT(reader.begin(), 0);
}

TEST(Stream, TwoReadersOfOneTrackGetTheSameEntries) {
  FifoReader reader("rate 200\n");
  ASSERT_TRUE(reader.open());
  platform::FifoConfiguration configuration = {};
  ASSERT_EQ(platform::AmbaNetFifo_GetDefaultCFG(&configuration), 0);
  configuration.source = reader.info.tracks[0].source;
  configuration.setting12 = 1;
  configuration.instance = static_cast<uint32_t>(reader.instance);
  void* second = platform::AmbaNetFifo_Create(&configuration);
  ASSERT_NE(second, nullptr);
  reader.next(true, 40);
  platform::FifoRequest request = {second, 0};
  platform::FifoEntry entry = {};
  ASSERT_EQ(platform::AmbaNetFifo_PeekEntry(&request, &entry), 0);
  EXPECT_EQ(entry.type, 1);
  const std::vector<Seen> video = reader.of(true);
  const bool found = std::any_of(video.begin(), video.end(), [&](const Seen& one) {
    return one.entry.address == entry.address && one.entry.time_stamp == entry.time_stamp;
  });
  EXPECT_TRUE(found);
  EXPECT_EQ(platform::AmbaNetFifo_Delete(second), 0);
}

TEST(Stream, CostsLittleProcessorTime) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  reader.pump_for(200);
  reader.keep = true;
  rusage before = {};
  rusage after = {};
  getrusage(RUSAGE_SELF, &before);
  base::sleep_ms(1500);
  getrusage(RUSAGE_SELF, &after);
  const auto us = [](const rusage& usage) {
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000 + usage.ru_utime.tv_usec +
           usage.ru_stime.tv_usec;
  };
  // 5 % of 1.5 s, with room for sanitizers; a release build needs a tenth of it.
  EXPECT_LT(us(after) - us(before), 75'000);
}

TEST(Stream, BringsNoFfmpegIntoTheProcess) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  const std::vector<uint8_t> bytes = file_bytes("/proc/self/maps");
  const std::string maps(bytes.begin(), bytes.end());
  EXPECT_NE(maps.find("libambanetfifo"), std::string::npos);
  EXPECT_EQ(maps.find("libav"), std::string::npos);
  EXPECT_EQ(maps.find("live.h264"), std::string::npos);
}

}  // namespace
}  // namespace fifo_test
