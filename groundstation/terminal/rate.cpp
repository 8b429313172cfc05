#include "groundstation/terminal/rate.h"

#include <fmt/format.h>

#include "base/bytes.h"

namespace groundstation {

void Rate::note(uint64_t now_us, uint64_t total) {
  if (!points_.empty() && total < points_.back().total) points_.clear();
  points_.push_back({now_us, total});
  while (points_.size() > 2 && points_[1].at_us + window_us_ <= now_us) points_.pop_front();
}

double Rate::per_second() const {
  if (points_.size() < 2 || points_.back().at_us == points_.front().at_us) return 0;
  return static_cast<double>(points_.back().total - points_.front().total) * 1e6 /
         static_cast<double>(points_.back().at_us - points_.front().at_us);
}

std::string time_text(double seconds) {
  const auto whole = base::saturate<uint64_t>(seconds + 0.5);
  const uint64_t minutes = whole / 60;
  if (minutes < 60) return fmt::format("{}:{:02}", minutes, whole % 60);
  return fmt::format("{}:{:02}:{:02}", minutes / 60, minutes % 60, whole % 60);
}

}  // namespace groundstation
