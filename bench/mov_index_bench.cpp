// Opening a 4 GB recording and seeking in it: our index against libavformat on the same file.
// Processor time, and the memory that is held once it is open. libavformat only notes where to read
// next when it seeks; we move the file there.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>

#include "media/movie/header.h"
#include "media/movie/index.h"
#include "media/movie/mov_boxes.h"
#include "media/movie/seek.h"
#include "report.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

using media_test::be32;
using media_test::box;
using media_test::Bytes;
using media_test::full_box;
using media_test::text_bytes;

constexpr uint32_t kFps = 30;
constexpr uint32_t kSamples = 16800;  // 60 Mbit/s
constexpr uint32_t kKeyDistance = 15;
constexpr uint32_t kSamplesPerChunk = 15;
constexpr uint32_t kSeconds = kSamples / kFps;
constexpr int kRounds = 200;

// The atoms that libavformat wants and we skip.
Bytes movie_header() {
  Bytes payload = be32({0, 0, 0, 1000, kSeconds * 1000, 0x10000});
  payload.resize(100);
  return box("mvhd", payload);
}

Bytes video_handler() {
  return full_box("hdlr", be32({0}) + text_bytes("vide") + be32({0, 0, 0}) + Bytes{0});
}

Bytes moov(uint64_t* mdat_payload) {
  std::minstd_rand random(1);
  std::vector<uint32_t> sizes;
  std::vector<uint32_t> chunks;
  std::vector<uint32_t> keys;
  uint64_t at = 32;  // behind `ftyp` and the header of `mdat`
  for (uint32_t i = 0; i < kSamples; i++) {
    if (i % kSamplesPerChunk == 0) chunks.push_back(static_cast<uint32_t>(at));
    const bool key = i % kKeyDistance == 0;
    if (key) keys.push_back(i + 1);
    sizes.push_back((key ? 900000U : 190000U) + static_cast<uint32_t>(random() % 20000));
    at += sizes.back();
  }
  *mdat_payload = at - 32;
  const auto count = [](const std::vector<uint32_t>& of) {
    return static_cast<uint32_t>(of.size());
  };
  const Bytes description = media_test::avc_description({0x67, 100, 0, 41}, {0x68, 1});
  const Bytes stbl = box("stbl", full_box("stsd", be32({1}) + description) +
                                     media_test::table("stts", 1, {kSamples, 1000}) +
                                     media_test::table("stsc", 1, {1, kSamplesPerChunk, 1}) +
                                     media_test::table("stco", count(chunks), chunks) +
                                     media_test::table("stss", count(keys), keys) +
                                     full_box("stsz", be32({0, count(sizes)}) + be32(sizes)));
  const Bytes media = media_test::mdhd(kFps * 1000) + video_handler() + box("minf", stbl);
  return box("moov", movie_header() + box("trak", media_test::tkhd(1, 1280 << 16, 720 << 16) +
                                                      box("mdia", media)));
}

// `ftyp`, `mdat` as a hole, `moov`. Returns the size of `moov`.
size_t make_file(const std::string& path) {
  uint64_t payload = 0;
  const Bytes tables = moov(&payload);
  const Bytes start = box("ftyp", text_bytes("isom") + be32({512})) + be32({1}) +
                      text_bytes("mdat") +
                      be32({static_cast<uint32_t>((payload + 16) >> 32),
                            static_cast<uint32_t>((payload + 16) & 0xFFFFFFFF)});
  const base::File file(std::fopen(path.c_str(), "wb"));
  if (file == nullptr || std::fwrite(start.data(), 1, start.size(), file.get()) != start.size() ||
      fseeko(file.get(), static_cast<off_t>(start.size() + payload), SEEK_SET) != 0 ||
      std::fwrite(tables.data(), 1, tables.size(), file.get()) != tables.size()) {
    std::perror(path.c_str());
    std::exit(1);
  }
  return tables.size();
}

uint64_t thread_time_ns() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

size_t heap_bytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

struct Cost {
  double open_us = 1e12;
  double seek_us = 1e12;
  size_t memory = 0;
  int64_t offset = 0;  // of the key frame that was found, to see that both found the same one
};

