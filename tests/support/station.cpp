#include "support/station.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

#include "support/child_process.h"

namespace support {
namespace {

std::string from_environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

base::Descriptor Station::open_socket(int type) const {
  base::Descriptor made;
  int error = 0;
  // A socket stays in the network namespace of the thread that made it.
  std::thread([&] {
    const base::Descriptor there(open(network.c_str(), O_RDONLY | O_CLOEXEC));
    if (there.open() && setns(there.get(), CLONE_NEWNET) == 0) {
      made.reset(socket(AF_INET, type | SOCK_CLOEXEC, 0));
    }
    error = errno;
  }).join();
  errno = error;
  return made;
}

int Station::run(const std::string& script) const {
  return run_command({"on-peer", "sh", "-c", script}, seconds(20), {{"BOARD_PEER_NETNS", network}})
      .status;
}

bool Station::reaches_the_board() const {
  const std::string once = "ping -q -c1 -W1 " + board + " >/dev/null";
  return run(once + " || " + once) == 0;
}

Station peer_station() {
  return {from_environment("BOARD_PEER_NETNS"), from_environment("BOARD_PEER_MAC")};
}

Station add_second_station() {
  const Station second{"/run/netns/second", "02:4b:9c:de:f0:70"};
  const std::string script =
      "ip netns add second &&"
      "on-peer ip link add link wlan0 name wlan0 netns second address " +
      second.mac +
      "  type macvlan mode bridge &&"
      "export BOARD_PEER_NETNS=/run/netns/second &&"
      "on-peer ip link set wlan0 up && on-peer ip address add 192.168.31.112/24 dev wlan0";
  const CommandResult made = run_command({"bash", "-c", script});
  EXPECT_EQ(made.status, 0) << made.output;
  return second;
}

}  // namespace support
