// The bridge to the flight controller on the serial line "/dev/ttyS1", 115200 8N1.
//
// Every good MAVLink frame that arrives is passed to the TCP application unchanged, with these
// exceptions: messages 32 and 76 also store the float at payload offset 4 as the altitude of the
// next photos (for both on purpose, although only 32 carries one there), and message 76 from system
// id 2 is obeyed here and not passed on: command 203 with param7 3 starts a recording, 2 stops it.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/mutex.h"
#include "base/renew.h"
#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

struct SerialLink {
  std::atomic<int> fd;      // 0 while the line is closed
  base::Mutex write_mutex;  // a leaf: one write
  pthread_t reader;

  // As at program start; before any thread runs, and in tests.
  void reset() { base::renew(*this); }
};

// The one instance.
extern SerialLink serial_link;

// Opens the line and starts the reader thread (SCHED_RR 2). Once per process: the program applink
// calls it, maintask does not. Returns 0; also when the factory test marker is on the card, in which case the line is
// left alone. -1 when the line or the thread cannot be had.
int serial_link_start();

// One write on the line. Returns the result of the system call; -1 while the line is closed.
int serial_write(const void* bytes, size_t length) REQUIRES(serial_link.write_mutex);

// Parts of the reader thread; that thread and tests only.
// Waits up to 2 s for bytes and takes what is there.
void serial_link_serve();
// What one good frame does.
void serial_link_route(const MavlinkMessage* message);

}  // namespace flightlink
