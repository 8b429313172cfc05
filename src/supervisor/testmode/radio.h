// The factory's radio test: continuous transmission of the Wi-Fi chip.
#pragma once

#include <atomic>
#include <cstdint>

namespace supervisor {

struct RadioTestState {
  std::atomic<int32_t> started;  // the driver has been loaded in test mode
  std::atomic<int32_t> wait;     // while 1, the first test waits; nothing sets it
};

extern RadioTestState tx99;

// Before any reader runs.
void testmode_radio_clear();

// Transmits on that chain, 1 or 2; any other does not transmit. The first test empties the media
// folders and reloads the driver in test mode, where it stays. Reader thread only.
void testmode_radio_test(int32_t chain);

}  // namespace supervisor
