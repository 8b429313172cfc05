// Playback on the media channel, back to an H.264 byte stream.
//
// The camera sends each frame with its start code. A frame of at most 8181 bytes is one datagram. A
// longer one comes in pieces that start one byte early: a byte 3 stands before the frame's first
// byte, and its last byte is never sent. Start codes do not occur inside a frame, so how a datagram
// begins tells what it is.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace groundstation {

struct PlaybackFigures {
  uint64_t pictures = 0;
  uint64_t parameter_sets = 0;
  uint64_t bytes_written = 0;
  uint64_t datagrams = 0;
  uint64_t stray = 0;  // pieces whose beginning did not arrive; left out
};

// The last byte of a picture that never came: it belongs at `at` in what was written.
struct MissingByte {
  uint64_t picture;  // counted from 1
  uint64_t at;
};

class PlaybackStream {
 public:
  using Writer = std::function<bool(std::span<const uint8_t> bytes)>;

  explicit PlaybackStream(Writer writer) : writer_(std::move(writer)) {}

  // A datagram without its channel byte. False when it cannot be written.
  [[nodiscard]] bool feed(std::span<const uint8_t> bytes);
  // No more comes: a frame that is still open is the last.
  void finish();

  [[nodiscard]] const PlaybackFigures& figures() const { return figures_; }
  [[nodiscard]] const std::vector<MissingByte>& missing() const { return missing_; }

 private:
  void begin(std::span<const uint8_t> frame);
  void close();
  [[nodiscard]] bool write(std::span<const uint8_t> bytes);

  Writer writer_;
  bool open_ = false;  // pieces of a longer frame arrive
  PlaybackFigures figures_;
  std::vector<MissingByte> missing_;
};

}  // namespace groundstation
