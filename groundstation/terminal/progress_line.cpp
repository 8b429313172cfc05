#include "groundstation/terminal/progress_line.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "base/clock.h"

namespace groundstation {
namespace {

constexpr uint64_t kOnTerminalUs = 100'000;
constexpr size_t kMostCells = 30;
constexpr size_t kFewestCells = 5;
constexpr size_t kBarFrame = 7;  // brackets, blank and percentage
constexpr size_t kLogColumns = 1000;

// One that does as it is told: lines can be drawn over.
bool is_terminal() {
  const char* kind = std::getenv("TERM");
  return ::isatty(STDERR_FILENO) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

// Room in a line; the last column stays free, since some terminals begin a new line behind it.
size_t columns() {
  winsize size{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 2) return 79;
  return size.ws_col - 1U;
}

}  // namespace

ProgressLine::ProgressLine(const Output& out, bool quiet, uint64_t log_period_us)
    : quiet_(quiet || out.json()),
      terminal_(is_terminal()),
      log_period_us_(log_period_us),
      shown_us_(base::monotonic_us()) {}

bool ProgressLine::due(uint64_t now_us) const {
  return !quiet_ && now_us >= shown_us_ + (terminal_ ? kOnTerminalUs : log_period_us_);
}

void ProgressLine::show(std::string_view text, uint64_t now_us) {
  if (quiet_) return;
  shown_us_ = now_us;
  if (terminal_) {
    fmt::print(stderr, "\r\x1b[K{}", cut_text(text, columns()));
  } else {
    fmt::print(stderr, "{}\n", text);
  }
  std::fflush(stderr);
  open_ = terminal_;
}

void ProgressLine::clear() {
  if (!open_) return;
  fmt::print(stderr, "\r\x1b[K");
  std::fflush(stderr);
  open_ = false;
}

std::string ProgressLine::bar(uint64_t part, uint64_t whole, size_t used, size_t more) const {
  const size_t room = terminal_ ? columns() : kLogColumns;
  const size_t taken = used + more + kBarFrame;
  return bar_text(part, whole, std::min(kMostCells, room - std::min(room, taken)));
}

std::string bar_text(uint64_t part, uint64_t whole, size_t cells) {
  whole = std::max<uint64_t>(whole, 1);
  part = std::min(part, whole);
  const uint64_t percent = part * 100 / whole;
  if (cells < kFewestCells) return fmt::format("{:3}%", percent);
  return fmt::format("[{:<{}}] {:3}%", std::string(part * cells / whole, '#'), cells, percent);
}

std::string_view cut_text(std::string_view text, size_t columns) {
  size_t seen = 0;
  for (size_t i = 0; i < text.size(); i++) {
    const bool begins = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    if (begins && ++seen > columns) return text.substr(0, i);
  }
  return text;
}

}  // namespace groundstation
