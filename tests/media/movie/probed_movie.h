// A recording as playback opens it, and as ffprobe sees it.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "media/movie/header.h"
#include "media/movie/index.h"
#include "media/movie/mov_boxes.h"

namespace media_test {

struct Packet {
  uint64_t size;
  uint64_t position;
  bool key;
};

// The packets of the video track in the order of the file's tables, as ffprobe sees them.
[[nodiscard]] std::vector<Packet> packets_of(const std::string& path);

// A file as playback opens it.
class OpenMov {
 public:
  explicit OpenMov(const std::string& path);
  ~OpenMov() { media::mov_header_free(&header_); }
  OpenMov(const OpenMov&) = delete;
  OpenMov& operator=(const OpenMov&) = delete;

  [[nodiscard]] bool opened() const { return opened_; }
  [[nodiscard]] const std::string& output() const { return output_; }
  [[nodiscard]] const media::MovHeader& header() const { return header_; }
  [[nodiscard]] const media::MovIndex* index() const { return index_.get(); }
  [[nodiscard]] const media::MovTrack& track() const {
    return *media::mov_video_track(index_.get());
  }
  [[nodiscard]] std::FILE* file() const { return file_.get(); }
  // Word `word` of entry `entry` of a table.
  static uint32_t entry(const uint8_t* entries, size_t words_per_entry, size_t entry, size_t word) {
    return media::mov_load_u32(entries + 4 * (words_per_entry * entry + word));
  }
  [[nodiscard]] uint32_t samples_per_chunk(size_t run) const {
    return entry(track().stsc.entries, 3, run, 1);
  }

 private:
  base::File file_;
  media::MovHeader header_{};
  media::MovIndexOwner index_;
  bool opened_ = false;
  std::string output_;
};

// Samples, seeks and frames of the video track are those that ffprobe sees; there are `count`.
void expect_as_ffprobe(const OpenMov& mov, const std::string& path, uint32_t fps, size_t count);

}  // namespace media_test
