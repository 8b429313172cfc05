#include "supervisor/state/trace_log.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "supervisor/state/data_log.h"

namespace supervisor {
namespace {

using base::kRelaxed;
constexpr char kLetters[] = "CEWNIDSF";
constexpr size_t kStampSize = 20;  // what a line has more than its text, terminator included

std::atomic<int32_t> log_enabled;
std::atomic<int32_t> log_level_max;
std::atomic<int32_t> log_target;
base::Mutex log_lock;  // serialises lines on the video board's log

// Writes the line into `line`, which holds the text and kStampSize bytes.
void format_line(char* line, size_t size, uint32_t level, const char* text) {
  const uint64_t now = base::wall_clock_us();
  const auto seconds = static_cast<time_t>(now / 1000000);
  tm local{};
  localtime_r(&seconds, &local);
  std::strftime(line, size, "[%H:%M:%S", &local);
  const char letter = level < sizeof(kLetters) - 1 ? kLetters[level] : 'U';
  std::snprintf(line + 9, size - 9, ".%03d][%c] %s\n", static_cast<int>(now / 1000 % 1000), letter,
                text);
}

}  // namespace

void _krv_trace_log_enable() {
  log_enabled.store(1, kRelaxed);
  data_log_open(kLogVideoBoard);
  data_log_open(kLogFlightController);
  data_log_open(kLogGimbal);
}

void trace_log_close() {
  if (log_enabled.load(kRelaxed) == 0) return;
  const base::Lock lock(log_lock);
  data_log_cut(kLogVideoBoard);
}

void trace_log_set_level(int32_t level) { log_level_max.store(level, kRelaxed); }

void trace_log_set_target(int32_t target) { log_target.store(target, kRelaxed); }

int32_t trace_log_get_target() { return log_target.load(kRelaxed); }

void trace_log_suspend(int32_t on) {
  data_log_suspend(on);
  if (on == 1) data_log_close_all();
}

void trace_log(uint32_t level, const char* text) {
  const int32_t highest = log_level_max.load(kRelaxed);
  if (highest < 0 || level > static_cast<uint32_t>(highest)) return;
  if (text == nullptr || log_enabled.load(kRelaxed) == 0) return;
  const int32_t target = log_target.load(kRelaxed);
  if (target == kTraceToVideoBoardLog && !data_log_is_open(kLogVideoBoard)) {
    data_log_open(kLogVideoBoard);
  }
  const size_t size = std::strlen(text) + kStampSize;
  const std::unique_ptr<char[]> line(new (std::nothrow) char[size]);
  if (line == nullptr) return;
  format_line(line.get(), size, level, text);
  if (target == kTraceToStdout) {
    std::fputs(line.get(), stdout);
  } else if (target == kTraceToVideoBoardLog && data_log_is_open(kLogVideoBoard)) {
    const base::Lock lock(log_lock);
    data_log_write(kLogVideoBoard, line.get(), static_cast<int32_t>(size - 1));
  }
}

}  // namespace supervisor
