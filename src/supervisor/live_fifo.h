// The live media FIFO reader: takes every audio and video entry that the encoder's FIFO library
// announces and hands the video to the live frame list. The main thread runs it for ever.
//
// Three threads meet here: the main thread (the loop), the library's event thread (both callbacks)
// and the process's exit (the clean-up). A track's handle, ring and pending count change only under
// the track's lock; the two locks are never held together. Stop and cycle flags are relaxed
// atomics.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace supervisor {

struct LiveTrackInfo {
  uint32_t word0;
  uint32_t time_scale;  // ticks per second of the time stamps
  uint32_t word2;
  uint32_t word3;              // video
  int32_t sample_rate;         // audio
  uint32_t audio_byte;         // audio
  std::atomic<double> vector;  // video: to a 90 kHz clock; audio: to samples
};

struct LiveTrack {
  void* fifo;  // reader handle, null when closed
  uint64_t base;
  uint64_t limit;  // the ring of frame data is [base, limit)
  LiveTrackInfo* info;
  int32_t pending;  // entries announced and not yet taken
  std::mutex lock;
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
};

extern LiveFifoState live_fifo;

// The reader loop; never returns. Main thread.
[[noreturn]] void live_fifo_run();

// Its parts, for the loop and for tests.
// Initialises the library (retrying every 10 ms), the cycle state and the copy buffers, and starts
// the library's event thread. Returns 0; -1 when the cycle has to begin again.
int live_fifo_begin_cycle();
// The first set-up of a cycle, with the indicator and the status report.
void live_fifo_attach();
// One pass over both tracks. Returns 1 to go on, 0 when the cycle has ended.
int live_fifo_pass();
// Reports the final status and stops the event processing.
void live_fifo_end_cycle();

// Attaches reader FIFOs to the tracks of the first active stream. Returns 0; -1 on failure; -2 when
// the stream list is empty. Readers that were created before a failure stay open.
int32_t live_stream_setup();

// Callbacks of the library's event thread. The first returns 0; the second 0, or -1 when a start
// request fails.
int32_t live_fifo_event(void* fifo, uint32_t event);
int32_t live_control_event(int32_t event, void* argument);

// At exit: releases the library and the copy buffers.
void live_fifo_cleanup();

}  // namespace supervisor
