// The remux job: takes the H.264 packets that are pushed with remux_push_packet and writes them,
// from the first key frame on and with new time stamps, as a raw stream into one file of the card.
//
// One job at a time, on a thread of its own. It starves after half a second without a packet: then,
// or when it is told to stop, it fails if the header is not written yet, and finishes the file
// otherwise.
#pragma once

#include <cstdint>

#include "media/frames/frame_list.h"
#include "media/remux/job.h"

namespace media {

inline constexpr const char kRemuxFile[] = "/tmp/SD0/KRVMEDIA/VIDEO/tmpfile";

// Removes what the last job left, empties the packet list and starts the job. Returns 0; -1 when a
// job still runs (nothing is changed then), or after a failure to start, which is reported as state
// 5.
int32_t remux_start();

// Asks the job to end. Returns at once.
void remux_stop();

// The job's own `on_state`. States 1 and 3 send the application message 76 (33 bytes, CRC extra
// 152):
//   0: f32 10   28: u16 2   all others 0
// and pause 200 us; 4 ends the packet list; 5 stops the job, removes the file and ends the packet
// list.
void remux_on_state(uint32_t state);

// Thread body; the argument is ignored. Runs remux_job to its end.
void* RemuxThread(void* argument);

}  // namespace media
