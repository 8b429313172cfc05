// Goodput of a 4 MiB firmware image over the virtual link, without loss and with one chunk in fifty
// lost, against what the receiver's own pauses allow: 200 ms per round of requests, 1 ms per full
// report, 6 ms per ten blocks written. Runs in a virtual board.
#include <chrono>
#include <cstdio>

#include "report.h"
#include "system/firmware_sender.h"

namespace {

constexpr size_t kImageSize = 4194304;

bool measure(const char* title, uint32_t lost_of_every) {
  support::PeerLink peer;
  peer.keep_alive();
  const support::RunningMaintask maintask;
  if (!peer.wait_for_id(0, std::chrono::seconds(10), 0)) return false;
  support::FirmwareSender sender(peer, support::firmware_image(kImageSize));
  if (sender.announce() != 0) return false;
  const support::Time begin = support::Clock::now();
  sender.start();
  uint32_t chunks = 0;
  const auto lose = [&](uint32_t) { return lost_of_every != 0 && ++chunks % lost_of_every == 0; };
  if (sender.serve(std::chrono::seconds(60), lose) != 0) return false;
  const double seconds = std::chrono::duration<double>(support::Clock::now() - begin).count();
  const double floor = 0.2 * static_cast<double>(sender.rounds()) +
                       0.001 * static_cast<double>(sender.full_reports()) +
                       0.006 * (kImageSize / 327680 + 1);
  bench::show({.name = std::string("firmware of 4 MiB, ") + title,
               .unit = "s",
               .ours = seconds,
               .reference_name = "its pauses alone",
               .reference = floor,
               .note = bench::readable(kImageSize / 1e6 / seconds) + " MB/s, " +
                       std::to_string(sender.rounds()) + " rounds, " +
                       std::to_string(sender.chunks_sent()) + " chunks got through"});
  return true;
}

}  // namespace

int main() {
  if (measure("no loss", 0) && measure("one chunk in fifty lost", 50)) return 0;
  std::printf("the image did not arrive\n");
  return 1;
}