// The best of some rounds. `open` and `seek` work on `state`, `close` ends it.
template <typename State>
Cost measure(uint32_t second) {
  Cost cost;
  for (int round = 0; round < kRounds; round++) {
    const size_t before = heap_bytes();
    const uint64_t began = thread_time_ns();
    State state;
    const uint64_t opened = thread_time_ns();
    cost.memory = heap_bytes() - before;
    const uint64_t seeks = thread_time_ns();
    cost.offset = state.seek(second);
    const uint64_t sought = thread_time_ns();
    cost.open_us = std::min(cost.open_us, static_cast<double>(opened - began) / 1e3);
    cost.seek_us = std::min(cost.seek_us, static_cast<double>(sought - seeks) / 1e3);
  }
  return cost;
}

std::string path;

class Ours {
 public:
  Ours() : file_(std::fopen(path.c_str(), "rb")) {
    media::MovIndex* made = nullptr;
    if (file_ == nullptr || media::mov_get_header_atom(file_.get(), &header_) != 0 ||
        media::mov_index_new(&made) != 0) {
      std::exit(1);
    }
    index_.reset(made);
    media::mov_walk_atoms(header_.moov_data, header_.moov_size, media::mov_atom_handler, made);
  }
  ~Ours() { media::mov_header_free(&header_); }
  Ours(const Ours&) = delete;
  Ours& operator=(const Ours&) = delete;

  int64_t seek(uint32_t second) {
    const uint32_t sample = media::mov_time_to_keyframe(second * 1000, index_.get());
    const uint64_t offset = media::mov_sample_offset(sample - 1, index_.get());
    fseeko(file_.get(), static_cast<off_t>(offset), SEEK_SET);
    return static_cast<int64_t>(offset);
  }

 private:
  base::File file_;
  media::MovHeader header_{};
  media::MovIndexOwner index_;
};

// Without looking for stream information, which would read and decode frames.
class Reference {
 public:
  Reference() {
    if (avformat_open_input(&input_, path.c_str(), nullptr, nullptr) != 0) std::exit(1);
  }
  ~Reference() { avformat_close_input(&input_); }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;

  int64_t seek(uint32_t second) {
    const int64_t time = int64_t{second} * kFps * 1000;
    if (av_seek_frame(input_, 0, time, AVSEEK_FLAG_BACKWARD) < 0) std::exit(1);
    const AVIndexEntry* entry =
        avformat_index_get_entry_from_timestamp(input_->streams[0], time, AVSEEK_FLAG_BACKWARD);
    return entry != nullptr ? entry->pos : -1;
  }

 private:
  AVFormatContext* input_ = nullptr;
};

}  // namespace

int main() {
  path = "/tmp/mov_index_bench." + std::to_string(getpid()) + ".mp4";
  const size_t moov_size = make_file(path);
  // Our progress lines are formatted and written, but not shown.
  std::FILE* shown = fdopen(dup(STDOUT_FILENO), "w");
  if (shown == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  av_log_set_level(AV_LOG_QUIET);
  // A key frame's second: its sample is right before that of the key frame as we count and the same
  // one as libavformat does, so both have to arrive there.
  const uint32_t second = kSeconds * 3 / 4;
  const Cost ours = measure<Ours>(second);
  const Cost reference = measure<Reference>(second);
  std::filesystem::remove(path);
  bench::show({.name = "MP4 of 4 GB, opening and seeking",
               .unit = "us",
               .ours = ours.open_us + ours.seek_us,
               .reference_name = "libavformat",
               .reference = reference.open_us + reference.seek_us,
               .goal = bench::at_most(0.5),
               .note = "of them seeking " + bench::readable(ours.seek_us) + " and " +
                       bench::readable(reference.seek_us)},
              shown);
  bench::show({.name = "MP4 of 4 GB, memory held",
               .unit = "KB",
               .ours = static_cast<double>(ours.memory) / 1e3,
               .reference_name = "libavformat",
               .reference = static_cast<double>(reference.memory) / 1e3,
               .note = "moov has " + bench::readable(static_cast<double>(moov_size) / 1e3)},
              shown);
  const bool agree = ours.offset == reference.offset;
  if (!agree) std::fputs("ours and libavformat have found different key frames\n", shown);
  std::fclose(shown);
  return agree ? 0 : 1;
}
