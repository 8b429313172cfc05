// The stream indicator on GPIO line 9, driven once a second by a thread of its own.
#pragma once

#include <cstdint>

namespace supervisor {

// Shows the value on line 9 when it differs from the last one, which is -1 before the first call.
// Returns 0, or -1 when there was nothing to do.
int32_t gpio9_set(int32_t value);

// One second's work without the sleep: inverts the phase while blinking (the first blink writes 1),
// otherwise shows the level. Indicator thread only.
void indicator_tick();

// Starts the thread with default scheduling. Returns 0 or an errno number.
int indicator_start();

}  // namespace supervisor
