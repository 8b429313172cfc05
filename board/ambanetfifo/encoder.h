// The encoder: makes entries at real speed, queues them for the readers and says so in the outbox.
// All of it runs under the State's lock.
#pragma once

#include <cstdint>

#include "ambanetfifo/state.h"

namespace ambanetfifo {

inline constexpr uint64_t kNever = UINT64_MAX;

// Queues what is due. Returns when to come back, kNever while nobody takes any entries.
//
// The first reader of a track makes the stream begin with a key picture. Entries that find no room,
// because a reader leaves its own waiting, are dropped; that reader then gets nothing before the
// next key picture, so that what it does get can always be decoded.
[[nodiscard]] uint64_t make_due_entries(State& state, uint64_t now_us);

// Queues an end mark of that type and size for every reader of the track; nothing follows it.
void queue_end_mark(State& state, Kind kind, uint8_t type, uint32_t size);

// Stops or resumes queueing for the readers that are open now.
void set_ended(State& state, bool ended);

void post_fifo_event(State& state, void* fifo, uint32_t event);
void post_control_event(State& state, int32_t event);

}  // namespace ambanetfifo
