#include "ambanetfifo/log.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "base/clock.h"

namespace ambanetfifo {

void Log::open(const char* path) {
  file_.reset(path == nullptr ? -1 : ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
}

void Log::line(const char* format, ...) const {
  if (!file_.open()) return;
  char text[256];
  const int stamp = std::snprintf(text, sizeof text, "%llu ",
                                  static_cast<unsigned long long>(base::monotonic_us()));
  if (stamp < 0) return;
  const auto start = static_cast<size_t>(stamp);
  va_list arguments;
  va_start(arguments, format);
  const int wanted = std::vsnprintf(text + start, sizeof text - start, format, arguments);
  va_end(arguments);
  if (wanted < 0) return;
  const size_t length = std::min(start + static_cast<size_t>(wanted), sizeof text - 1);
  text[length] = '\n';
  // A log that cannot be written is not a reason to disturb the program.
  [[maybe_unused]] const ssize_t written = ::write(file_.get(), text, length + 1);
}

}  // namespace ambanetfifo
