#include "supervisor/state/indicator.h"

#include "base/clock.h"
#include "base/shell.h"
#include "base/text.h"
#include "base/thread.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

int32_t gpio9_last = -1;
int32_t indicator_phase = 0;

// Default scheduling; owns gpio9_last and indicator_phase, reads the indicator switches; never
// ends.
void* indicator_thread(void*) {
  for (;;) {
    indicator_tick();
    base::sleep_s(1);
  }
  return nullptr;
}

}  // namespace

int32_t gpio9_set(int32_t value) {
  if (value == gpio9_last) return -1;
  gpio9_last = value;
  char command[100];
  base::format_text(command, "/bin/sh /usr/local/share/script/t_gpio.sh 9 %d", value);
  base::run_shell(command);
  return 0;
}

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
