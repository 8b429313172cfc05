// The packets that wait for the remux job: pieces of an H.264 stream, in order.
//
// Process-wide, guarded by its own lock. It holds the newest 121 packets at most: a producer never
// waits, the oldest packet goes when the job falls behind. A packet is copied once, on the push,
// into one heap block. Any thread may call; nothing fails while the list is not initialised but
// push and pop, which find no list.
#pragma once

#include <cstdint>

#include "media/frames/frame_queue.h"

namespace media {

// A push that finds more than this many packets drops the oldest one first.
inline constexpr int32_t kRemuxPackets = 120;

// An empty list. Call before the first push and after every clear.
void remux_packets_init();

// Copies a packet to the end of the list. Returns 0; -1 for null, a size below 1, exhausted memory,
// or while the list is not initialised.
int32_t remux_push_packet(const void* bytes, int32_t size);

// Detaches the oldest packet, which the caller frees with frame_node_free; null when the list is
// empty or not initialised.
[[nodiscard]] FrameNode* remux_pop_packet();

// Frees every packet; there is no list until the next init.
void remux_clear();

}  // namespace media
