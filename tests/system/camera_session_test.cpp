// The connection to the camera service: its first bytes, the session, the end of a connection.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

constexpr const char* kShutterQuery = R"({"msg_id":1,"token":7,"type":"shutter_time"})";
constexpr const char* kSdQuery = R"({"msg_id":4097,"token":7})";
constexpr const char* kSessionReply = R"({"rval":0,"msg_id":257,"param":7})";

bool any_status(const Frame& /*frame*/) { return true; }

struct Board {
  Board() { peer.keep_alive(); }
  PeerLink peer;
  CameraFake camera;
  RunningMaintask maintask;
};

TEST(CameraSession, FollowsItsFixedOrder) {
  Board board;
  const auto first = board.camera.wait_for("{", seconds(10));
  ASSERT_TRUE(first) << board.maintask.process().output();
  EXPECT_EQ(first->text, CameraFake::kSessionRequest);
  let_pass(milliseconds(700));
  EXPECT_EQ(board.camera.texts().size(), 1U);  // nothing more before the session is granted
  EXPECT_FALSE(board.peer.wait_for_status(any_status, milliseconds(1), 0));

  const size_t mark = board.peer.mark();
  ASSERT_TRUE(board.camera.send(kSessionReply));
  const auto shutter = board.camera.wait_for("\"msg_id\":1,", seconds(5), 1);
  ASSERT_TRUE(shutter);
  EXPECT_EQ(shutter->text, kShutterQuery);
  const auto sd = board.camera.wait_for("4097", seconds(5), 1);
  ASSERT_TRUE(sd);
  EXPECT_EQ(sd->text, kSdQuery);
  // 500 ms, less what the first of the two may have waited for its reader.
  EXPECT_GE(sd->arrived - shutter->arrived, milliseconds(450));
  EXPECT_LE(sd->arrived - shutter->arrived, milliseconds(800) * kSlowdown);

  // The status record leaves every 300 ms from then on; nothing has told the client any value yet.
  let_pass(milliseconds(1700));
  std::vector<Frame> records;
  for (const Frame& frame : board.peer.frames(mark)) {
    if (frame.id == 76) records.push_back(frame);
  }
  ASSERT_GE(records.size(), 4U);
  for (size_t i = 0; i < records.size(); i++) {
    EXPECT_EQ(records[i].system, 36);
    EXPECT_EQ(hex(records[i].payload),
              "01 00 20 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "3c 3c 03 06 19 00 00 00 00 00 80 3f 02 00 00 00 00");
    if (i == 0) continue;
    const auto gap = records[i].arrived - records[i - 1].arrived;
    EXPECT_GE(gap, milliseconds(200));
    EXPECT_LE(gap, milliseconds(400) * kSlowdown);
  }
}

TEST(CameraSession, AReplyWithoutATokenChangesNothing) {
  Board board;
  ASSERT_TRUE(board.camera.wait_for("257", seconds(10)));
  ASSERT_TRUE(board.camera.send(R"({"rval":0,"msg_id":257})"));
  let_pass(milliseconds(900));
  EXPECT_EQ(board.camera.texts().size(), 1U);
  EXPECT_FALSE(board.peer.wait_for_status(any_status, milliseconds(1), 0));
}

TEST(CameraSession, ARefusedConnectionIsTriedEveryTwoSeconds) {
  PeerLink peer;
  CameraFake camera;
  camera.pause();
  RunningMaintask maintask;
  peer.keep_alive();
  ASSERT_TRUE(peer.wait_for_id(0, seconds(10), 0));
  camera.resume();
  const Time begin = Clock::now();
  ASSERT_TRUE(camera.wait_for("257", seconds(5)));
  EXPECT_LE(Clock::now() - begin, milliseconds(2300) * kSlowdown);

  // A session ends and the service stays away: two attempts are two seconds apart.
  camera.pause();
  camera.drop();
  let_pass(milliseconds(500));
  camera.resume();
  const Time again = Clock::now();
  const auto request = camera.wait_for("257", seconds(5), 1);
  ASSERT_TRUE(request);
  EXPECT_GE(request->arrived - again, milliseconds(1000));
  EXPECT_LE(request->arrived - again, milliseconds(2000) * kSlowdown);
}

TEST(CameraSession, ADroppedConnectionIsReplacedAtOnceWithTheOldTokenKept) {
  ScriptedBoard board;
  board.camera.forget_answers();
  const size_t mark = board.camera.mark();
  const Time begin = Clock::now();
  board.camera.drop();
  const auto request = board.camera.wait_for("257", seconds(5), mark);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->text, CameraFake::kSessionRequest);
  EXPECT_EQ(request->connection, 2);
  EXPECT_LE(request->arrived - begin, milliseconds(500) * kSlowdown);

  // No session reply yet: the token is still the old one.
  board.peer.send(command_long({.command = 2, .param1 = 9, .param2 = 2}));
  const auto rate = board.camera.wait_for("\"msg_id\":16,", seconds(5), mark);
  ASSERT_TRUE(rate);
  EXPECT_EQ(rate->text, R"({"msg_id":16,"token":7,"param":"512"})");

  ASSERT_TRUE(board.camera.send(R"({"rval":0,"msg_id":257,"param":-9})"));
  EXPECT_TRUE(
      board.camera.wait_for(R"({"msg_id":1,"token":-9,"type":"shutter_time"})", seconds(5), mark));
}

TEST(CameraSession, SendingWithoutAConnectionIsReported) {
  ScriptedBoard board;
  board.camera.pause();
  board.camera.drop();
  // The receive thread notices the end of the connection at once; then nothing can be sent.
  let_pass(milliseconds(200) * kSlowdown);
  board.peer.send(command_long({.command = 2, .param1 = 9, .param2 = 2}));
  board.peer.send(command_long({.command = 2, .param1 = 1}));
  const auto reported = [&board] {
    const auto lines = board.maintask.process().lines();
    return std::count(lines.begin(), lines.end(), "a12_json_send(line=130):json is disconnected!");
  };
  EXPECT_TRUE(poll_until([&] { return reported() >= 2; }, seconds(3)))
      << board.maintask.process().output();
  EXPECT_EQ(reported(), 2);
  // And nothing is stuck: the next session works as the first one.
  board.camera.resume();
  const size_t mark = board.peer.mark();
  ASSERT_TRUE(board.peer.wait_for_status([](const Frame&) { return true; }, seconds(5), mark));
  const size_t texts = board.camera.mark();
  ASSERT_TRUE(board.camera.wait_for("\"free\"", seconds(10), texts));
  let_pass(milliseconds(100));
  board.peer.send(command_long({.command = 2, .param1 = 1}));
  EXPECT_TRUE(board.camera.wait_for(R"({"msg_id":769,"token":7})", seconds(5), texts));
}

}  // namespace
