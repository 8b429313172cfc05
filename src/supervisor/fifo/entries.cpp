#include "supervisor/fifo/entries.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "media/frames/frame_list.h"
#include "platform/amba_net_fifo.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

using namespace platform;
using base::kRelaxed;

constexpr size_t kVideoCopySize = 524288;
constexpr uint32_t kAudioCopySize = 131072;
constexpr uint8_t kTypeEndMark = 255;
constexpr uint32_t kSizeEndMark = 0xFFFFFF;
constexpr uint8_t kTypeAudio = 8;

uint8_t* video_copy = nullptr;
uint8_t* audio_copy = nullptr;

// What one pass needs of a track, read under its lock.
struct TrackView {
  void* fifo;
  uint64_t base;
  uint64_t limit;
  int32_t pending;
};

TrackView view(LiveTrack& track) {
  const base::Lock lock(track.lock);
  return {track.fifo, track.base, track.limit, track.pending};
}

bool end_mark(const FifoEntry& entry) {
  return entry.type == kTypeEndMark || entry.size == kSizeEndMark;
}

int32_t peek(const TrackView& track, FifoEntry& entry) {
  FifoRequest request{track.fifo, 0};
  return AmbaNetFifo_PeekEntry(&request, &entry);
}

// Drops the entry that was peeked, and the reader with it on the end mark.
void take(LiveTrack& track, const TrackView& seen, bool ended) {
  FifoRequest request{seen.fifo, 1};
  AmbaNetFifo_RemoveEnrty(&request);
  {
    const base::Lock lock(track.lock);
    if (track.pending > 0) track.pending--;
  }
  if (ended) track_close(track);
}

// An entry's payload in its ring: one piece, or two when it passes the ring's end. No pieces when
// it does not lie in the ring.
struct Pieces {
  const uint8_t* first;
  size_t first_size;
  const uint8_t* second;
  size_t second_size;
};

Pieces pieces_of(const FifoEntry& entry, const TrackView& track) {
  const bool inside = track.base < track.limit && entry.address >= track.base &&
                      entry.address < track.limit && entry.size <= track.limit - track.base;
  if (!inside) return {};
  const uint64_t to_limit = track.limit - entry.address;
  // The library tells addresses as integers.
  const auto* first = reinterpret_cast<const uint8_t*>(entry.address);  // NOLINT
  const auto* base = reinterpret_cast<const uint8_t*>(track.base);      // NOLINT
  if (entry.size <= to_limit) return {first, entry.size, nullptr, 0};
  return {first, to_limit, base, entry.size - to_limit};
}

void push_video(const FifoEntry& entry, const TrackView& track) {
  const Pieces pieces = pieces_of(entry, track);
  if (pieces.first == nullptr) return;
  media::live_frame_push(pieces.first, static_cast<int32_t>(pieces.first_size));
  if (pieces.second != nullptr) {
    media::live_frame_push(pieces.second, static_cast<int32_t>(pieces.second_size));
  }
  set_video_flowing(1);
}

void copy_audio(const FifoEntry& entry, const TrackView& track) {
  if (entry.size > kAudioCopySize) {
    std::fprintf(stderr, "Audio Frame too large!(%u/%u) Skip retrieve operation!\n", entry.size,
                 kAudioCopySize);
    return;
  }
  const Pieces pieces = pieces_of(entry, track);
  if (pieces.first == nullptr) return;
  std::memcpy(audio_copy, pieces.first, pieces.first_size);
  // The second part overwrites the first, as it always has: nothing reads the audio copy.
  if (pieces.second != nullptr) std::memcpy(audio_copy, pieces.second, pieces.second_size);
}

void tell_audio_time(uint32_t frames, uint64_t time_stamp) {
  const double vector = live_fifo.audio_info.vector.load(kRelaxed);
  uint64_t samples = time_stamp;
  if (vector == 0) {
    std::fprintf(stderr, "vector is %g. please check the mediainfo!(audio)\n", vector);
  } else {
    samples = base::saturate<uint64_t>(static_cast<double>(time_stamp) * vector);
  }
  std::printf("%s: got %u audio frames. PTS=%llu (%llu@SR)\n", "process_audio_frame", frames,
              static_cast<unsigned long long>(time_stamp),
              static_cast<unsigned long long>(samples));
}

}  // namespace

bool track_open(LiveTrack& track) { return view(track).fifo != nullptr; }

void track_close(LiveTrack& track) {
  const base::Lock lock(track.lock);
  if (track.fifo != nullptr) AmbaNetFifo_Delete(track.fifo);
  track.fifo = nullptr;
  track.pending = 0;
}

bool video_pass() {
  const TrackView track = view(live_fifo.video);
  if (track.pending < 1) {
    if (live_fifo.video_stop.load(kRelaxed) != 0) {
      track_close(live_fifo.video);
      set_video_flowing(0);
    }
    return false;
  }
  FifoEntry entry{};
  if (track.fifo == nullptr || peek(track, entry) != 0) return true;
  const bool ended = end_mark(entry);
  if (!ended) {
    // An entry of another type stays where it is and is seen again by the next pass.
    if (entry.type < 1 || entry.type > 4) return true;
    live_fifo.video_frames.fetch_add(1, kRelaxed);
    if (video_copy != nullptr) push_video(entry, track);
  }
  take(live_fifo.video, track, ended);
  return !ended;
}

bool audio_pass() {
  const TrackView track = view(live_fifo.audio);
  if (track.pending < 1) {
    if (live_fifo.audio_stop.load(kRelaxed) != 0) track_close(live_fifo.audio);
    return false;
  }
  if (track.fifo == nullptr) return true;
  FifoEntry entry{};
  const int32_t result = peek(track, entry);
  if (result != 0) {
    std::printf("%s: Fail to do AmpFifo_PeekEntry.(%d)\n", "process_audio_frame", result);
    return true;
  }
  const bool ended = end_mark(entry);
  if (ended) {
    std::printf("%s: audio size is EOS mark!(%x)\n", "process_audio_frame", entry.size);
  } else if (entry.type != kTypeAudio) {
    std::printf("%s: It is not Audio frame!(%x)\n", "process_audio_frame", entry.type);
    return true;
  } else {
    const uint32_t frames = live_fifo.audio_frames.fetch_add(1, kRelaxed) + 1;
    if ((frames & 0xFF) == 0) tell_audio_time(frames, entry.time_stamp);
    if (audio_copy != nullptr) copy_audio(entry, track);
  }
  take(live_fifo.audio, track, ended);
  return !ended;
}

int live_copies_allocate() {
  live_copies_free();
  video_copy = static_cast<uint8_t*>(std::malloc(kVideoCopySize));
  audio_copy = static_cast<uint8_t*>(std::malloc(kAudioCopySize));
  return video_copy != nullptr && audio_copy != nullptr ? 0 : -1;
}

void live_copies_free() {
  std::free(video_copy);
  video_copy = nullptr;
  std::free(audio_copy);
  audio_copy = nullptr;
}

}  // namespace supervisor
