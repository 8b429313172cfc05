// CPU of maintask idle and at 8 Mbit/s of live video, and its resident memory against an empty
// program that is linked to the same libraries. Runs in a virtual board.
//   process_cost [SECONDS]: length of each measurement, 30 if not given
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "support/fixtures.h"

namespace {

// User and system time of the process so far, seconds.
double cpu_seconds(pid_t pid) {
  const std::string stat = support::read_file("/proc/" + std::to_string(pid) + "/stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; i++) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

long resident_kb(pid_t pid) {
  const std::string status = support::read_file("/proc/" + std::to_string(pid) + "/status");
  const size_t at = status.find("VmRSS:");
  return at == std::string::npos ? 0 : std::strtol(status.c_str() + at + 6, nullptr, 10);
}

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
