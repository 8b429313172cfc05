// Pushes an image from the card to another board: announces it until the board answers, sends the
// chunks (to the repeater all of them, to the others those that they ask for) and waits for the
// board's verdict. The gimbal and the flight controller are given up when they have asked for the
// last chunk and then for none in 10 s: they hold up neither the next board nor this one's own
// update. One push at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/mutex.h"
#include "base/renew.h"
#include "flightlink/firmware/checksum.h"
#include "flightlink/frame/command_long.h"

namespace flightlink {

struct FirmwarePush {
  base::Mutex lock;  // never held while sending or sleeping
  base::Condition reported;
  // count x 244: each chunk behind its index; null: no image
  std::unique_ptr<uint8_t[]> records GUARDED_BY(lock);
  uint32_t size GUARDED_BY(lock);
  uint32_t count GUARDED_BY(lock);
  char md5[kMd5Characters + 1] GUARDED_BY(lock);
  uint8_t type GUARDED_BY(lock);
  uint8_t state GUARDED_BY(lock);         // the board's last one, 0 until it has reported
  bool answered GUARDED_BY(lock);         // it has reported state 1; nothing before that counts
  bool chunk_requested GUARDED_BY(lock);  // it has asked for a chunk,
  bool last_requested GUARDED_BY(lock);   // for the last one,
  uint64_t request_us GUARDED_BY(lock);   // and when it did so most recently (monotonic)
  bool running GUARDED_BY(lock);

  // As at program start; before any thread runs, and in tests.
  void reset() { base::renew(*this); }
};

// The one instance; zero at start.
extern FirmwarePush firmware_push;

// Reads the board's image for the push. Returns 0; -1 when it cannot be read, is empty, above
// 512 MiB, or has no MD5.
int firmware_image_prepare(uint8_t type);

// A HEARTBEAT of the peer: starts the push that waits, if one waits and none runs. Never waits.
int firmware_push_resume();

// COMMAND_LONG 4 of the board that the image is pushed to. State 1: the gimbal and the flight
// controller get the MD5 (once; again only if they answer again and have asked for no chunk yet).
// State 2: the chunks that are asked for leave, 500 us apart. 3 and 5 end the push, but for those
// before the first state 1: they are about an earlier push. Anything else, and everything before
// the image has been read, is ignored. Link threads.
int firmware_push_report(const CommandLong& command);

// The body of the push thread; tests call it. The argument is ignored.
void* FirmwarePushThread(void* argument);

}  // namespace flightlink
