// The TCP application of applink: the filter of its phone, and its session.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <filesystem>

#include "faults/road.h"
#include "support/app_client.h"

namespace faults_test {
namespace {

using namespace support;  // NOLINT

constexpr const char* kTable = "/tmp/macset.txt";

std::string input_policy() {
  const std::string rules = run_command({"iptables", "-S", "INPUT"}).output;
  return rules.substr(0, rules.find('\n'));
}

bool has_policy(Rig& rig, const std::string& policy) {
  const bool has = rig.waits([&] { return input_policy() == "-P INPUT " + policy; });
  rig.note(policy + (has ? " is" : " is not") + " the filter's policy");
  return has;
}

AppClient connect(Rig& rig) {
  AppClient application(AppClient::Until::kServedIfPossible, 0,
                        rig.struck() ? seconds(1) : seconds(20));
  rig.note(application.connected() ? "the application is served" : "nobody serves the application");
  return application;
}

bool binding(Rig& rig) {
  AppClient application = connect(rig);
  if (!application.connected() || !has_policy(rig, "DROP")) return false;
  application.hang_up();
  return has_policy(rig, "ACCEPT") &&
         read_file(kTable) == std::string(std::getenv("BOARD_PEER_MAC")) + "\n";
}

// Takes what arrives at the flight controller's end of the line, until the bytes are there.
bool line_has(Rig& rig, int line, const Bytes& wanted, const std::function<void()>& repeat) {
  Bytes all;
  return rig.waits([&] {
    repeat();
    pollfd readable{line, POLLIN, 0};
    while (poll(&readable, 1, 20) == 1) {
      uint8_t bytes[256];
      const ssize_t got = read(line, bytes, sizeof(bytes));
      if (got < 1) break;
      all.insert(all.end(), bytes, bytes + got);
    }
    return std::search(all.begin(), all.end(), wanted.begin(), wanted.end()) != all.end();
  });
}

// Message 30 as a flight controller sends it: system 1, sequence 9, payload bytes 0 to 27.
Bytes attitude() {
  Bytes frame{0xFE, 28, 9, 1, 0, 30};
  for (uint8_t i = 0; i < 28; i++) frame.push_back(i);
  frame.insert(frame.end(), {0x93, 0xFC});
  return frame;
}

bool session(Rig& rig) {
  const base::Descriptor line(open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC));
  PeerSocket stick(5000);
  AppClient application = connect(rig);
  if (!application.connected() || !application.send(heartbeat(0))) return false;
  const Bytes moved{1, 2, 3, 255};
  const bool relayed = line_has(rig, line.get(), moved, [&] { stick.send(moved, 8867); });
  rig.note(relayed ? "the stick passes" : "the stick does not pass");
  if (!relayed) return false;
  const Bytes frame = attitude();
  const bool passed = rig.waits([&] {
    return write(line.get(), frame.data(), frame.size()) > 0 &&
           application.wait_for_bytes(frame, milliseconds(200));
  });
  rig.note(passed ? "the frame passes" : "the frame does not pass");
  application.hang_up();
  return passed && has_policy(rig, "ACCEPT");
}

// No session: within the time in which a vanished application is noticed nobody is kept out, by a
// process that was ended only until the next one.
std::string input_is_open(Rig& rig) {
  if (!rig.runs()) return "";
  return poll_until([] { return input_policy() == "-P INPUT ACCEPT"; }, seconds(25))
             ? ""
             : "the filter keeps everybody out";
}

}  // namespace

std::vector<Road> application_roads() {
  Road bind{"binding", binding};
  bind.program = "applink";
  bind.prepare = [](Rig&) { std::filesystem::remove(kTable); };
  bind.check = input_is_open;
  Road application{"applink", session};
  application.program = "applink";
  application.check = input_is_open;
  return {bind, application};
}

}  // namespace faults_test
