// What the peer says it wants, in two words that several modules read.
//
// The link status is the low four bits of the peer HEARTBEAT's system_status; 2 asks for live
// video. The stream-on word is bit 0 of our own HEARTBEAT: it enables the live video sender.
// Start-up sets it to 1 once the media channel runs, and message 67 from the peer sets it. Any
// thread may call; both words are relaxed atomics.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/mutex.h"
#include "base/renew.h"

namespace flightlink {

inline constexpr int32_t kLinkStatusWantsLiveVideo = 2;

struct LinkStatus {
  uint8_t client_block[200];
  base::Mutex mutex;                 // held by a link reset while it clears the status word
  base::Condition condition;         // nobody waits on it
  std::atomic<int32_t> initialised;  // 1 while mutex and condition may be used
  std::atomic<int32_t> status;
  std::atomic<int32_t> stream_on;

  // As at program start; before any thread runs, and in tests.
  void reset() { base::renew(*this); }
};

// The one instance; zero at start.
extern LinkStatus link_status;

// Zeroes the client block and marks mutex and condition usable.
void link_status_init();
// Marks them unused. They are not destroyed: another thread may still hold them.
void link_status_deinit();

int32_t get_link_status();
// Plain store, as the HEARTBEAT handler does it.
void set_link_status(int32_t status);
// A link reset: stores 0 under the mutex (without it before link_status_init).
void clear_link_status();

int32_t get_stream_on();
void set_stream_on(int32_t on);

}  // namespace flightlink
