// Any bytes as live video, and as playback on the media channel: each datagram is a length (two bytes)
// and the bytes.
//
// However the stream is cut, the same pictures are written; what is written begins with a start code
// and comes from the stream, in its order.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/support.h"
#include "groundstation/live/recorder.h"
#include "groundstation/media/playback.h"

namespace {

using namespace groundstation;  // NOLINT
using Bytes = std::vector<uint8_t>;

struct Recording {
  std::vector<Bytes> pieces;
  LiveFigures figures;
};

Recording record(const std::vector<Bytes>& datagrams) {
  Recording recording;
  LiveRecorder recorder([&](std::span<const uint8_t> bytes, bool /*key*/) {
    recording.pieces.emplace_back(bytes.begin(), bytes.end());
    return true;
  });
  uint64_t now_us = 1;
  for (const Bytes& datagram : datagrams) recorder.feed(now_us += 1000, datagram);
  recorder.flush();
  recording.figures = recorder.figures();
  return recording;
}

bool starts_a_unit(const Bytes& bytes) {
  const std::string_view text = fuzz::text_of(bytes);
  return text.starts_with(std::string_view("\0\0\1", 3)) ||
         text.starts_with(std::string_view("\0\0\0\1", 4));
}

// A unit without contents is left out of what is written.
bool comes_from(const Bytes& stream, const Bytes& piece) {
  size_t found = 0;
  for (size_t i = 0; i < stream.size() && found < piece.size(); i++) {
    if (stream[i] == piece[found]) found++;
  }
  return found == piece.size();
}

void check_recording(const std::vector<Bytes>& datagrams, const Bytes& stream) {
  const Recording cut = record(datagrams);
  const Recording whole = record({stream});
  fuzz::check(cut.pieces == whole.pieces, "the cut of the datagrams changes what is written");
  fuzz::check(cut.figures.pictures == whole.figures.pictures &&
                  cut.figures.missing == whole.figures.missing,
              "or what is counted");
  size_t written = 0;
  for (const Bytes& piece : cut.pieces) {
    fuzz::check(starts_a_unit(piece), "no start code");
    fuzz::check(comes_from(stream, piece), "not from the stream");
    written += piece.size();
  }
  fuzz::check(cut.figures.bytes_written == written, "count of bytes");
}

void check_playback(const std::vector<Bytes>& datagrams, size_t bytes) {
  size_t written = 0;
  PlaybackStream playback([&](std::span<const uint8_t> piece) {
    written += piece.size();
    return true;
  });
  for (const Bytes& datagram : datagrams) fuzz::check(playback.feed(datagram), "it can be written");
  playback.finish();
  fuzz::check(playback.figures().bytes_written == written && written <= bytes, "count of bytes");
  uint64_t before = 0;
  for (const MissingByte& missing : playback.missing()) {
    fuzz::check(missing.at >= before && missing.at <= written, "place of a missing byte");
    before = missing.at;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  fuzz::Input input(bytes, size);
  std::vector<Bytes> datagrams;
  Bytes stream;
  while (!input.empty()) {
    const auto datagram = input.piece(input.word());
    datagrams.emplace_back(datagram.begin(), datagram.end());
    stream.insert(stream.end(), datagram.begin(), datagram.end());
  }
  check_recording(datagrams, stream);
  check_playback(datagrams, stream.size());
  return 0;
}
