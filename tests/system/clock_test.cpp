// The clock message, with a settimeofday that only notes its calls, and with the board's own one,
// which refuses.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

constexpr const char* kNotes = "/tmp/clock.log";
constexpr const char* kTold =
    R"({"msg_id":2,"token":7,"type":"camera_clock","param":"2020-01-01 08:00:00"})";

// 2020-01-01 00:00:00.999 UTC with an offset of 8 hours.
Frame clock_message() {
  return message(111, {0xE7, 0xEB, 0x66, 0x5E, 0x6F, 0x01, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00});
}

struct Session {
  explicit Session(const Environment& environment) : maintask("", environment) {
    camera.answer_session();
    peer.keep_alive();
    EXPECT_TRUE(
        peer.wait_for_status([](const Frame& f) { return f.f32(12) == 4096.0F; }, seconds(15), 0))
        << maintask.process().output();
  }
  ~Session() { EXPECT_TRUE(maintask.runs()); }
  // Sends clock messages until they are only answered, for at most 5 s.
  bool locks() {
    for (int tries = 0; tries < 20; tries++) {
      if (reply_to(clock_message(), milliseconds(250)) == "00 00 6f 00 00 00 00") return true;
    }
    return false;
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The payload of the reply to one clock message, empty when none comes.
  std::string reply_to(const Frame& frame, milliseconds limit = seconds(5)) {
    const size_t mark = peer.mark();
    peer.send(frame);
    const auto reply = peer.wait_for_id(52, limit, mark);
    return reply && reply->system == 36 ? hex(reply->payload) : "";
  }

  CameraFake camera;
  PeerLink peer;
  RunningMaintask maintask;
};

// The machine's own clock must not move; a step shows against the clock that never jumps.
class ClockWatch {
 public:
  ~ClockWatch() {
    using std::chrono::system_clock;
    const auto wall = system_clock::now() - wall_;
    const auto steady = Clock::now() - steady_;
    EXPECT_LT(std::chrono::abs(wall - steady), seconds(5));
  }

 private:
  std::chrono::system_clock::time_point wall_ = std::chrono::system_clock::now();
  Time steady_ = Clock::now();
};

TEST(CameraClock, IsSetToldAndThenLocked) {
  const ClockWatch watch;
  std::filesystem::remove(kNotes);
  Session session(noting_clock(kNotes));
  // As long as the camera has not confirmed it, the clock is set again. A success has no reply.
  for (int i = 0; i < 2; i++) {
    const size_t texts = session.camera.mark();
    EXPECT_EQ(session.reply_to(clock_message(), milliseconds(300)), "");
    const auto told = session.camera.wait_for("camera_clock", seconds(5), texts);
    ASSERT_TRUE(told);
    EXPECT_EQ(told->text, kTold);
  }
  EXPECT_EQ(read_file(kNotes), "1577865600 0\n1577865600 0\n");

  ASSERT_TRUE(session.camera.send(R"({"rval":0,"msg_id":2,"type":"camera_clock"})"));
  const size_t texts = session.camera.mark();
  EXPECT_TRUE(session.locks());
  const std::string notes = read_file(kNotes);
  const size_t told = session.camera.count("camera_clock", texts);
  EXPECT_EQ(session.reply_to(clock_message()), "00 00 6f 00 00 00 00");
  EXPECT_EQ(read_file(kNotes), notes);
  EXPECT_EQ(session.camera.count("camera_clock", texts), told);
}

TEST(CameraClock, IsToldAgainToAServiceThatWasStartedAnew) {
  const ClockWatch watch;
  Session session(noting_clock(kNotes));
  ASSERT_TRUE(session.camera.send(R"({"rval":0,"msg_id":2,"type":"camera_clock"})"));
  EXPECT_TRUE(session.locks());
  const size_t texts = session.camera.mark();
  session.camera.drop();
  ASSERT_TRUE(session.camera.wait_for(CameraFake::kSessionRequest, seconds(10), texts));
  session.peer.send(clock_message());
  const auto told = session.camera.wait_for("camera_clock", seconds(5), texts);
  ASSERT_TRUE(told);
  EXPECT_NE(told->text.find(kTold), std::string::npos);
  EXPECT_EQ(told->connection, 2);
}

TEST(CameraClock, ThatCannotBeSetIsAnsweredWith4) {
  const ClockWatch watch;
  Session session({});
  const size_t texts = session.camera.mark();
  for (int i = 0; i < 2; i++) {
    EXPECT_EQ(session.reply_to(clock_message()), "00 00 6f 04 00 00 00");
  }
  // Odd times and short frames are refused alike.
  EXPECT_EQ(session.reply_to(message(111, Bytes(12, 0xFF))), "00 00 6f 04 00 00 00");
  EXPECT_EQ(session.reply_to(message(111, Bytes(3))), "00 00 6f 04 00 00 00");
  EXPECT_EQ(session.reply_to(message(111, Bytes())), "00 00 6f 04 00 00 00");
  EXPECT_EQ(session.camera.count("camera_clock", texts), 0U);
}

}  // namespace
