// Live video while the media channel works: the 99 % quantile of the gaps between datagrams, alone
// and with a download, thumbnails and lists under way. The two are measured in turns, a few seconds
// each, because the rounds of reader and sender drift against each other and what that does to the
// gaps has to fall on both. Runs in a virtual board.
//   live_video_gaps [SECONDS]: length of each of the runs, 60 if not given
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "media_board.h"
#include "quantiles.h"

namespace {

using namespace bench;  // NOLINT
using support::let_pass;
using support::milliseconds;

constexpr int kRuns = 5;
constexpr int kTurnSeconds = 5;

void quiet_second(MediaBoard& /*board*/) { let_pass(milliseconds(1000)); }

void busy_second(MediaBoard& board) {
  board.ask(download_request(kVideoKind, "big.MP4"));
  let_pass(milliseconds(700));
  std::filesystem::remove(support::kThumbnails + std::string("clip_v.JPG"));
  board.ask(list_request(false));
  board.ask(download_request(kThumbnailKind, "clip.MP4"));
  let_pass(milliseconds(300));
}

// Adds the gaps, ms, of one turn.
void add_turn(MediaBoard& board, PeerPort& video, void (*second)(MediaBoard&),
              std::vector<double>& gaps) {
  const size_t first = video.count();
  for (int i = 0; i < kTurnSeconds; i++) second(board);
  const std::vector<Arrival> arrivals = video.since(first);
  for (size_t i = 1; i < arrivals.size(); i++) {
    gaps.push_back(1000 * (arrivals[i].at_s - arrivals[i - 1].at_s));
  }
  board.ask(cancel_request());
  let_pass(milliseconds(500));
}

// Reader and sender each look every 10 ms, so gaps come in steps of 10 ms: where one in a hundred is
// longer than four of them, the quantile jumps.
std::string percent_longer(const std::vector<double>& sorted) {
  const auto longer = sorted.end() - std::upper_bound(sorted.begin(), sorted.end(), 45.0);
  return readable(100 * static_cast<double>(longer) / static_cast<double>(sorted.size())) + " %";
}

Figure run(MediaBoard& board, PeerPort& video, int seconds) {
  std::vector<double> alone;
  std::vector<double> busy;
  for (int done = 0; done < seconds; done += 2 * kTurnSeconds) {
    add_turn(board, video, quiet_second, alone);
    add_turn(board, video, busy_second, busy);
  }
  if (alone.empty() || busy.empty()) {
    std::printf("no live video came\n");
    std::exit(1);
  }
  std::sort(alone.begin(), alone.end());
  std::sort(busy.begin(), busy.end());
  return {.name = "live video, p99 of the gaps while busy, worst of " + std::to_string(kRuns),
          .unit = "ms",
          .ours = quantile(busy, 0.99),
          .reference_name = "alone",
          .reference = quantile(alone, 0.99),
          .goal = more_at_most(2),
          .note = "longer than 45 ms " + percent_longer(busy) + " and " + percent_longer(alone) +
                  ", max " + readable(busy.back()) + " and " + readable(alone.back())};
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;
  MediaBoard board;
  {
    support::PeerSocket first(8856);
    support::wait_for_live_video(board.peer, first);
  }
  PeerPort video(8856);
  Figure worst;
  for (int i = 0; i < kRuns; i++) {
    const Figure figure = run(board, video, seconds);
    std::printf("%d: %s\n", i + 1, line_for_people(figure).c_str());
    std::fflush(stdout);
    if (i == 0 || figure.ours - figure.reference > worst.ours - worst.reference) worst = figure;
  }
  show(worst);
}
