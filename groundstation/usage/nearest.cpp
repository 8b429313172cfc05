#include "groundstation/usage/nearest.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace groundstation {
namespace {

constexpr size_t kShortestBeginning = 2;

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return result;
}

}  // namespace

size_t edit_distance(std::string_view a, std::string_view b) {
  const std::string from = lower(a);
  const std::string to = lower(b);
  // The rows for one letter less of `from`, and for two less.
  std::vector<size_t> before(to.size() + 1);
  std::vector<size_t> row(to.size() + 1);
  for (size_t j = 0; j <= to.size(); j++) row[j] = j;
  std::vector<size_t> earlier;
  for (size_t i = 1; i <= from.size(); i++) {
    earlier = before;
    before = row;
    row[0] = i;
    for (size_t j = 1; j <= to.size(); j++) {
      const size_t changed = before[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({before[j] + 1, row[j - 1] + 1, changed});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) row[j] = std::min(row[j], earlier[j - 2] + 1);
    }
  }
  return row[to.size()];
}

std::string nearest_word(std::string_view word, std::span<const std::string> known) {
  const std::string given = lower(word);
  if (given.size() >= kShortestBeginning) {
    for (const std::string& candidate : known) {
      if (lower(candidate).starts_with(given)) return candidate;
    }
  }
  std::string nearest;
  size_t least = std::max<size_t>(1, given.size() / 3) + 1;
  for (const std::string& candidate : known) {
    const size_t distance = edit_distance(given, candidate);
    // A word of which nothing is left is no likeness.
    if (distance >= least || distance >= candidate.size()) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string nearest_hint(std::string_view word, std::span<const std::string> known) {
  const std::string nearest = nearest_word(word, known);
  return nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest);
}

}  // namespace groundstation
