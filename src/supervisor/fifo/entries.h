// Taking entries from one live track: peek, check, copy, remove. Main thread, but for track_open.
#pragma once

#include "supervisor/fifo/tracks.h"

namespace supervisor {

// Whether the track has a reader. Any thread.
[[nodiscard]] bool track_open(LiveTrack& track);

// Deletes the track's reader, if any, and forgets what was announced, under the track's lock.
void track_close(LiveTrack& track);

// At most one entry of the track. Return true when the track had entries pending, whatever became
// of them; false when it was idle or has just met its end mark.
[[nodiscard]] bool video_pass();
[[nodiscard]] bool audio_pass();

// The two copy buffers (512 KiB video, 128 KiB audio): frees and allocates them. Returns 0, or -1
// when memory is short. The video buffer only tells that video is wanted: pieces are copied once,
// into the live frame list.
int live_copies_allocate();
void live_copies_free();

}  // namespace supervisor
