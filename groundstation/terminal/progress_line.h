// The line that shows how far a long command is: drawn over and over on a terminal, a line a second
// elsewhere, nothing in JSON. It goes to standard error, which leaves standard output to results.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "groundstation/terminal/output.h"

namespace groundstation {

// Main thread only.
class ProgressLine {
 public:
  // `log_period_us`: how often a line is written where there is no terminal.
  explicit ProgressLine(const Output& out, bool quiet, uint64_t log_period_us = 1'000'000);
  // Clears the line.
  ~ProgressLine() { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Whether it is time for a new text. Monotonic microseconds.
  [[nodiscard]] bool due(uint64_t now_us) const;
  // What does not fit into the terminal's line is left out.
  void show(std::string_view text, uint64_t now_us);
  // Makes room for another line on the same terminal.
  void clear();

  // bar_text with a bar that the line has room for, behind a text of `used` characters and before
  // one of `more`; without a bar when there is none.
  [[nodiscard]] std::string bar(uint64_t part, uint64_t whole, size_t used, size_t more) const;

 private:
  bool quiet_;
  bool terminal_;
  uint64_t log_period_us_;
  bool open_ = false;
  uint64_t shown_us_;
};

// "[#####     ]  50%"
[[nodiscard]] std::string bar_text(uint64_t part, uint64_t whole, size_t cells = 30);

// The first `columns` characters; a character of several bytes (UTF-8) counts once and stays whole.
[[nodiscard]] std::string_view cut_text(std::string_view text, size_t columns);

}  // namespace groundstation
