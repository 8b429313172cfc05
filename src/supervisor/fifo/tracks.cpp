#include "supervisor/fifo/tracks.h"

#include "base/relaxed.h"

namespace supervisor {

using base::kRelaxed;

LiveFifoState live_fifo{};

void LiveTrackInfo::reset() {
  for (auto* word : {&word0, &time_scale, &word2, &word3, &audio_byte}) word->store(0, kRelaxed);
  sample_rate.store(0, kRelaxed);
  vector.store(0, kRelaxed);
}

void LiveTrack::reset(LiveTrackInfo* own_info) {
  const base::Lock held(lock);
  fifo = nullptr;
  base = 0;
  limit = 0;
  info = own_info;
  pending = 0;
}

void LiveFifoState::reset_flags() {
  for (auto* flag : {&cycle_open, &video_stop, &audio_stop, &final_event_seen}) {
    flag->store(0, kRelaxed);
  }
}

void LiveFifoState::reset() {
  video.reset(&video_info);
  audio.reset(&audio_info);
  video_info.reset();
  audio_info.reset();
  reset_flags();
  {
    const base::Lock held(setup_lock);
    cycle_ended = false;
  }
  video_frames.store(0, kRelaxed);
  audio_frames.store(0, kRelaxed);
  stray_fifo.store(nullptr, kRelaxed);
  stray_count.store(0, kRelaxed);
}

}  // namespace supervisor
