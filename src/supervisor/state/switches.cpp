#include "supervisor/state/switches.h"

#include <unistd.h>

#include "base/clock.h"
#include "base/shell.h"

namespace supervisor {

Switches switches{};

namespace {

bool exists(const char* path) { return access(path, F_OK) == 0; }

}  // namespace

int32_t get_test_mode() { return switches.test_mode.load(std::memory_order_relaxed); }

int32_t get_marker_20m() { return switches.marker_20m.load(std::memory_order_relaxed); }

int32_t get_video_flowing() { return switches.video_flowing.load(std::memory_order_relaxed); }

void set_video_flowing(int32_t on) {
  switches.video_flowing.store(on != 0 ? 1 : 0, std::memory_order_relaxed);
}

void read_marker_files() {
  if (exists("/tmp/SD0/KRVMEDIA/testmode.conf")) {
    switches.test_mode.store(1, std::memory_order_relaxed);
    // The automatic recording marker is looked at and has no effect: factory cards still carry it.
    (void)exists("/tmp/SD0/KRVMEDIA/autorec.conf");
    base::run_shell("rm /tmp/SD0/KRVMEDIA/VIDEO/*");
    base::sleep_s(2);
    base::run_shell("rm /tmp/SD0/KRVMEDIA/PIC/*");
    base::sleep_s(1);
  }
  if (exists("/tmp/SD0/20M.txt")) switches.marker_20m.store(1, std::memory_order_relaxed);
}

}  // namespace supervisor
