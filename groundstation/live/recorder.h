// Live video from datagrams to a playable stream, with the figures that tell how well it arrived.
// Writing starts with the first whole key picture; what is written is whole pictures only, so the
// result decodes without a broken begin or end. One thread per object.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "groundstation/live/access_units.h"
#include "groundstation/live/picture_counter.h"

namespace groundstation {

struct LiveFigures {
  uint64_t datagrams = 0;
  uint64_t bytes = 0;  // received
  uint64_t bytes_written = 0;
  uint64_t pictures = 0;
  uint64_t gaps = 0;     // places where pictures are missing
  uint64_t missing = 0;  // pictures
  uint64_t stalls = 0;   // pauses of more than kStallUs between datagrams
  uint64_t longest_pause_us = 0;
};

inline constexpr uint64_t kStallUs = 500'000;

class LiveRecorder {
 public:
  // Takes whole pictures; `key`: decoding may begin here. False means that they cannot be stored;
  // then nothing more is passed on.
  using Writer = std::function<bool(std::span<const uint8_t> bytes, bool key)>;

  explicit LiveRecorder(Writer writer);
  LiveRecorder(const LiveRecorder&) = delete;
  LiveRecorder& operator=(const LiveRecorder&) = delete;

  // The next datagram and when it arrived (monotonic).
  void feed(uint64_t at_us, std::span<const uint8_t> bytes);
  // Writes the picture that is still being collected: only when the stream has paused behind it.
  void flush();

  [[nodiscard]] bool started() const { return started_; }
  [[nodiscard]] uint64_t started_us() const { return started_us_; }
  [[nodiscard]] uint64_t last_datagram_us() const { return last_us_; }
  // Pictures passed to the writer.
  [[nodiscard]] uint64_t pictures_written() const { return pictures_written_; }
  [[nodiscard]] bool failed() const { return failed_; }
  [[nodiscard]] LiveFigures figures() const;
  // The same at that time (monotonic): a pause that has not ended by then is a stall like others.
  [[nodiscard]] LiveFigures figures_at(uint64_t now_us) const;
  // Whether nothing has come for so long that it is a stall.
  [[nodiscard]] bool stalled_at(uint64_t now_us) const;

 private:
  void picture(AccessUnit& unit);
  void keep_parameters(const NalUnit& unit);
  void write(std::span<const uint8_t> bytes, bool key);

  Writer writer_;
  NalSplitter splitter_;
  AccessUnitBuilder builder_;
  PictureCounter counter_;
  std::vector<uint8_t> sps_;  // the last ones seen, for a key picture that comes without
  std::vector<uint8_t> pps_;
  bool started_ = false;
  bool failed_ = false;
  uint64_t started_us_ = 0;
  uint64_t last_us_ = 0;
  uint64_t pictures_written_ = 0;
  LiveFigures figures_;
};

}  // namespace groundstation
