// Since when somebody waits, beside the word that says whether: a word that is not 0 while it waits
// gets a second one with the time. For whoever watches that no wait lasts for ever. Relaxed
// atomics; any thread.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/clock.h"

#include "base/relaxed.h"

namespace base {

// Stores the word. The time is that of its change from 0, and is kept until it is 0 again. A time beside a
// word of 0 is left from a look that met the end of a wait; it says nothing about the next one.
template <typename Word>
void set_waiting(std::atomic<Word>& word, std::atomic<uint64_t>& since_us, Word value) {
  const bool begins = word.load(kRelaxed) == 0 || since_us.load(kRelaxed) == 0;
  if (value != 0 && begins) since_us.store(monotonic_us(), kRelaxed);
  word.store(value, kRelaxed);
  if (value == 0) since_us.store(0, kRelaxed);
}

// The time since when it waits, by monotonic_us; 0 when it does not. A wait that begins on one
// thread while another one ends the wait before may be left without a time: it gets the one of the
// first look.
template <typename Word>
uint64_t waiting_since(const std::atomic<Word>& word, std::atomic<uint64_t>& since_us) {
  if (word.load(kRelaxed) == 0) return 0;
  uint64_t since = 0;
  const uint64_t now = monotonic_us();
  return since_us.compare_exchange_strong(since, now, kRelaxed) ? now : since;
}

// Both words together.
struct Waiting {
  std::atomic<int32_t> what;  // 0: nothing
  std::atomic<uint64_t> since_us;
};

inline void set_waiting(Waiting& waiting, int32_t what) {
  set_waiting(waiting.what, waiting.since_us, what);
}
inline uint64_t waiting_since(Waiting& waiting) {
  return waiting_since(waiting.what, waiting.since_us);
}

}  // namespace base
