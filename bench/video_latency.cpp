// From a FIFO entry to its last datagram at the peer while no piece waits. Runs in a virtual board.
#include <chrono>
#include <cstdio>
#include <sstream>

#include "quantiles.h"
#include "support/fixtures.h"

namespace {

struct Entry {
  double added_ms;
  size_t size;
};

// Video entries in the FIFO library's log: "MONOTONIC_US added video N type=T size=S ...".
std::vector<Entry> logged_entries() {
  std::vector<Entry> entries;
  std::istringstream log(support::read_file(support::RunningMaintask::kFifoLog));
  for (std::string line; std::getline(log, line);) {
    unsigned long long time_us = 0;
    unsigned long long number = 0;
    unsigned type = 0;
    size_t size = 0;
    if (std::sscanf(line.c_str(), "%llu added video %llu type=%u size=%zu", &time_us, &number,
                    &type, &size) == 4) {
      entries.push_back({static_cast<double>(time_us) / 1000, size});
    }
  }
  return entries;
}

double to_ms(support::Time time) {
  return std::chrono::duration<double, std::milli>(time.time_since_epoch()).count();
}

}  // namespace

int main() {
  // The reader and the sender pause 10 ms each.
  constexpr double kLimitMs = 10 + 10 + 2;
  support::ScriptedBoard board;
  support::wait_for_live_video(board.peer, board.video);
  const size_t first = board.video.count();
  support::let_pass(std::chrono::seconds(30));
  const auto datagrams = board.video.received();
  const auto entries = logged_entries();

  std::vector<double> times;
  size_t next = 0;
  for (size_t i = first; i < datagrams.size();) {
    // The entry that these datagrams are: the first one since the last match whose bytes they make
    // up.
    bool matched = false;
    for (size_t k = next; k < entries.size() && !matched; k++) {
      size_t sum = 0;
      size_t end = i;
      while (end < datagrams.size() && sum < entries[k].size) sum += datagrams[end++].bytes.size();
      const double took = to_ms(datagrams[end - 1].arrived) - entries[k].added_ms;
      if (sum != entries[k].size || took < 0 || took > 500) continue;
      times.push_back(took);
      next = k + 1;
      i = end;
      matched = true;
    }
    if (!matched) i++;
  }
  bench::show_times("FIFO entry to its last datagram", times, kLimitMs);
  std::printf("%zu datagrams of %zu belong to a matched entry's end\n", times.size(),
              datagrams.size() - first);
}
