#include "groundstation/terminal/progress_line.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "base/clock.h"

namespace groundstation {
namespace {

constexpr uint64_t kOnTerminalUs = 100'000;
constexpr uint64_t kInLogUs = 1'000'000;
constexpr uint64_t kBarCells = 30;

}  // namespace

ProgressLine::ProgressLine(const Output& out, bool quiet)
    : to_(out.stream()),
      quiet_(quiet || out.json()),
      terminal_(::isatty(fileno(to_)) == 1),
      shown_us_(base::monotonic_us()) {}

ProgressLine::~ProgressLine() {
  if (!open_) return;
  fmt::print(to_, "\r\x1b[K");
  std::fflush(to_);
}

bool ProgressLine::due(uint64_t now_us) const {
  return !quiet_ && now_us >= shown_us_ + (terminal_ ? kOnTerminalUs : kInLogUs);
}

void ProgressLine::show(std::string_view text, uint64_t now_us) {
  if (quiet_) return;
  shown_us_ = now_us;
  fmt::print(to_, "{}{}{}", terminal_ ? "\r\x1b[K" : "", text, terminal_ ? "" : "\n");
  std::fflush(to_);
  open_ = terminal_;
}

std::string bar_text(uint64_t part, uint64_t whole) {
  whole = std::max<uint64_t>(whole, 1);
  part = std::min(part, whole);
  return fmt::format("[{:<{}}] {:3}%", std::string(part * kBarCells / whole, '#'), kBarCells,
                     part * 100 / whole);
}

}  // namespace groundstation
