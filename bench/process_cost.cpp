// CPU of maintask idle and at 8 Mbit/s of live video, and its resident memory against an empty
// program that is linked to the same libraries. Runs in a virtual board.
//   process_cost [SECONDS]: length of each measurement, 30 if not given
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "process_figures.h"
#include "support/fixtures.h"

namespace {

using bench::cpu_seconds;
using bench::resident_kb;

double cpu_percent(pid_t pid, int seconds) {
  const double before = cpu_seconds(pid);
  support::let_pass(std::chrono::seconds(seconds));
  return 100 * (cpu_seconds(pid) - before) / seconds;
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 30;
  support::CameraFake camera;
  camera.answer_session();
  support::PeerLink peer;
  support::PeerSocket video(8856);
  peer.keep_alive();
  const support::ChildProcess maintask(
      {BIN_DIR "/maintask"}, {{"AMBANETFIFO_STREAM", LIB_DIR "/ambanetfifo/live8m.h264"}});
  const support::ChildProcess empty({BENCH_DIR "/empty_program"});
  support::let_pass(std::chrono::seconds(3));
  const long at_start = resident_kb(maintask.pid());

  std::printf(
      "idle (encoder runs, peer and camera service connected): %.2f %% of one core, limit 1 %%\n",
      cpu_percent(maintask.pid(), seconds));
  support::wait_for_live_video(peer, video);
  const size_t first = video.count();
  const double busy = cpu_percent(maintask.pid(), seconds);
  size_t bytes = 0;
  const auto datagrams = video.received();
  for (size_t i = first; i < datagrams.size(); i++) bytes += datagrams[i].bytes.size();
  std::printf("live video at %.1f Mbit/s: %.2f %% of one core, limit 3 %%\n",
              static_cast<double>(bytes) * 8 / 1e6 / seconds, busy);
  const long ours = resident_kb(maintask.pid());
  const long reference = resident_kb(empty.pid());
  std::printf(
      "resident memory: ours %ld KB (%ld KB at start), empty program %ld KB, ratio %.2f, "
      "%ld KB more, limit 8192 KB more\n",
      ours, at_start, reference, static_cast<double>(ours) / static_cast<double>(reference),
      ours - reference);
}
