#include "media/remux/remux.h"

#include <atomic>

#include "base/clock.h"
#include "base/relaxed.h"
#include "base/shell.h"
#include "base/text.h"
#include "base/thread.h"
#include "flightlink/wire/reports.h"
#include "media/remux/stream.h"

namespace media {
namespace {

using base::kRelaxed;
constexpr const char kRemoveFile[] = "rm -rf /tmp/SD0/KRVMEDIA/VIDEO/tmpfile";
constexpr uint64_t kProgressPauseUs = 200;

// From remux_start until the thread has done its last step; `stop` says less: a job that was
// stopped still needs the list and the file for a while.
std::atomic<bool> running;

}  // namespace

int32_t remux_start() {
  if (running.exchange(true)) return -1;
  base::run_shell(kRemoveFile);
  remux_packets_init();
  base::format_text(remux_job.path, "%s", kRemuxFile);
  remux_job.on_state = remux_on_state;
  remux_job.stop.store(0, kRelaxed);
  if (base::start_thread(RemuxThread, nullptr, &remux_job.thread) == 0) return 0;
  remux_report(kRemuxFailed);
  running.store(false);
  return -1;
}

void remux_stop() {
  if (remux_job.stop.load(kRelaxed) == 0) remux_job.stop.store(1, kRelaxed);
}

void remux_on_state(uint32_t state) {
  if (state == kRemuxStarted || state == kRemuxWaiting) {
    (void)flightlink::report_remux();
    base::sleep_us(kProgressPauseUs);
  }
  if (state == kRemuxFailed) {
    remux_stop();
    base::run_shell(kRemoveFile);
  }
  if (state == kRemuxFailed || state == kRemuxFinished) remux_clear();
}

void* RemuxThread(void*) {
  base::detach_self();
  remux_report(remux_stream() ? kRemuxFinished : kRemuxFailed);
  remux_job.stop.store(1, kRelaxed);
  running.store(false);
  return nullptr;
}

}  // namespace media
