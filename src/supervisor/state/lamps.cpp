#include "supervisor/state/lamps.h"

#include "base/mutex.h"
#include "base/shell.h"
#include "base/text.h"

namespace supervisor {
namespace {

struct LampState {
  const char* command;      // the value follows
  base::Mutex lamp_lock{};  // held while the script runs
  int32_t last GUARDED_BY(lamp_lock) = -1;
};

// By Lamp. One names the shell and one does not, as it has always been.
LampState lamps[] = {
    {"/bin/sh /usr/local/share/script/t_gpio.sh 9"},
    {"/usr/local/share/script/t_gpio.sh 10"},
};

}  // namespace

int32_t lamp_set(Lamp lamp, int32_t value) {
  LampState& state = lamps[lamp];
  const base::Lock lock(state.lamp_lock);
  if (state.last == value) return -1;
  state.last = value;
  char command[100];
  base::format_text(command, "%s %d", state.command, value);
  base::run_shell(command);
  return 0;
}

}  // namespace supervisor
