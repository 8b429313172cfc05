// Lists of the media channel: 10000 files against their pauses alone, slept by a thread that is
// scheduled as the one that sends; and how the time of a list, and that of the scan at start-up,
// grows with the number of files. Runs in a virtual board.
#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "base/clock.h"
#include "media/card/store.h"
#include "media_board.h"
#include "process_figures.h"
#include "quantiles.h"
#include "report.h"

namespace {

using namespace bench;  // NOLINT

constexpr size_t kSizes[] = {1000, 10000, 40000};
constexpr size_t kCompared = 10000;  // of the three, with its pauses
constexpr uint64_t kPauseUs = 10;    // after each record
constexpr int kRounds = 5;
constexpr double kGrowth = 1.2;

bool is_record(const Arrival& arrival) { return arrival.size == 64; }

// The folder of photos has so many files.
void fill_photos(size_t count) {
  std::filesystem::remove_all(media::kPhotoFolder);
  std::filesystem::create_directories(media::kPhotoFolder);
  for (size_t i = 0; i < count; i++) {
    std::ofstream(support::kPictures + std::to_string(i) + ".JPG");
  }
}

// Runs it so often and takes the best, seconds.
template <typename Work>
double best_of(Work work) {
  double best = 1e9;
  for (int i = 0; i < kRounds; i++) best = std::min(best, work());
  return best;
}

struct List {
  double whole_s;    // from the request to the last record
  double records_s;  // from the first record on
  ThreadCost worker;
};

List take_list(MediaBoard& board, size_t count) {
  for (int tries = 0; tries < 5; tries++) {
    const size_t first = board.application.count();
    const auto before = thread_costs(board.pid());
    const double asked = clock_seconds(CLOCK_REALTIME);
    board.ask(list_request(true));
    board.application.wait_for(is_record, support::seconds(10), first);
    board.application.wait_for_silence(support::milliseconds(300));
    const auto after = thread_costs(board.pid());
    std::vector<Arrival> records = board.application.since(first);
    std::erase_if(records, [](const Arrival& arrival) { return !is_record(arrival); });
    if (records.size() != count) continue;
    const double end = records.back().at_s;
    return {end - asked, end - records.front().at_s, after.at(busiest(before, after, SCHED_RR, 2))};
  }
  std::printf("a list of %zu files never came as a whole\n", count);
  std::exit(1);
}

void show_pauses(MediaBoard& board) {
  double ours = 1e9;
  double pauses = 1e9;
  for (int i = 0; i < kRounds; i++) {
    const List list = take_list(board, kCompared);
    ours = std::min(ours, list.records_s);
    run_like(list.worker, [&] {
      const double began = clock_seconds(CLOCK_MONOTONIC);
      for (size_t k = 0; k < kCompared; k++) base::sleep_us(kPauseUs);
      pauses = std::min(pauses, clock_seconds(CLOCK_MONOTONIC) - began);
    });
  }
  show({.name = "list of 10000 files",
        .unit = "s",
        .ours = ours,
        .reference_name = "its pauses alone",
        .reference = pauses});
}

// Costs of the kSizes, us per file, without the fixed part.
using Costs = std::array<double, std::size(kSizes)>;

void show_growth(const std::string& what, const Costs& costs) {
  for (size_t i = 1; i < costs.size(); i++) {
    show({.name = what + " of " + std::to_string(kSizes[i]) + " files",
          .unit = "us per file",
          .ours = costs[i],
          .reference_name = "of " + std::to_string(kSizes[0]),
          .reference = costs[0],
          .goal = at_most(kGrowth)});
  }
}

// The program does it before it answers anybody, so it is done here, by the same operation. As at
// start-up nothing of the folder is in the near caches: else a small one would be cheaper.
double scan_s() {
  std::vector<char> elsewhere(64 << 20);
  std::vector<double> times;
  for (int i = 0; i < 3 * kRounds; i++) {
    std::fill(elsewhere.begin(), elsewhere.end(), static_cast<char>(i));
    const double began = thread_cpu_seconds();
    (void)media::media_rescan(&media::media_store);
    times.push_back(thread_cpu_seconds() - began);
  }
  return median(times);
}

}  // namespace

int main() {
  MediaBoard board;
  Costs lists{};
  Costs scans{};
  fill_photos(1);
  const double fixed_list = best_of([&] { return take_list(board, 1).whole_s; });
  const double fixed_scan = scan_s();
  for (size_t i = 0; i < std::size(kSizes); i++) {
    fill_photos(kSizes[i]);
    const double whole = best_of([&] { return take_list(board, kSizes[i]).whole_s; });
    lists[i] = 1e6 * (whole - fixed_list) / static_cast<double>(kSizes[i]);
    scans[i] = 1e6 * (scan_s() - fixed_scan) / static_cast<double>(kSizes[i]);
    if (kSizes[i] == kCompared) show_pauses(board);
  }
  show_growth("list", lists);
  show_growth("scan at start-up", scans);
}
