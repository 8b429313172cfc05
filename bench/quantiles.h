// Quantiles of measured times, and a line that shows them against a limit.
#pragma once

#include <algorithm>
#include <cstdio>
#include <vector>

namespace bench {

// `times` in ms; sorts them. `limit_ms` is what the 99 % quantile is compared with.
inline void show(const char* title, std::vector<double>& times, double limit_ms) {
  if (times.empty()) {
    std::printf("%s: nothing was measured\n", title);
    return;
  }
  std::sort(times.begin(), times.end());
  const auto at = [&](double quantile) {
    return times[static_cast<size_t>(quantile * static_cast<double>(times.size() - 1))];
  };
  std::printf("%s: p50 %.2f ms, p99 %.2f ms, max %.2f ms, limit of p99 %.2f ms, ratio %.2f (%zu)\n",
              title, at(0.5), at(0.99), times.back(), limit_ms, at(0.99) / limit_ms, times.size());
}

}  // namespace bench
