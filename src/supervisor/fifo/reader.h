// The live media FIFO reader: takes every audio and video entry that the encoder's FIFO library
// announces and hands the video to the live frame list. The main thread runs it for ever.
//
// Three threads meet here: the main thread (the loop), the library's event thread (both callbacks)
// and the process's exit (the clean-up). A track's handle, ring and pending count change only under
// the track's lock; the two track locks are never held together. Stop and cycle flags are relaxed
// atomics. The main thread's set-up, a start event's and the end of the cycle exclude each other by
// the set-up lock: a cycle gets its readers once, and none when it has ended.
#pragma once

#include <cstdint>

#include "supervisor/fifo/tracks.h"

namespace supervisor {

// The reader loop; never returns. Main thread.
[[noreturn]] void live_fifo_run();

// Its parts, for the loop and for tests.
// Initialises the library (retrying every 10 ms), the cycle state and the copy buffers, and starts
// the library's event thread. Returns 0; -1 when the cycle has to begin again.
int live_fifo_begin_cycle();
// The first set-up of a cycle, with the indicator and the status report. Does nothing when a start
// event was faster and a reader exists.
void live_fifo_attach();
// One pass over both tracks. Returns 1 to go on, 0 when the cycle has ended; no start event creates
// a reader from then on.
int live_fifo_pass();
// Reports the final status and stops the event processing.
void live_fifo_end_cycle();

// Attaches reader FIFOs to the tracks of the first active stream. Returns 0; -1 on failure; -2 when
// the stream list is empty. Readers that were created before a failure stay open, and a track that
// has a reader keeps it.
int32_t live_stream_setup() REQUIRES(live_fifo.setup_lock);

// Callbacks of the library's event thread. The first returns 0; the second 0, or -1 when a start
// request fails. Starts and stops wait for a set-up that is under way. A start that meets the end
// of the cycle is left to the next one's own set-up.
int32_t live_fifo_event(void* fifo, uint32_t event);
int32_t live_control_event(int32_t event, void* argument);

// At exit: releases the library and the copy buffers.
void live_fifo_cleanup();

}  // namespace supervisor
