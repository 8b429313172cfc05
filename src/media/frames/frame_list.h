// The live frame list: encoded video pieces on their way from the FIFO reader to the live video
// sender.
//
// Process-wide, guarded by its own mutex. It holds the newest 11 pieces at most: a producer never
// waits, the oldest piece goes when the sender falls behind. A piece is copied once, on the push,
// into one heap block; the sender gets that block itself.
#pragma once

#include <cstdint>

#include "media/frames/frame_queue.h"

namespace media {

// A push that finds more than this many pieces drops the oldest one first.
inline constexpr int32_t kLiveFrames = 10;

// Marks the lock usable; empty list. Call before the first push and after every clear.
void frame_list_init();

// Copies a piece to the end of the list. Returns 0; -1 for null, a size below 1 or exhausted
// memory. 0 also while the list is not initialised; the piece is then lost.
int32_t live_frame_push(const void* bytes, int32_t size);

// Detaches the oldest piece, which the caller frees with frame_node_free; null when the list is
// empty or not initialised.
[[nodiscard]] FrameNode* frame_list_pop();

// Number of pieces in the list, read without the lock.
[[nodiscard]] int32_t frame_list_count();

// Frees every piece and marks the lock unused until the next frame_list_init. The mutex itself
// stays: a thread may be inside a push or pop.
void frame_list_clear();

}  // namespace media
