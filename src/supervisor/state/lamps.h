// The lamps of the board: GPIO lines that the board's script switches.
#pragma once

#include <cstdint>

namespace supervisor {

enum Lamp : uint8_t {
  kLampStream,  // GPIO 9: the stream indicator
  kLampLink,    // GPIO 10: the link to the peer
};

// Runs the board's script when the value differs from the lamp's last one (-1 before the first
// call). Returns 0, or -1 when there was nothing to do. The scripts of one lamp run in the order of
// the calls: a caller waits for another one's, but not for the other lamp's. Any thread but a signal
// handler.
int32_t lamp_set(Lamp lamp, int32_t value);

}  // namespace supervisor
