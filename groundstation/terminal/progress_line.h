// The line that shows how far a long command is: drawn over and over on a terminal, a line a second
// elsewhere, nothing in JSON.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "groundstation/terminal/output.h"

namespace groundstation {

// Main thread only.
class ProgressLine {
 public:
  ProgressLine(const Output& out, bool quiet);
  // Clears the line.
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Whether it is time for a new text. Monotonic microseconds.
  [[nodiscard]] bool due(uint64_t now_us) const;
  void show(std::string_view text, uint64_t now_us);

 private:
  std::FILE* to_;
  bool quiet_;
  bool terminal_;
  bool open_ = false;
  uint64_t shown_us_;
};

// "[#####     ]  50%"
[[nodiscard]] std::string bar_text(uint64_t part, uint64_t whole);

}  // namespace groundstation
