// Whether the program's main threads still turn: the FIFO reader, the peer thread and the camera service's
// client. When one of them stands still, the service manager is no longer told that the program lives, and
// starts it anew.
#pragma once

#include <cstdint>

namespace supervisor {

enum MainThread : uint8_t { kFifoReader, kPeerThread, kCameraClient };
inline constexpr int kMainThreads = 3;

// The calling thread is that one from here on.
void turn_as(MainThread thread);
// The calling thread has come round, or is getting on with something that takes long. Any thread; of one
// that is none of the three nothing is noted.
void turned();

// The FIFO reader's way to say so, from each of its loops: when all three have come round since the last
// time, but once a second at most, the service manager is told. The first time it learns as well that the
// program has started.
void turned_and_tell();

// As at program start, and in tests.
void turns_reset();

}  // namespace supervisor
