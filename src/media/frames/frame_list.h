// The two process-wide lists of frames: encoded video pieces on their way from the FIFO reader to the
// live video sender, and the H.264 packets that wait for the remux job.
//
// Each is guarded by its own mutex and any thread may call. A producer never waits: when the consumer
// falls behind, the oldest frame goes. A frame is copied once, on the push, into one heap block; the
// consumer gets that block itself and frees it with frame_node_free.
#pragma once

#include <cstdint>

#include "media/frames/frame_queue.h"

namespace media {

// The live frame list. A push that finds more than this many pieces drops the oldest one first, so
// that the newest 11 are held.
inline constexpr int32_t kLiveFrames = 10;

// Marks the lock usable; empty list. Call before the first push and after every clear.
void frame_list_init();

// Copies a piece to the end of the list. Returns 0; -1 for null, a size below 1 or exhausted
// memory. 0 also while the list is not initialised; the piece is then lost.
int32_t live_frame_push(const void* bytes, int32_t size);

// Detaches the oldest piece; null when the list is empty or not initialised.
[[nodiscard]] FrameNode* frame_list_pop();

// Number of pieces in the list, read without the lock.
[[nodiscard]] int32_t frame_list_count();

// Frees every piece and marks the lock unused until the next frame_list_init. The mutex itself
// stays: a thread may be inside a push or pop.
void frame_list_clear();

// The packets of the remux job. A push that finds more than this many drops the oldest one first.
inline constexpr int32_t kRemuxPackets = 120;

// Init and clear are those of the live frame list.
void remux_packets_init();
void remux_clear();

// As live_frame_push, but -1 also while the list is not initialised.
int32_t remux_push_packet(const void* bytes, int32_t size);

// As frame_list_pop.
[[nodiscard]] FrameNode* remux_pop_packet();

}  // namespace media
