// The receive thread against a real service on the real port. The tests build on one another: the
// thread is started once, as in the program, and the last test ends it.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "camera/client.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/frame_decoder.h"
#include "camera/loopback_service.h"
#include "camera/service_state.h"
#include "flightlink/wire/link_context.h"
#include "supervisor/state/camera_flags.h"
#include "support/loopback.h"
#include "support/no_descriptors.h"

namespace camera_test {
namespace {

using namespace std::chrono_literals;  // NOLINT
using camera::cam_json_context;
using std::chrono::steady_clock;

constexpr milliseconds kSoon = 1000ms * kSlowdown;
constexpr const char* kSessionRequest = "{\"msg_id\":257,\"token\":0}";

bool poll_until(const std::function<bool()>& condition, milliseconds limit) {
  const auto end = steady_clock::now() + limit;
  while (!condition()) {
    if (steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(2ms);
  }
  return true;
}

milliseconds since(steady_clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

std::unique_ptr<LoopbackService> service;

class CamClientBoard : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    service = std::make_unique<LoopbackService>();
    service->listen();
    ASSERT_EQ(camera::cam_json_init(), 0);
  }
  static void TearDownTestSuite() {
    flightlink::mavlink_timer_set(&cam_json_context.StatusTimer, 0);
    service.reset();
  }

  // A new connection, as after a drop of the one before, with its first bytes read.
  static void connect() {
    ASSERT_TRUE(service->accept_within(6s));
    ASSERT_EQ(service->read_within(kSoon), kSessionRequest);
  }
  static void reconnect() {
    service->drop();
    connect();
  }
  static bool connected() { return cam_json_context.ConnState.load() == 2; }
  // The client answers to this with the query of the card's space.
  static void expect_alive() {
    service->say(R"({"rval":0,"msg_id":4097})");
    EXPECT_TRUE(service->wait_for(R"("type":"total"})", kSoon));
  }
};

TEST_F(CamClientBoard, AFirstConnectionSaysExactlyTheSessionRequest) {
  ASSERT_TRUE(service->accept_within(6s));
  EXPECT_EQ(service->read_within(kSoon), kSessionRequest);
  EXPECT_EQ(service->read_within(300ms), "") << "nothing more without an answer";
  EXPECT_EQ(cam_json_context.SessionStarted.load(), 0);
}

TEST_F(CamClientBoard, DisconnectingBeforeASessionDoesNothing) {
  camera::cam_json_disconnect();
  EXPECT_FALSE(service->ends_within(200ms));
  EXPECT_TRUE(connected());
}

TEST_F(CamClientBoard, ASessionAsksForTheShutterAndHalfASecondLaterForTheCard) {
  const auto start = steady_clock::now();
  service->say(R"({"rval":0,"msg_id":257,"param":42})");
  EXPECT_TRUE(service->wait_for(R"({"msg_id":1,"token":42,"type":"shutter_time"})", kSoon));
  EXPECT_TRUE(service->wait_for(R"({"msg_id":4097,"token":42})", kSoon));
  EXPECT_GE(since(start), 500ms);
  EXPECT_EQ(cam_json_context.Token.load(), 42);
}

TEST_F(CamClientBoard, StatusRecordsLeaveEvery300Ms) {
  sockaddr_in address{};
  const base::Descriptor peer = support::open_loopback(&address);
  const base::Descriptor sender = support::open_socket(SOCK_DGRAM);
  {
    const std::lock_guard lock(flightlink::mavlink_context.peer_lock);
    flightlink::mavlink_context.peer_address = address;
    flightlink::mavlink_context.peer_socket.store(sender.get());
  }
  std::vector<steady_clock::time_point> times;
  while (times.size() < 10) {
    pollfd readable{peer.get(), POLLIN, 0};
    ASSERT_EQ(poll(&readable, 1, 3000), 1);
    std::array<uint8_t, 512> datagram{};
    const ssize_t got = recv(peer.get(), datagram.data(), datagram.size(), 0);
    ASSERT_GT(got, 0);
    times.push_back(steady_clock::now());
    EXPECT_EQ(decode_frame(std::span(datagram).first(static_cast<size_t>(got))).substr(0, 16),
              "app 76: 01 00 20");
  }
  {
    const std::lock_guard lock(flightlink::mavlink_context.peer_lock);
    flightlink::mavlink_context.peer_socket.store(0);
  }
  // A busy machine reads some of them late: the one in the middle tells the period.
  std::vector<steady_clock::duration> gaps;
  for (size_t i = 1; i < times.size(); i++) gaps.push_back(times[i] - times[i - 1]);
  std::sort(gaps.begin(), gaps.end());
  EXPECT_GT(gaps[4], 250ms);
  EXPECT_LT(gaps[4], 350ms * kSlowdown);
}

TEST_F(CamClientBoard, AfterADropItConnectsAtOnceAndKeepsTheToken) {
  const auto start = steady_clock::now();
  service->drop();
  ASSERT_TRUE(service->accept_within(6s));
  EXPECT_LT(since(start), kSoon);
  EXPECT_EQ(service->read_within(kSoon), kSessionRequest) << "always with token 0";
  ASSERT_TRUE(poll_until(connected, kSoon));
  EXPECT_EQ(camera::cam_take_photo(), 0);
  EXPECT_TRUE(service->wait_for(R"({"msg_id":769,"token":42})", kSoon));
  service->say(R"({"rval":0,"msg_id":257,"param":43})");
  EXPECT_TRUE(service->wait_for(R"({"msg_id":4097,"token":43})", 2 * kSoon));
}

TEST_F(CamClientBoard, AResetIsADrop) {
  const auto start = steady_clock::now();
  service->reset_connection();
  connect();
  EXPECT_LT(since(start), kSoon);
}

TEST_F(CamClientBoard, ADropClearsWhatCanNoLongerBeAnswered) {
  ASSERT_TRUE(poll_until(connected, kSoon));
  camera::cam_start_record();
  supervisor::set_photo_pending(1);
  supervisor::set_recording(1);
  camera::cam_set_op_state(5);
  reconnect();
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
  EXPECT_EQ(camera::cam_get_op_state(), 0U);
  EXPECT_EQ(supervisor::get_recording(), 1);
  supervisor::set_recording(0);
}

TEST_F(CamClientBoard, GarbageOfEveryKindIsSurvived) {
  std::string noise;
  for (uint32_t i = 0, word = 12345; i < 20000; i++) {
    word = word * 1664525 + 1013904223;
    noise += static_cast<char>(word >> 24);
  }
  for (const std::string& garbage : {std::string(4096, '{'), std::string(4096, '['),
                                     std::string(9000, '}'), std::string(4096, '\0'), noise}) {
    service->say(garbage);
    std::this_thread::sleep_for(100ms * kSlowdown);  // the next text is a read of its own
    expect_alive();
  }
}

TEST_F(CamClientBoard, AMessageSplitOverTwoReadsIsLost) {
  service->say(R"({"rval":0,"msg)");
  std::this_thread::sleep_for(100ms * kSlowdown);
  service->say(R"(_id":4097})");
  EXPECT_FALSE(service->wait_for("total", 300ms));
  expect_alive();
}

TEST_F(CamClientBoard, DisconnectingAfterASessionConnectsAnew) {
  const auto start = steady_clock::now();
  camera::cam_json_disconnect();
  EXPECT_TRUE(service->ends_within(kSoon));
  connect();
  EXPECT_LT(since(start), kSoon);
}

TEST_F(CamClientBoard, ARefusedConnectIsTriedAgainAfter2Seconds) {
  service->stop_listening();
  service->drop();
  ASSERT_TRUE(poll_until([] { return !connected(); }, kSoon));
  const auto refused = steady_clock::now();
  std::this_thread::sleep_for(200ms);
  service->listen();
  ASSERT_TRUE(service->accept_within(6s));
  EXPECT_GT(since(refused), 1900ms);
  EXPECT_LT(since(refused), 2000ms + kSoon);
  EXPECT_EQ(service->read_within(kSoon), kSessionRequest);
}

// A service that does not read any more. Whoever sends then waits, but none for longer than the
// connection's own limit of 2 s, however many send at once.
TEST_F(CamClientBoard, AServiceThatDoesNotReadHoldsNoSenderForLong) {
  service->listen(4096);
  reconnect();
  ASSERT_TRUE(poll_until(connected, kSoon));
  const std::string text(32768, ' ');
  std::vector<std::future<milliseconds>> senders;
  senders.reserve(3);
  for (int i = 0; i < 3; i++) {
    senders.push_back(std::async(std::launch::async, [&text] {
      milliseconds longest{};
      const auto give_up = steady_clock::now() + 20s;
      while (steady_clock::now() < give_up) {
        const auto start = steady_clock::now();
        const int32_t result = camera::a12_json_send(&cam_json_context, text.data(), text.size());
        longest = std::max(longest, since(start));
        if (result != 0 || !connected()) break;
      }
      return longest;
    }));
  }
  // One send may end after a part of its text; then the next one waits the full time.
  for (auto& sender : senders) EXPECT_LT(sender.get(), 2000ms + kSoon);
  service->listen();
  const auto start = steady_clock::now();
  connect();
  EXPECT_LT(since(start), 2000ms + kSoon) << "the receive thread looks every 2 s";
  expect_alive();
}

TEST_F(CamClientBoard, WithoutASocketTheReceiveThreadEndsForGood) {
  {
    const support::NoDescriptors none;
    service->drop();
    EXPECT_TRUE(poll_until([] { return !connected(); }, kSoon));
    std::this_thread::sleep_for(200ms);
  }
  EXPECT_FALSE(service->accept_within(2500ms));
  EXPECT_FALSE(connected());
}

}  // namespace
}  // namespace camera_test
