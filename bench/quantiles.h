// Quantiles of measured times, and a figure that compares one of them with a limit.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "report.h"

namespace bench {

// Of sorted values; at least one.
inline double quantile(const std::vector<double>& sorted, double part) {
  return sorted[static_cast<size_t>(part * static_cast<double>(sorted.size() - 1))];
}

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// `times` in ms; sorts them. `limit_ms` is what the 99 % quantile is compared with.
inline void show_times(const std::string& title, std::vector<double>& times, double limit_ms) {
  if (times.empty()) {
    std::printf("%s: nothing was measured\n", title.c_str());
    std::exit(1);
  }
  std::sort(times.begin(), times.end());
  show({.name = title + ", p99",
        .unit = "ms",
        .ours = quantile(times, 0.99),
        .reference_name = "limit",
        .reference = limit_ms,
        .goal = at_most(1),
        .note = "p50 " + readable(quantile(times, 0.5)) + ", max " + readable(times.back()) +
                ", of " + std::to_string(times.size())});
}

}  // namespace bench
