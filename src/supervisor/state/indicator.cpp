#include "supervisor/state/indicator.h"

#include "base/clock.h"
#include "base/thread.h"
#include "supervisor/state/lamps.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

int32_t indicator_phase = 0;  // indicator thread only

// Default scheduling; owns indicator_phase, reads the indicator switches; never ends.
void* indicator_thread(void*) {
  for (;;) {
    indicator_tick();
    base::sleep_s(1);
  }
  return nullptr;
}

}  // namespace

int32_t gpio9_set(int32_t value) { return lamp_set(kLampStream, value); }

void indicator_tick() {
  if (switches.indicator_blink.load(std::memory_order_relaxed) == 1) {
    indicator_phase = indicator_phase == 0 ? 1 : 0;
    gpio9_set(indicator_phase);
  } else {
    gpio9_set(switches.indicator_level.load(std::memory_order_relaxed));
  }
}

int indicator_start() { return base::start_thread(indicator_thread, nullptr); }

}  // namespace supervisor
