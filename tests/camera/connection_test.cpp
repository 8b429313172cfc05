// Sending to the camera service, and the operation code.
#include "camera/connection.h"

#include <sys/socket.h>

#include <array>
#include <future>
#include <thread>

#include "camera/camera_rig.h"
#include "camera/commands.h"
#include "support/loopback.h"

namespace camera_test {
namespace {

using camera::a12_json_send;
using camera::cam_get_op_state;
using camera::cam_json_context;
using camera::cam_set_op_state;

constexpr const char* kDisconnectedLine = "a12_json_send(line=130):json is disconnected!\n";
constexpr const char* kSendErrorLine = "a12_json_send(line=140):send error!\n";

class CamJson : public CameraTest {
 protected:
  static int32_t send(std::string_view text) {
    return a12_json_send(&cam_json_context, text.data(), text.size());
  }
  static bool connected() { return cam_json_context.ConnState.load() == 2; }
};

TEST_F(CamJson, ATextLeavesInOneSendWithoutTerminatorOrLength) {
  EXPECT_EQ(printed_by([] { EXPECT_EQ(send("{\"a\":1}"), 0); }), "");
  EXPECT_EQ(send("{}"), 0);
  EXPECT_EQ(timeline(), (Timeline{"{\"a\":1}", "{}"}));
}

TEST_F(CamJson, ExactlyTheGivenLengthIsSent) {
  EXPECT_EQ(a12_json_send(&cam_json_context, "{\"a\":1}", 3), 0);
  EXPECT_EQ(timeline(), Timeline{"{\"a"});
}

TEST_F(CamJson, WithoutAConnectionNothingIsSentAndTheLineIsPrinted) {
  disconnect();
  EXPECT_EQ(printed_by([] { EXPECT_EQ(send("{}"), -2); }), kDisconnectedLine);
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(CamJson, AFailedSendReturns0AndTheNextOneFindsNoConnection) {
  break_connection();
  EXPECT_TRUE(connected());
  EXPECT_EQ(printed_by([] { EXPECT_EQ(send("{}"), 0); }), kSendErrorLine);
  EXPECT_FALSE(connected());
  EXPECT_EQ(printed_by([] { EXPECT_EQ(send("{}"), -2); }), kDisconnectedLine);
}

TEST_F(CamJson, ASendOfNothingCountsAsFailed) {
  EXPECT_EQ(printed_by([] { EXPECT_EQ(send(""), 0); }), kSendErrorLine);
  EXPECT_FALSE(connected());
}

TEST_F(CamJson, ASendIsNoLongerThanTheConnectionAllows) {
  const std::string large(8 << 20, 'x');
  EXPECT_EQ(printed_by([&] { EXPECT_EQ(send(large), 0); }), kSendErrorLine);
  EXPECT_FALSE(connected());
}

TEST_F(CamJson, PublishingSendsTheFirstTextAndConnects) {
  disconnect();
  base::Descriptor near;
  base::Descriptor far;
  support::open_pair(&near, &far, SOCK_SEQPACKET);
  camera::cam_json_publish(near.get(), "hello", 5);
  EXPECT_TRUE(connected());
  EXPECT_EQ(cam_json_context.JsonConnFd.load(), near.get());
  std::array<char, 32> text{};
  EXPECT_EQ(recv(far.get(), text.data(), text.size(), MSG_DONTWAIT), 5);
  EXPECT_STREQ(text.data(), "hello");
}

TEST_F(CamJson, TheFirstBytesOfAConnectionAreTheSessionRequestWithToken0) {
  disconnect();
  base::Descriptor near;
  base::Descriptor far;
  support::open_pair(&near, &far);
  camera::cam_start_session(near.get());
  std::array<char, 64> text{};
  EXPECT_EQ(recv(far.get(), text.data(), text.size(), MSG_DONTWAIT), 24);
  EXPECT_STREQ(text.data(), "{\"msg_id\":257,\"token\":0}");
  EXPECT_EQ(cam_json_context.Token.load(), 77) << "the token of the last session is kept";
}

TEST_F(CamJson, AFirstTextThatCannotBeSentLeavesNoConnection) {
  disconnect();
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
  const base::Descriptor near(ends[0]);
  base::Descriptor(ends[1]).reset();
  EXPECT_EQ(printed_by([&] { camera::cam_start_session(near.get()); }), kSendErrorLine);
  EXPECT_FALSE(connected());
}

TEST_F(CamJson, WithdrawingLeavesNothingOpen) {
  camera::cam_json_withdraw();
  EXPECT_EQ(cam_json_context.JsonConnFd.load(), 0);
  EXPECT_FALSE(connected());
}

TEST_F(CamJson, DisconnectingBeforeAnySessionDoesNothing) {
  camera::cam_json_disconnect();
  EXPECT_TRUE(connected());
  EXPECT_NE(cam_json_context.JsonConnFd.load(), 0);
  EXPECT_EQ(send("{}"), 0);
  EXPECT_EQ(timeline(), Timeline{"{}"});
}

TEST_F(CamJson, DisconnectingAfterASessionEndsTheConnection) {
  cam_json_context.SessionStarted.store(1);
  camera::cam_json_disconnect();
  EXPECT_FALSE(connected());
  EXPECT_EQ(cam_json_context.JsonConnFd.load(), 0);
  EXPECT_EQ(cam_json_context.SessionStarted.load(), 1);
  std::array<char, 8> text{};
  EXPECT_EQ(recv(service(), text.data(), text.size(), MSG_DONTWAIT), 0) << "the far side sees it";
  EXPECT_EQ(printed_by([] { EXPECT_EQ(send("{}"), -2); }), kDisconnectedLine);
  camera::cam_json_disconnect();
  EXPECT_FALSE(connected());
}

TEST_F(CamJson, TheOperationCodesAre0To26) {
  for (const uint32_t code : {1U, 16U, 26U, 0U}) {
    EXPECT_EQ(cam_set_op_state(code), 0);
    EXPECT_EQ(cam_get_op_state(), code);
  }
}

TEST_F(CamJson, AnOperationCodeAbove26IsRefusedWithoutAPause) {
  cam_set_op_state(5);
  (void)timeline();
  for (const uint32_t code : {27U, 255U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(cam_set_op_state(code), -1);
    EXPECT_EQ(cam_get_op_state(), 5U);
  }
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(CamJson, AnOperationCodeIsFollowedBy10MsWithoutTheLock) {
  bool stored = false;
  bool lock_is_free = false;
  at_sleep([&] {
    stored = cam_get_op_state() == 12;
    lock_is_free = std::async(std::launch::async, [] {
                     const std::unique_lock lock(cam_json_context.SendLock, std::try_to_lock);
                     return lock.owns_lock();
                   }).get();
  });
  EXPECT_EQ(cam_set_op_state(12), 0);
  EXPECT_TRUE(stored);
  EXPECT_TRUE(lock_is_free);
  EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>{10000});
}

TEST_F(CamJson, ClearingTheOperationCodeNeedsNoPause) {
  cam_set_op_state(12);
  (void)timeline();
  camera::cam_clear_op_state();
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(timeline(), Timeline{});
}

// Texts of many threads stay whole while the connection comes and goes.
TEST_F(CamJson, SendersAndTheReceiveThreadMayMeetAtAnyTime) {
  constexpr int kTexts = 200;
  disconnect();  // from the fixture's connection, which nobody reads
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  base::Descriptor near(ends[0]);
  const base::Descriptor far(ends[1]);
  std::string received;
  std::thread reader([&] {
    std::array<char, 4096> part{};
    ssize_t size = 0;
    while ((size = recv(far.get(), part.data(), part.size(), 0)) > 0) {
      received.append(part.data(), static_cast<size_t>(size));
    }
  });
  std::atomic<int> sent = 0;
  std::atomic<bool> odd_result = false;
  printed_by([&] {
    std::vector<std::thread> senders;
    senders.reserve(3);
    for (int i = 0; i < 3; i++) {
      senders.emplace_back([&] {
        for (int n = 0; n < kTexts; n++) {
          const int32_t result = send("{\"msg_id\":4097}");
          if (result == 0) sent++;
          if (result != 0 && result != -2) odd_result = true;
        }
      });
    }
    for (int n = 0; n < kTexts; n++) {
      camera::cam_json_publish(near.get(), "{}", 2);
      camera::cam_json_withdraw();
    }
    for (std::thread& sender : senders) sender.join();
  });
  near.reset();
  reader.join();
  EXPECT_FALSE(odd_result);
  size_t whole = 0;
  size_t at = 0;
  const std::string first = "{}";
  const std::string text = "{\"msg_id\":4097}";
  while (at < received.size()) {
    if (received.compare(at, first.size(), first) == 0) {
      at += first.size();
    } else {
      ASSERT_EQ(received.substr(at, text.size()), text);
      at += text.size();
      whole++;
    }
  }
  EXPECT_LE(whole, static_cast<size_t>(sent));
}

}  // namespace
}  // namespace camera_test
