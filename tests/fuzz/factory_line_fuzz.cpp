// Any bytes on the factory's line, from the test station: each line of the input is one read. A test
// that it starts drives the camera and runs its commands; its replies are read by the ground
// station's end, and are the known ones.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "base/descriptor.h"
#include "fake_base/fake_base.h"
#include "fuzz/aircraft.h"
#include "groundstation/flightside/factory_station.h"
#include "supervisor/testmode/hardware_tests.h"
#include "supervisor/testmode/radio.h"
#include "supervisor/testmode/testmode.h"
#include "supervisor/testmode/uart.h"

namespace {

using namespace supervisor;  // NOLINT

constexpr size_t kReadSize = 100;
constexpr const char* kMac = "02:4b:9c:de:f0:6f";

// Message boundaries, so that each line is one read.
struct Line {
  Line() {
    int ends[2] = {-1, -1};
    fuzz::check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "no line");
    near.reset(ends[0]);
    far.reset(ends[1]);
  }
  base::Descriptor near;
  base::Descriptor far;
};

bool is_known(const std::string& reply) {
  for (const groundstation::FactoryTest& test : groundstation::factory_tests()) {
    if (std::ranges::find(test.replies, reply) != test.replies.end()) return true;
  }
  return groundstation::is_mac_text(reply);
}

// Returns how many replies have come.
int read_replies(const Line& line) {
  groundstation::FactoryReplies station;
  int replies = 0;
  uint8_t bytes[1024];
  for (;;) {
    const ssize_t size = recv(line.far.get(), bytes, sizeof(bytes), MSG_DONTWAIT);
    if (size < 1) return replies;
    station.feed({bytes, static_cast<size_t>(size)}, [&](const std::string& reply) {
      fuzz::check(is_known(reply), "a reply", reply);
      replies++;
    });
  }
}

void take_line(const Line& line, std::span<const uint8_t> text) {
  text = text.first(std::min(text.size(), kReadSize));
  fuzz::check(write(line.far.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()),
              "the line of the target itself");
  fake_base::push_shell_line(kMac);
  const size_t commands = fake_base::commands().size();
  testmode_uart_turn();
  const int replies = read_replies(line);
  const std::string_view command(fuzz::text_of(text).substr(0, fuzz::text_of(text).find('\0')));
  const groundstation::FactoryTest* test = groundstation::find_factory_test(command);
  const size_t wanted = test != nullptr ? test->replies.size() : 0;
  fuzz::check(static_cast<size_t>(replies) == wanted, "replies", command);
  if (test == nullptr) fuzz::check(fake_base::commands().size() == commands, "a command", command);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const Line line;
  fuzz::reset_aircraft();
  test_uart_state.clear();
  testmode_radio_clear();
  testmode_tests_clear();
  test_uart_state.fd.store(line.near.get());
  fuzz::Input input(bytes, size);
  while (!input.empty()) {
    const auto text = input.until('\n');
    if (!text.empty()) take_line(line, text);
  }
  test_uart_state.clear();
  return 0;
}
