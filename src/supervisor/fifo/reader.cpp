#include "supervisor/fifo/reader.h"

#include "base/clock.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/thread.h"
#include "platform/amba_net_fifo.h"
#include "supervisor/fifo/entries.h"
#include "supervisor/state/switches.h"
#include "supervisor/state/turns.h"

namespace supervisor {

namespace {

using namespace platform;
using base::kRelaxed;

enum ReportedStatus : int32_t { kStatusReading = 1, kStatusStopped = 2, kStatusFinal = 3 };
enum ControlEvent : int32_t {
  kControlStart = 1,
  kControlStop = 2,
  kControlFinal = 3,
  kControlStop6 = 6
};
enum TrackKind : uint8_t { kTrackVideo = 1, kTrackAudio = 2 };

constexpr uint32_t kDefaultAudioTimeScale = 90000;

int32_t fifo_instance = -1;

// Default scheduling; the library's own loop, which calls both callbacks. Nobody joins it.
void* event_thread(void*) {
  base::detach_self();
  return AmbaNetFifo_ExecEventProcess(nullptr);
}

void show_reading() {
  switches.indicator_blink.store(0, kRelaxed);
  switches.indicator_level.store(1, kRelaxed);
}

void fill_info(LiveTrackInfo& info, const FifoTrackRecord& record) {
  info.word0 = record.word0;
  info.time_scale = record.time_scale;
  info.word2 = record.word2;
  if (record.kind == kTrackVideo) {
    info.word3 = record.word3;
    info.vector.store(90000.0 / info.time_scale, kRelaxed);
    return;
  }
  info.sample_rate = record.sample_rate;
  info.audio_byte = record.audio_byte;
  if (info.time_scale == 0) info.time_scale = kDefaultAudioTimeScale;
  info.vector.store(static_cast<double>(info.sample_rate) / info.time_scale, kRelaxed);
}

int32_t attach_track(const FifoTrackRecord& record, FifoConfiguration& configuration) {
  if (record.kind != kTrackVideo && record.kind != kTrackAudio) return 0;
  LiveTrack& track = record.kind == kTrackVideo ? live_fifo.video : live_fifo.audio;
  if (track_open(track)) return 0;  // a second reader would hold the ring and nobody would drain it
  fill_info(record.kind == kTrackVideo ? live_fifo.video_info : live_fifo.audio_info, record);
  if (record.source == 0) return 0;
  configuration.source = record.source;
  configuration.setting8 = 256;
  configuration.setting12 = 1;
  configuration.instance = static_cast<uint32_t>(fifo_instance);
  void* fifo = AmbaNetFifo_Create(&configuration);
  if (fifo == nullptr) return -1;
  {
    const base::Lock lock(track.lock);
    track.fifo = fifo;
    track.base = record.ring_start;
    track.limit = record.ring_end;
  }
  live_fifo.cycle_open.store(1, kRelaxed);
  return 0;
}

// Index of the first active stream; -1 when none is, -2 when the list is empty.
int32_t active_stream() {
  FifoStreamList list{};
  if (AmbaNetFifo_GetMediaStreamIDList(&list) < 0) return -1;
  if (static_cast<int32_t>(list.count) < 1) return -2;
  for (int32_t i = 0; i < kFifoStreams && static_cast<uint32_t>(i) < list.count; i++) {
    if (list.entries[i].active != 0) return i;
  }
  return -1;
}

bool count_for(LiveTrack& track, const void* fifo) {
  const base::Lock lock(track.lock);
  if (track.fifo == nullptr || track.fifo != fifo) return false;
  track.pending++;
  return true;
}

void count_stray(void* fifo) {
  if (live_fifo.stray_fifo.load(kRelaxed) == fifo) {
    live_fifo.stray_count.fetch_add(1, kRelaxed);
  } else {
    live_fifo.stray_fifo.store(fifo, kRelaxed);
    live_fifo.stray_count.store(0, kRelaxed);
  }
}

bool readers_open() { return track_open(live_fifo.video) || track_open(live_fifo.audio); }

// A cycle that had readers and has none ends here, for both threads.
bool cycle_ended() REQUIRES(live_fifo.setup_lock) {
  if (live_fifo.cycle_open.load(kRelaxed) != 0 && !readers_open()) live_fifo.cycle_ended = true;
  return live_fifo.cycle_ended;
}

int32_t control_start() {
  const base::Lock held(live_fifo.setup_lock);
  if (readers_open() || cycle_ended()) return 0;
  if (live_stream_setup() != 0) return -1;
  show_reading();
  return 0;
}

int32_t control_stop() {
  const base::Lock held(live_fifo.setup_lock);
  if (track_open(live_fifo.video)) {
    AmbaNetFifo_ReportStatus(kStatusStopped);
    live_fifo.video_stop.store(1, kRelaxed);
  }
  if (track_open(live_fifo.audio)) live_fifo.audio_stop.store(1, kRelaxed);
  return 0;
}

}  // namespace

int live_fifo_begin_cycle() {
  while (AmbaNetFifo_init(&fifo_instance) < 0 || fifo_instance < 0) {
    turned_and_tell();
    base::sleep_ms(10);
  }
  live_fifo.reset();
  if (live_copies_allocate() != 0) return -1;
  AmbaNetFifo_Reg_cbFifoEvent(live_fifo_event, 0);
  AmbaNetFifo_Reg_cbControlEvent(live_control_event, 0);
  if (base::start_thread(event_thread, nullptr) != 0) {
    base::sleep_ms(10);
    return -1;
  }
  return 0;
}

void live_fifo_attach() {
  // Over the pause of a failed set-up as well: its blinking cannot follow a start's steady light.
  const base::Lock held(live_fifo.setup_lock);
  if (readers_open()) return;
  if (live_stream_setup() == 0) {
    show_reading();
    return;
  }
  AmbaNetFifo_ReportStatus(kStatusStopped);
  base::sleep_ms(1);
  switches.indicator_blink.store(1, kRelaxed);  // the level stays as it was
}

int live_fifo_pass() {
  turned_and_tell();
  bool worked = video_pass();
  worked = audio_pass() || worked;
  if (live_fifo.cycle_open.load(kRelaxed) != 0 && !readers_open()) {
    // Looked at again when a set-up that may be under way is over.
    const base::Lock held(live_fifo.setup_lock);
    if (cycle_ended()) return 0;
  }
  if (!worked) base::sleep_ms(10);
  return 1;
}

void live_fifo_end_cycle() {
  const bool final_event = live_fifo.final_event_seen.load(kRelaxed) != 0;
  AmbaNetFifo_ReportStatus(final_event ? kStatusFinal : kStatusStopped);
  live_fifo.reset_flags();
  while (AmbaNetFifo_StopEventProcess() != 0) {
    turned_and_tell();
    base::sleep_ms(50);
  }
  track_close(live_fifo.video);
}

void live_fifo_run() {
  turn_as(kFifoReader);
  for (;;) {
    if (live_fifo_begin_cycle() != 0) continue;
    live_fifo_attach();
    while (live_fifo_pass() == 1) {
    }
    live_fifo_end_cycle();
  }
}

int32_t live_stream_setup() {
  const int32_t stream = active_stream();
  if (stream < 0) return stream;
  FifoMediaInfo media{};
  if (AmbaNetFifo_GetMediaInfo(stream, &media) < 0) return -1;
  FifoConfiguration configuration{};
  if (AmbaNetFifo_GetDefaultCFG(&configuration) < 0) return -1;
  if (media.track_count != 0) {
    for (int i = 0; i < media.track_count && i < kFifoTracks; i++) {
      if (attach_track(media.tracks[i], configuration) != 0) return -1;
    }
    live_fifo.video_frames.store(0, kRelaxed);
    live_fifo.audio_frames.store(0, kRelaxed);
  }
  if (live_fifo.cycle_open.load(kRelaxed) != 0) AmbaNetFifo_ReportStatus(kStatusReading);
  return 0;
}

int32_t live_fifo_event(void* fifo, uint32_t event) {
  if (event == kFifoEntryAdded) {
    if (!count_for(live_fifo.video, fifo) && !count_for(live_fifo.audio, fifo)) count_stray(fifo);
  } else if (event == kFifoEndOfStream) {
    live_fifo.video_stop.store(1, kRelaxed);
    live_fifo.audio_stop.store(1, kRelaxed);
  }
  return 0;
}

int32_t live_control_event(int32_t event, void*) {
  switch (event) {
    case kControlStart:
      return control_start();
    case kControlFinal:
      live_fifo.final_event_seen.store(1, kRelaxed);
      return control_stop();
    case kControlStop:
    case kControlStop6:
      return control_stop();
    default:
      return 0;
  }
}

void live_fifo_cleanup() {
  AmbaNetFifo_release();
  live_copies_free();
}

}  // namespace supervisor
