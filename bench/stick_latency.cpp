// From a stick datagram at the peer's side of the radio to its bytes at the flight controller's end
// of the serial line. Runs in a virtual board.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "base/descriptor.h"
#include "quantiles.h"
#include "support/app_client.h"
#include "support/fixtures.h"

namespace {

constexpr size_t kDatagram = 24;

// Takes so many bytes from the line. False when they do not come.
bool take(int line, size_t count) {
  uint8_t bytes[256];
  while (count > 0) {
    pollfd readable{line, POLLIN, 0};
    if (poll(&readable, 1, 1000) != 1) return false;
    const ssize_t got = read(line, bytes, std::min(count, sizeof(bytes)));
    if (got < 1) return false;
    count -= static_cast<size_t>(got);
  }
  return true;
}

}  // namespace

int main() {
  constexpr int kDatagrams = 3000;
  constexpr double kLimitMs = 2.0;
  support::PeerSocket stick(5000);
  support::RunningMaintask program("", {}, "applink");
  program.process().wait_for_line("stick socket bind ok", std::chrono::seconds(20));
  const base::Descriptor line(open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC));
  support::AppClient application;
  application.send(support::heartbeat(0));
  support::let_pass(std::chrono::milliseconds(500));

  std::vector<double> times;
  support::Bytes datagram(kDatagram);
  for (int i = 0; i < kDatagrams; i++) {
    datagram[0] = static_cast<uint8_t>(i);
    const support::Time sent = support::Clock::now();
    stick.send(datagram, 8867);
    if (!take(line.get(), kDatagram)) {
      std::printf("datagram %d never reached the line\n", i);
      return 1;
    }
    const auto took = support::Clock::now() - sent;
    times.push_back(std::chrono::duration<double, std::milli>(took).count());
    support::let_pass(std::chrono::milliseconds(4));
  }
  bench::show_times("stick datagram to serial line", times, kLimitMs);
}
