#include "groundstation/media/playback.h"

#include <algorithm>
#include <array>

#include "groundstation/live/access_units.h"
#include "groundstation/media/messages.h"

namespace groundstation {
namespace {

constexpr std::array<uint8_t, 5> kShiftedFrame{3, 0, 0, 0, 1};
constexpr size_t kStartCodeSize = 4;

bool begins_with(std::span<const uint8_t> bytes, std::span<const uint8_t> wanted) {
  return bytes.size() > wanted.size() && std::equal(wanted.begin(), wanted.end(), bytes.begin());
}

}  // namespace

bool PlaybackStream::write(std::span<const uint8_t> bytes) {
  figures_.bytes_written += bytes.size();
  return writer_(bytes);
}

void PlaybackStream::begin(std::span<const uint8_t> frame) {
  close();
  const uint8_t type = frame[kStartCodeSize] & 31;
  if (type == kUnitSps || type == kUnitPps) {
    figures_.parameter_sets++;
  } else {
    figures_.pictures++;
  }
}

void PlaybackStream::close() {
  if (open_) missing_.push_back({figures_.pictures, figures_.bytes_written});
  open_ = false;
}

bool PlaybackStream::feed(std::span<const uint8_t> bytes) {
  figures_.datagrams++;
  const std::span<const uint8_t> shifted(kShiftedFrame);
  if (begins_with(bytes, shifted.subspan(1))) {
    begin(bytes);
    return write(bytes);
  }
  if (begins_with(bytes, shifted)) {
    begin(bytes.subspan(1));
    open_ = true;
    return write(bytes.subspan(1));
  }
  if (!open_) {
    figures_.stray++;
    return true;
  }
  const bool written = write(bytes);
  if (bytes.size() < kMediaChunk) close();
  return written;
}

void PlaybackStream::finish() { close(); }

}  // namespace groundstation
