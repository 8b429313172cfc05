#include "media/frames/frame_ring.h"

#include "base/mutex.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace media {
namespace {

// With both indices at this slot: whether it is taken, because the ring is full or because the pop
// that gives it back is not over. The pop clears the flag before it moves its index on: the other
// way round it could clear the flag of a push into the slot just given back.
bool taken(const FrameRing& ring, uint32_t at) {
  return ring.full.load(std::memory_order_acquire) == 1 ||
         ring.popping.load(std::memory_order_acquire) == at + 1;
}

}  // namespace

FrameRing* frame_ring_new() {
  // Default-initialised: the slots are not touched before they are used.
  auto* ring = new (std::nothrow) FrameRing;
  if (ring == nullptr) return nullptr;
  ring->read_index = 0;
  ring->write_index = 0;
  ring->full = 0;
  ring->count = 0;
  ring->popping = 0;
  return ring;
}

void frame_ring_free(FrameRing* ring) { delete ring; }

int32_t frame_ring_push(FrameRing* ring, const void* bytes, int32_t length) {
  if (ring == nullptr || bytes == nullptr || length < 0 || length > kFrameRingSlotSize) return -1;
  const uint32_t at = ring->write_index.load(std::memory_order_relaxed);
  if (at == ring->read_index.load(std::memory_order_acquire) && taken(*ring, at)) {
    std::puts("Queue:queue is full!");
    return -1;
  }
  const uint32_t next = (at + 1) % kFrameRingSlots;
  FrameRingSlot& slot = ring->slots[at];
  std::memcpy(slot.data, bytes, static_cast<size_t>(length));
  slot.length = length;
  ring->write_index.store(next, std::memory_order_relaxed);
  if (next == ring->read_index.load(std::memory_order_relaxed)) {
    ring->full.store(1, std::memory_order_relaxed);
  }
  // Only a push raises the count, so it cannot pass the limit in between.
  if (ring->count.load(std::memory_order_relaxed) < kFrameRingSlots) {
    ring->count.fetch_add(1, std::memory_order_release);
  }
  return 0;
}

int32_t frame_ring_pop(FrameRing* ring, void* buffer, int32_t size) {
  if (ring == nullptr || buffer == nullptr) return -1;
  const base::Lock lock(ring->mutex);
  if (ring->count.load(std::memory_order_acquire) == 0) return -1;
  const uint32_t at = ring->read_index.load(std::memory_order_relaxed);
  const FrameRingSlot& slot = ring->slots[at];
  const int32_t length = slot.length;
  if (length > size) return -1;
  std::memcpy(buffer, slot.data, static_cast<size_t>(length));
  // The slot is given back last: a push that takes it at once counts its frame on top of the rest.
  ring->count.fetch_sub(1, std::memory_order_relaxed);
  ring->popping.store(static_cast<uint16_t>(at + 1), std::memory_order_relaxed);
  ring->full.store(0, std::memory_order_release);
  ring->read_index.store((at + 1) % kFrameRingSlots, std::memory_order_release);
  ring->popping.store(0, std::memory_order_release);
  ring->condition.notify_all();
  return length;
}

}  // namespace media
