// The frame ring: a fixed block of 100 slots for frames of up to 102400 bytes, one allocation in
// all.
//
// One producer, which takes no lock; consumers take the ring's mutex. A slot belongs to the
// producer until it has raised the count, and again once a pop has moved the read index past it.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/mutex.h"

namespace media {

inline constexpr uint32_t kFrameRingSlots = 100;
inline constexpr int32_t kFrameRingSlotSize = 102400;

struct FrameRingSlot {
  int32_t length;
  uint8_t data[kFrameRingSlotSize];
};

struct alignas(16) FrameRing {
  FrameRingSlot slots[kFrameRingSlots];
  std::atomic<uint32_t> read_index;
  std::atomic<uint32_t> write_index;
  std::atomic<uint16_t> full;     // 1 when the indices are equal because every slot is taken
  std::atomic<uint16_t> popping;  // 1 + the slot that a pop is giving back, otherwise 0
  std::atomic<uint32_t> count;    // frames in the ring, never above 100; refuses no push
  base::Mutex mutex;              // 40 bytes on x86-64, 48 on 64-bit Arm
  base::Condition condition;      // notified by every pop
};
static_assert(sizeof(FrameRing) == 10240512);

// An empty ring, to be freed with frame_ring_free; null when memory is exhausted.
[[nodiscard]] FrameRing* frame_ring_new();
// Null is ignored.
void frame_ring_free(FrameRing* ring);

// Stores a copy of a frame. Returns 0; -1 for a null argument or a length that is negative or above
// kFrameRingSlotSize, and, with "Queue:queue is full!" on standard output, when no slot is free:
// the indices are equal and the full flag is set.
int32_t frame_ring_push(FrameRing* ring, const void* bytes, int32_t length);

// Takes the oldest frame out and copies it. Returns its length; -1 for a null argument, an empty
// ring, or a buffer that is too small (the frame then stays).
[[nodiscard]] int32_t frame_ring_pop(FrameRing* ring, void* buffer, int32_t size);

}  // namespace media
