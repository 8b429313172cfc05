// The acknowledged sender on a link with a round trip of 20 ms, against the limit of any sender
// that waits for each answer: a bare loop of send and receive on the same link. Runs in a virtual
// board.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "base/clock.h"
#include "base/descriptor.h"
#include "flightlink/wire/reliable_udp.h"
#include "report.h"

namespace {

constexpr int kPayload = 1024;
constexpr int kRounds = 4;
constexpr int kSendsPerRound = 100;
constexpr uint64_t kRoundTripUs = 20000;

sockaddr_in loopback(uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// The far side: every datagram is answered 20 ms after it came, a frame by its stamp on port 8866
// and anything else by itself.
void answer(int socket) {
  std::array<uint8_t, 2048> bytes{};
  const sockaddr_in acknowledgements = loopback(8866);
  while (true) {
    sockaddr_in from{};
    socklen_t size = sizeof(from);
    const ssize_t got =
        recvfrom(socket, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (got < 1) return;
    base::sleep_us(kRoundTripUs);
    if (std::memcmp(bytes.data(), "C0XF", 4) == 0) {
      bytes[2] = bytes[3] = 'F';
      sendto(socket, bytes.data() + 2, 6, 0, reinterpret_cast<const sockaddr*>(&acknowledgements),
             sizeof(acknowledgements));
    } else {
      sendto(socket, bytes.data(), 6, 0, reinterpret_cast<const sockaddr*>(&from), size);
    }
  }
}

// Payload bytes per second of so many sends.
template <typename Send>
double goodput(Send send) {
  const uint64_t begin = base::monotonic_us();
  for (int i = 0; i < kSendsPerRound; i++) {
    if (!send()) return 0;
  }
  const auto took = static_cast<double>(base::monotonic_us() - begin);
  return kPayload * kSendsPerRound * 1e6 / took;
}

}  // namespace

int main() {
  flightlink::reliable_udp_block_alarm();
  const base::Descriptor far(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const base::Descriptor own(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_in to = loopback(5000);
  if (bind(far.get(), reinterpret_cast<const sockaddr*>(&to), sizeof(to)) != 0 ||
      flightlink::reliable_udp_init() != 0) {
    std::printf("the link could not be made\n");
    return 1;
  }
  while (flightlink::reliable_udp_context.ack_socket.load() == 0) base::sleep_ms(1);
  std::thread(answer, far.get()).detach();

  std::array<uint8_t, kPayload> payload{};
  const auto bare = [&] {
    uint8_t reply[6];
    return sendto(own.get(), payload.data(), payload.size(), 0,
                  reinterpret_cast<const sockaddr*>(&to), sizeof(to)) == kPayload &&
           recv(own.get(), reply, sizeof(reply), 0) > 0;
  };
  const auto acknowledged = [&] {
    return flightlink::reliable_udp_send(payload.data(), kPayload, own.get(), &to) == kPayload;
  };
  double reference = 0;
  double ours = 0;
  for (int i = 0; i < kRounds; i++) {
    reference += goodput(bare) / kRounds;
    ours += goodput(acknowledged) / kRounds;
  }
  if (reference == 0) {
    std::printf("the reference got no answer\n");
    return 1;
  }
  bench::show({.name = "acknowledged sender at a round trip of 20 ms",
               .unit = "KB/s",
               .ours = ours / 1000,
               .reference_name = "bare stop-and-wait",
               .reference = reference / 1000,
               .goal = bench::at_least(0.9)});
  std::_Exit(0);
}
