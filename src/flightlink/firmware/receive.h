// Receives this board's own firmware image from the application: announcement, start, chunks; then
// asks for what is missing, writes the image to the card, checks it and puts it in the boot
// loader's place. Everything that arrives is hostile until its MD5 is good.
//
// The handlers run on the link threads and never wait. One transfer per process: whether it ends
// well or not, the in-progress flag stays set and a later start is only answered.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "base/mutex.h"
#include "base/renew.h"
#include "flightlink/firmware/checksum.h"

namespace flightlink {

inline constexpr const char* kFirmwareFile = "/tmp/SD0/firmware";
inline constexpr const char* kFirmwareInPlace = "/tmp/SD0/AmbaSysFW.bin";
inline constexpr int32_t kUpdateComplete = 3;  // an update state above 2

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};
using FirmwareBytes = std::unique_ptr<uint8_t[], FreeMemory>;

struct FirmwareReceive {
  base::Mutex lock;
  // (count + 1) x 240 bytes; null: nothing announced, or complete
  FirmwareBytes image GUARDED_BY(lock);
  FirmwareBytes marks GUARDED_BY(lock);  // count + 1: 1 for each chunk that is in the image
  uint32_t size GUARDED_BY(lock);
  uint32_t count GUARDED_BY(lock);     // chunks of the image
  uint32_t received GUARDED_BY(lock);  // chunks stored, repeated ones included
  char md5[kMd5Characters + 1] GUARDED_BY(lock);
  uint8_t requester GUARDED_BY(lock);  // board byte of the start
  std::atomic<bool> in_progress;
  std::atomic<int32_t> update_state;
  std::atomic<int32_t> result;
  std::atomic<int32_t> hold;  // non-zero: a good image stays where it is. Nothing sets it

  // As at program start; before any thread runs, and in tests.
  void reset() { base::renew(*this); }
};

// The one instance; zero at start.
extern FirmwareReceive firmware_receive;

// An image of that many bytes will come: makes room for it, in place of an earlier announcement,
// and answers with a report of state 1. Refused with result 3 below 1 byte, above 512 MiB and when
// there is no memory, with result 4 once a transfer has been started. `board` is named in the
// answer. Returns 0, or -1 when refused.
int firmware_announced(float size, uint8_t board);

// Opcode 3: the transfer starts, with at most 32 characters of MD5 as far as there is no zero.
// Without an announcement it is refused with result 3 (an image of no bytes must never come into
// the boot loader's place); once started, it is answered with result 4, or 0 when the update is
// complete. Both answers are reports of state 3. Returns 0, or -1 when refused.
int firmware_start(std::span<const uint8_t> md5, uint8_t board);

// Opcode 2: `length` is the message's length byte, the index and the chunk; `data` holds at least
// 4 + 240 bytes. Dropped silently when nothing is announced, above the count of chunks, and when
// the update is complete. An index that equals the count is stored, into room that no file gets.
int firmware_chunk(uint8_t length, const uint8_t* data);

// The body of the receive thread; tests call it. The argument is ignored.
void* FirmwareReceiveThread(void* argument);

}  // namespace flightlink
