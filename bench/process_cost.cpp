// CPU of maintask idle and at 8 Mbit/s of live video, and its resident memory. Idle is compared
// with a process that has as many threads and does nothing but wake up as often as they do; the
// memory with an empty program that is linked to the same libraries. Runs in a virtual board.
//   process_cost [SECONDS]: length of each measurement, 30 if not given
#include <chrono>
#include <cstdlib>

#include "process_figures.h"
#include "report.h"
#include "support/fixtures.h"

namespace {

using namespace bench;  // NOLINT

double cpu_percent(pid_t pid, int seconds) {
  const double before = cpu_seconds(pid);
  support::let_pass(std::chrono::seconds(seconds));
  return 100 * (cpu_seconds(pid) - before) / seconds;
}

// First counts the wake-ups, then measures the two side by side: what a wake-up costs depends on
// what else the machine does.
void show_idle(pid_t maintask, int seconds) {
  const auto before = thread_costs(maintask);
  support::let_pass(std::chrono::seconds(seconds));
  const auto after = thread_costs(maintask);
  std::vector<std::string> command{BENCH_DIR "/sleepers"};
  double wakes = 0;
  for (const auto& [thread, cost] : after) {
    const long earlier = before.contains(thread) ? before.at(thread).sleeps : 0;
    const double per_second = static_cast<double>(cost.sleeps - earlier) / seconds;
    command.push_back(std::to_string(per_second));
    wakes += per_second;
  }
  const support::ChildProcess sleepers(command);
  support::let_pass(std::chrono::seconds(1));
  const double ours_before = cpu_seconds(maintask);
  const double reference = cpu_percent(sleepers.pid(), seconds);
  const double ours = 100 * (cpu_seconds(maintask) - ours_before) / seconds;
  show({.name = "CPU, idle beside encoder, peer and camera service",
        .unit = "% of a core",
        .ours = ours,
        .reference_name = "limit",
        .reference = 1,
        .goal = at_most(1)});
  show({.name = "CPU, idle, beside its wake-ups alone",
        .unit = "% of a core",
        .ours = ours,
        .reference_name = "sleepers",
        .reference = reference,
        .note = std::to_string(after.size()) + " threads, " + readable(wakes) +
                " wake-ups per second"});
}

void show_live(pid_t maintask, support::PeerLink& peer, int seconds) {
  support::PeerSocket video(8856);
  support::wait_for_live_video(peer, video);
  const size_t first = video.count();
  const double busy = cpu_percent(maintask, seconds);
  size_t bytes = 0;
  const auto datagrams = video.received();
  for (size_t i = first; i < datagrams.size(); i++) bytes += datagrams[i].bytes.size();
  show({.name = "CPU, live video",
        .unit = "% of a core",
        .ours = busy,
        .reference_name = "limit",
        .reference = 3,
        .goal = at_most(1),
        .note = readable(static_cast<double>(bytes) * 8 / 1e6 / seconds) + " Mbit/s"});
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 30;
  support::CameraFake camera;
  camera.answer_session();
  support::PeerLink peer;
  peer.keep_alive();
  const support::ChildProcess maintask(
      {BIN_DIR "/maintask"}, {{"AMBANETFIFO_STREAM", LIB_DIR "/ambanetfifo/live8m.h264"}});
  const support::ChildProcess empty({BENCH_DIR "/empty_program"});
  support::let_pass(std::chrono::seconds(3));
  const long at_start = resident_kb(maintask.pid());
  show_idle(maintask.pid(), seconds);
  show_live(maintask.pid(), peer, seconds);
  show({.name = "resident memory",
        .unit = "KB",
        .ours = static_cast<double>(resident_kb(maintask.pid())),
        .reference_name = "empty program",
        .reference = static_cast<double>(resident_kb(empty.pid())),
        .goal = more_at_most(8192),
        .note = std::to_string(at_start) + " KB at start"});
}
