#include "groundstation/live/recorder.h"

#include <algorithm>
#include <utility>

namespace groundstation {

LiveRecorder::LiveRecorder(Writer writer)
    : writer_(std::move(writer)),
      splitter_([this](const NalUnit& unit) {
        counter_.feed(unit);
        builder_.feed(unit);
        keep_parameters(unit);
      }),
      builder_([this](AccessUnit& unit) { picture(unit); }) {}

void LiveRecorder::feed(uint64_t at_us, std::span<const uint8_t> bytes) {
  if (figures_.datagrams > 0) {
    const uint64_t pause = at_us - last_us_;
    figures_.longest_pause_us = std::max(figures_.longest_pause_us, pause);
    if (pause > kStallUs) figures_.stalls++;
  }
  last_us_ = at_us;
  figures_.datagrams++;
  figures_.bytes += bytes.size();
  splitter_.feed(bytes);
}

void LiveRecorder::flush() {
  splitter_.flush();
  builder_.flush();
}

LiveFigures LiveRecorder::figures() const {
  LiveFigures figures = figures_;
  figures.pictures = counter_.pictures();
  figures.gaps = counter_.gaps();
  figures.missing = counter_.missing();
  return figures;
}

bool LiveRecorder::stalled_at(uint64_t now_us) const {
  return figures_.datagrams > 0 && now_us > last_us_ + kStallUs;
}

LiveFigures LiveRecorder::figures_at(uint64_t now_us) const {
  LiveFigures at = figures();
  if (!stalled_at(now_us)) return at;
  at.stalls++;
  at.longest_pause_us = std::max(at.longest_pause_us, now_us - last_us_);
  return at;
}

void LiveRecorder::keep_parameters(const NalUnit& unit) {
  if (started_) return;
  if (unit.type() == kUnitSps) sps_.assign(unit.bytes.begin(), unit.bytes.end());
  if (unit.type() == kUnitPps) pps_.assign(unit.bytes.begin(), unit.bytes.end());
}

void LiveRecorder::picture(AccessUnit& unit) {
  if (!started_) {
    if (!unit.is_key || !unit.is_whole) return;
    if ((!unit.has_sps && sps_.empty()) || (!unit.has_pps && pps_.empty())) return;
    started_ = true;
    started_us_ = last_us_;
    if (!unit.has_sps) write(sps_, true);
    if (!unit.has_pps) write(pps_, true);
  }
  write(unit.bytes, unit.is_key);
  pictures_written_++;
}

void LiveRecorder::write(std::span<const uint8_t> bytes, bool key) {
  if (failed_) return;
  if (writer_(bytes, key)) {
    figures_.bytes_written += bytes.size();
  } else {
    failed_ = true;
  }
}

}  // namespace groundstation
