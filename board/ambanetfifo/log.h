// The library's log: one line per call and event, "<monotonic microseconds> <text>". Every line is
// one write to a file opened for appending, so that it is complete even when the process is killed.
// Safe from any thread once open; does nothing while no file is open.
#pragma once

#include "base/descriptor.h"

namespace ambanetfifo {

class Log {
 public:
  // Opens `path` for appending; null or a failure leaves the log closed.
  void open(const char* path);
  [[nodiscard]] bool is_open() const { return file_.open(); }
  // printf-style, one line, cut at 240 bytes.
  [[gnu::format(printf, 2, 3)]] void line(const char* format, ...) const;

 private:
  base::Descriptor file_;
};

}  // namespace ambanetfifo
