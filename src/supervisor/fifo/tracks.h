// The records of the live media FIFO reader: one track for video and one for audio.
//
// A track's handle, ring and pending count change only under the track's lock; the two track locks
// are never held together, but each may be taken under the set-up lock. Stop and cycle flags are
// relaxed atomics.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/mutex.h"

namespace supervisor {

// Atomics: a set-up on the event thread writes what the main thread reads.
struct LiveTrackInfo {
  std::atomic<uint32_t> word0;
  std::atomic<uint32_t> time_scale;  // ticks per second of the time stamps
  std::atomic<uint32_t> word2;
  std::atomic<uint32_t> word3;       // video
  std::atomic<int32_t> sample_rate;  // audio
  std::atomic<uint32_t> audio_byte;  // audio
  std::atomic<double> vector;        // video: to a 90 kHz clock; audio: to samples

  void reset();
};

struct LiveTrack {
  void* fifo GUARDED_BY(lock);  // reader handle, null when closed
  uint64_t base GUARDED_BY(lock);
  uint64_t limit GUARDED_BY(lock);  // the ring of frame data is [base, limit)
  LiveTrackInfo* info GUARDED_BY(lock);
  int32_t pending GUARDED_BY(lock);  // entries announced and not yet taken
  base::Mutex lock;

  // Without a reader, which is not deleted.
  void reset(LiveTrackInfo* own_info);
};

struct LiveFifoState {
  LiveTrack video;
  LiveTrack audio;
  LiveTrackInfo video_info;
  LiveTrackInfo audio_info;
  std::atomic<uint8_t> cycle_open;  // a reader has been created in this cycle
  std::atomic<uint8_t> video_stop;
  std::atomic<uint8_t> audio_stop;
  std::atomic<uint8_t> final_event_seen;
  std::atomic<uint32_t> video_frames;
  std::atomic<uint32_t> audio_frames;
  std::atomic<void*> stray_fifo;  // announced entries without belonging to a track
  std::atomic<uint32_t> stray_count;
  // Held for a whole set-up, for a stop (which has to find every reader of a set-up under way) and
  // for the decision that the cycle has ended. Never held while the event processing is being
  // stopped: a callback may be waiting for it.
  base::Mutex setup_lock;
  bool cycle_ended GUARDED_BY(setup_lock);  // this cycle's readers are gone and it gets no others

  // The start of a cycle: no reader, nothing announced, nothing counted. Any thread, the locks being
  // free; readers are not deleted.
  void reset();
  // Its stop and cycle flags alone.
  void reset_flags();
};

extern LiveFifoState live_fifo;

}  // namespace supervisor
