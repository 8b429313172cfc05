// applink: the main task with the application server, the stick socket and the bridge to the flight
// controller, through its ports and its line.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "base/descriptor.h"
#include "support/app_client.h"
#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

Frame app_heartbeat(uint8_t sysid = 9) { return heartbeat(0, 0, sysid); }

// The flight controller's end of the serial line.
class FlightController {
 public:
  FlightController() : line_(open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_TRUE(line_.open());
    take(milliseconds(50));  // what an earlier test has left
    received_.clear();
  }
  void send_bytes(const Bytes& bytes) {
    EXPECT_EQ(write(line_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // Takes what arrives until there are so many bytes.
  bool wait_for_bytes(size_t count, milliseconds limit) {
    return poll_until(
        [&] {
          take(milliseconds(5));
          return received_.size() >= count;
        },
        limit);
  }
  Bytes take_received() { return std::move(received_); }

 private:
  void take(milliseconds limit) {
    pollfd readable{line_.get(), POLLIN, 0};
    while (poll(&readable, 1, static_cast<int>(limit.count())) == 1) {
      uint8_t bytes[4096];
      const ssize_t got = read(line_.get(), bytes, sizeof(bytes));
      if (got < 1) return;
      received_.insert(received_.end(), bytes, bytes + got);
    }
  }

  base::Descriptor line_;
  Bytes received_;
};

// One program for all suites but the first; the application comes and goes.
class Applink : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    peer = new PeerLink;
    stick = new PeerSocket(5000);
    program = new RunningMaintask("", {}, "applink");
    peer->keep_alive();
    EXPECT_TRUE(program->process().wait_for_line("stick socket bind ok", seconds(20)));
  }
  static void TearDownTestSuite() {
    EXPECT_TRUE(program->runs()) << program->process().output();
    delete program;
    delete stick;
    delete peer;
  }

  // Confirms the session and waits until that shows: the stick passes.
  static void confirm(AppClient& application, FlightController& controller) {
    EXPECT_TRUE(application.send(app_heartbeat()));
    const Bytes probe{1};
    EXPECT_TRUE(poll_until(
        [&] {
          stick->send(probe, 8867);
          return controller.wait_for_bytes(1, milliseconds(50));
        },
        seconds(5)));
    let_pass(milliseconds(100));
    controller.wait_for_bytes(1000, milliseconds(50));
    controller.take_received();
  }
  static std::string input_policy() {
    const std::string rules = run_command({"iptables", "-S", "INPUT"}).output;
    return rules.substr(0, rules.find('\n'));
  }

  static PeerLink* peer;
  static PeerSocket* stick;
  static RunningMaintask* program;
};
PeerLink* Applink::peer;
PeerSocket* Applink::stick;
RunningMaintask* Applink::program;

// Message 30 as a flight controller sends it: system 1, sequence 9, payload bytes 0 to 27.
Bytes attitude() {
  Bytes frame{0xFE, 28, 9, 1, 0, 30};
  for (uint8_t i = 0; i < 28; i++) frame.push_back(i);
  frame.push_back(0x93);
  frame.push_back(0xFC);
  return frame;
}

TEST_F(Applink, ASessionWithoutAHeartbeatIsCutAfterTenSeconds) {
  ChildProcess& process = program->process();
  const size_t lines = process.lines().size();
  const Time connecting = Clock::now();
  AppClient application;
  // The filter's commands stand before the accept's line and behind the timer's, and take as long as
  // the machine is busy.
  EXPECT_TRUE(process.wait_for_line("accept ok !", seconds(20), lines));
  const Time accepted = Clock::now();
  EXPECT_TRUE(process.wait_for_line("MavlinkTimeoutNormal(line=428):normal timer out!", seconds(20),
                                    lines));
  const Time cut = Clock::now();
  EXPECT_GE(cut - connecting, milliseconds(9800));
  EXPECT_LE(cut - accepted, milliseconds(12000) * kSlowdown);
  EXPECT_TRUE(application.wait_for_end(seconds(20)));
  EXPECT_TRUE(poll_until([] { return input_policy() == "-P INPUT ACCEPT"; }, seconds(3)));
}

TEST_F(Applink, AConfirmedSessionStaysAndHearsHeartbeats) {
  AppClient application;
  EXPECT_TRUE(application.send(app_heartbeat()));
  EXPECT_FALSE(application.wait_for_end(milliseconds(13000) / kSlowdown));
  application.forget();
  // Two more beats, and both ways still work: binding is enabled, nothing is recorded.
  EXPECT_TRUE(application.wait_for_bytes(Bytes{0xFE, 9}, seconds(2)));
  EXPECT_EQ(input_policy(), "-P INPUT DROP");
  application.hang_up();
  EXPECT_TRUE(poll_until([] { return input_policy() == "-P INPUT ACCEPT"; }, seconds(3)));
}

TEST_F(Applink, FramesForThePeerReachItByteForByteAndAreNotDispatched) {
  AppClient application;
  const auto stream_bit = [&](uint8_t bit) {
    return peer->wait_for([&](const Frame& f) { return f.id == 0 && (f.u8(7) & 1) == bit; },
                          seconds(3), peer->mark());
  };
  application.send(stream_on(false));  // from system 9: dispatched
  EXPECT_TRUE(stream_bit(0));
  for (const uint8_t sysid : std::initializer_list<uint8_t>{5, 21, 37}) {
    Frame frame = stream_on(true);
    frame.system = sysid;
    frame.sequence = 77;
    frame.component = 3;
    const Bytes wire = encode(frame);
    const size_t mark = peer->mark();
    application.send_bytes(wire);
    EXPECT_TRUE(peer->socket().wait_for([&](const Datagram& d) { return d.bytes == wire; },
                                        seconds(3), mark));
  }
  EXPECT_TRUE(stream_bit(0));
  application.send(stream_on(true));
  EXPECT_TRUE(stream_bit(1));
}

TEST_F(Applink, StickDatagramsPassOnlyInAConfirmedSession) {
  FlightController controller;
  const Bytes datagram{0x00, 0xFE, 0x0A, 0x0D, 0x11, 0x13, 0x03, 0xFF};
  stick->send(datagram, 8867);
  EXPECT_FALSE(controller.wait_for_bytes(1, milliseconds(300)));
  {
    AppClient application;
    stick->send(datagram, 8867);
    EXPECT_FALSE(controller.wait_for_bytes(1, milliseconds(300)));
    confirm(application, controller);
    stick->send(datagram, 8867);
    EXPECT_TRUE(controller.wait_for_bytes(datagram.size(), seconds(3)));
    EXPECT_EQ(controller.take_received(), datagram);
  }
  EXPECT_TRUE(poll_until([] { return input_policy() == "-P INPUT ACCEPT"; }, seconds(5)));
  let_pass(milliseconds(200));
  stick->send(datagram, 8867);
  EXPECT_FALSE(controller.wait_for_bytes(1, milliseconds(300)));
}

TEST_F(Applink, SerialFramesReachTheApplicationThroughNoise) {
  FlightController controller;
  AppClient application;
  application.forget();
  Bytes noise(3000);
  for (size_t i = 0; i < noise.size(); i++) noise[i] = static_cast<uint8_t>(i * i * 31 + i);
  controller.send_bytes(noise);
  controller.send_bytes(Bytes(300, 0));  // ends whatever was half-read
  controller.send_bytes(attitude());
  EXPECT_TRUE(application.wait_for_bytes(attitude(), seconds(3)));
}

TEST_F(Applink, ASecondApplicationWaitsUntilTheFirstHasLeft) {
  AppClient first;
  AppClient second(AppClient::Until::kConnected);
  EXPECT_FALSE(second.wait_for_bytes({}, milliseconds(700) / kSlowdown));
  first.hang_up();
  // The listening socket is opened anew at each reset: who waited there comes again.
  EXPECT_TRUE(second.wait_for_end(seconds(5)));
  AppClient again;
  EXPECT_TRUE(again.send(app_heartbeat()));
}

TEST_F(Applink, AFloodOfHalfFramesAndAStormOfReconnectsAreOutlived) {
  const Bytes whole = encode(app_heartbeat());
  for (int i = 0; i < 15; i++) {
    AppClient application(i % 3 == 0 ? AppClient::Until::kServed : AppClient::Until::kConnected);
    Bytes halves;
    for (size_t k = 0; k < 2000; k++) {
      halves.insert(halves.end(), whole.begin(),
                    whole.begin() + static_cast<std::ptrdiff_t>(1 + (k + static_cast<size_t>(i)) %
                                                                        (whole.size() - 1)));
    }
    application.send_bytes(halves);
    application.hang_up(i % 2 == 0);
  }
  FlightController controller;
  AppClient application;
  application.send_bytes(Bytes(300, 0));
  confirm(application, controller);
  EXPECT_TRUE(program->runs());
}

TEST_F(Applink, AnApplicationThatDoesNotReadIsCut) {
  const size_t lines = program->process().lines().size();
  FlightController controller;
  AppClient application(AppClient::Until::kServed, 4096);
  application.send(app_heartbeat());
  Bytes frames;
  while (frames.size() < 2000) {
    const Bytes frame = attitude();
    frames.insert(frames.end(), frame.begin(), frame.end());
  }
  const std::string expected =
      "mavlink_send(line=859):send error,Resource temporarily unavailable!";
  EXPECT_TRUE(poll_until(
      [&] {
        controller.send_bytes(frames);
        const auto now = program->process().lines();
        return std::find(now.begin() + static_cast<std::ptrdiff_t>(lines), now.end(), expected) !=
               now.end();
      },
      seconds(40)));
  AppClient next;
  EXPECT_TRUE(next.send(app_heartbeat()));
}

TEST_F(Applink, AnswersTheSignalsThatEndTheMainTask) {
  program->process().signal(SIGTERM);
  const auto status = program->process().wait_for_end(seconds(5));
  ASSERT_TRUE(status);
  EXPECT_EQ(WTERMSIG(*status), SIGKILL);
  EXPECT_TRUE(program->process().count_lines("Got signal 15, program exits!"));
  delete program;
  program = new RunningMaintask("", {}, "applink");  // the next tests' one
  EXPECT_TRUE(program->process().wait_for_line("stick socket bind ok", seconds(20)));
}

// The factory's line is left to the factory.
TEST(ApplinkWithTestMarker, LeavesTheSerialLineAlone) {
  constexpr const char* kMarker = "/tmp/SD0/KRVMEDIA/testmode.conf";
  write_file(kMarker, "");
  {
    RunningMaintask program("", {}, "applink");
    EXPECT_TRUE(program.process().wait_for_line("stick socket bind ok", seconds(20)));
    EXPECT_EQ(program.process().count_lines("/dev/ttyS1"), 0U);
  }
  std::filesystem::remove(kMarker);
}

}  // namespace
