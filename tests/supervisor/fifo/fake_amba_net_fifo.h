// A FIFO library that obeys the test: it gives out what the test puts in and keeps a list of the
// calls. Used by one thread at a time, but that its calls may come from several.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/amba_net_fifo.h"

namespace fake_fifo {

struct State {
  std::vector<std::string> calls;

  // Result and instance of the next AmbaNetFifo_init calls; afterwards 0 and 7. An instance of
  // kUntouched is not written.
  std::deque<std::pair<int32_t, int32_t>> init_results;
  std::function<void()> on_init;

  platform::FifoStreamList list{};
  platform::FifoMediaInfo media{};
  platform::FifoConfiguration defaults{};
  int32_t list_result = 0;
  int32_t media_result = 0;
  int32_t defaults_result = 0;

  // Called by every creation before it has an effect, and by every stop of the event processing.
  std::function<void()> on_create;
  std::function<void()> on_stop;

  // What the next creations give; afterwards null.
  std::deque<void*> handles;
  std::vector<platform::FifoConfiguration> created;

  // Entries by reader; a peek at an empty queue gives peek_empty_result.
  std::map<void*, std::deque<platform::FifoEntry>> entries;
  int32_t peek_empty_result = -3;

  std::deque<int32_t> stop_results;  // afterwards 0

  int32_t (*fifo_callback)(void*, uint32_t) = nullptr;
  int32_t (*control_callback)(int32_t, void*) = nullptr;
};

inline constexpr int32_t kUntouched = -99;

// The one instance; reset it at the start of a test.
State& state();
void reset();

// The readers that the usual tests hand out; the calls name them "video" and "audio".
extern char video_reader;
extern char audio_reader;

}  // namespace fake_fifo
