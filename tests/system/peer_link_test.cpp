// The MAVLink link to the peer on UDP port 8888: heartbeats, silence, and messages that answer
// without a camera.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/scripted_suite.h"

namespace {

using namespace support;  // NOLINT

bool is_heartbeat(const Frame& frame) { return frame.id == 0; }

std::vector<Frame> heartbeats(const PeerLink& peer, size_t mark) {
  std::vector<Frame> result;
  for (Frame& frame : peer.frames(mark)) {
    if (frame.id == 0) result.push_back(std::move(frame));
  }
  return result;
}

TEST(Heartbeat, LeavesOnceASecondWithConsecutiveNumbers) {
  PeerLink peer;
  RunningMaintask maintask;
  peer.keep_alive();
  ASSERT_TRUE(poll_until([&] { return heartbeats(peer, 0).size() >= 4; }, seconds(15)))
      << maintask.process().output();
  const auto beats = heartbeats(peer, 0);
  EXPECT_EQ(beats[0].sequence, 0);
  for (size_t i = 0; i < beats.size(); i++) {
    EXPECT_EQ(beats[i].system, 37);
    EXPECT_EQ(beats[i].component, 0);
    // custom_mode, type, autopilot, base_mode 0; live video is enabled; version 3.
    EXPECT_EQ(hex(beats[i].payload), "00 00 00 00 00 00 00 01 03");
    if (i == 0) continue;
    EXPECT_EQ(beats[i].sequence, beats[i - 1].sequence + 1);
    const auto gap = beats[i].arrived - beats[i - 1].arrived;
    EXPECT_GE(gap, milliseconds(800));
    EXPECT_LE(gap, milliseconds(1200) * kSlowdown);
  }
}

TEST(Silence, RecyclesTheSocketEveryFourSecondsAndSwitchesTheLampOnce) {
  std::filesystem::remove("/tmp/gpio.log");
  PeerLink peer;
  RunningMaintask maintask;
  ASSERT_TRUE(peer.wait_for(is_heartbeat, seconds(10), 0));
  // Two recycles: after 4 s, and after another second's pause and 4 s more.
  let_pass(milliseconds(10500));
  EXPECT_EQ(gpio_values("10"), (std::vector<std::string>{"0"}));
  const auto beats = heartbeats(peer, 0);
  int pauses = 0;
  for (size_t i = 1; i < beats.size(); i++) {
    if (beats[i].arrived - beats[i - 1].arrived > milliseconds(1600)) pauses++;
  }
  EXPECT_EQ(pauses, 2);

  peer.keep_alive();
  EXPECT_TRUE(poll_until([] { return gpio_values("10").size() >= 2; }, seconds(5)));
  let_pass(milliseconds(5500));  // a link with traffic is never recycled
  EXPECT_EQ(gpio_values("10"), (std::vector<std::string>{"0", "1"}));

  peer.fall_silent();
  const Time begin = Clock::now();
  EXPECT_TRUE(poll_until([] { return gpio_values("10").size() >= 3; }, seconds(8)));
  EXPECT_GE(Clock::now() - begin, milliseconds(3400));
  EXPECT_EQ(gpio_values("10").back(), "0");
}

// The radio goes down for less than the silence after which the socket is made anew.
TEST(Heartbeat, GoesOnWhenThePeerIsHeardAgainAfterAFailedSend) {
  std::filesystem::remove("/tmp/gpio.log");
  PeerLink peer;
  RunningMaintask maintask;
  peer.keep_alive();
  ASSERT_TRUE(poll_until([&] { return heartbeats(peer, 0).size() >= 2; }, seconds(10)));
  ASSERT_EQ(run_command({"ip", "link", "set", "wlan0", "down"}).status, 0);
  const bool failed = poll_until([] { return gpio_values("10").back() == "0"; }, seconds(3));
  ASSERT_EQ(run_command({"ip", "link", "set", "wlan0", "up"}).status, 0);
  EXPECT_TRUE(failed);
  ASSERT_TRUE(poll_until([] { return gpio_values("10").back() == "1"; }, seconds(5)));
  const size_t mark = peer.mark();
  EXPECT_TRUE(poll_until([&] { return heartbeats(peer, mark).size() >= 2; }, seconds(5)));
}

class PeerMessages : public ScriptedSuite {};

TEST_F(PeerMessages, StreamOnWordIsBitZeroOfTheHeartbeat) {
  mark = board->peer.mark();
  board->peer.send(stream_on(false));
  EXPECT_TRUE(board->peer.wait_for(
      [](const Frame& frame) { return frame.id == 0 && frame.u8(7) == 0; }, seconds(5), mark));
  mark = board->peer.mark();
  board->peer.send(stream_on(true));
  EXPECT_TRUE(board->peer.wait_for(
      [](const Frame& frame) { return frame.id == 0 && frame.u8(7) == 1; }, seconds(5), mark));
}

TEST_F(PeerMessages, TwoFramesInOneDatagramAreBothTaken) {
  mark = board->peer.mark();
  texts = board->camera.mark();
  Bytes both = encode(stream_on(false));
  const Bytes probe = encode(board->probe_frame());
  both.insert(both.end(), probe.begin(), probe.end());
  board->peer.send_bytes(both);
  EXPECT_TRUE(board->camera.wait_for("\"msg_id\":16,", seconds(5), texts));
  EXPECT_TRUE(board->peer.wait_for(
      [](const Frame& frame) { return frame.id == 0 && frame.u8(7) == 0; }, seconds(5), mark));
  board->peer.send(stream_on(true));
  board->camera.send(R"({"rval":0,"msg_id":16})");
}

TEST_F(PeerMessages, AFrameMayBeSplitOverTwoDatagrams) {
  // A heartbeat between the halves would break the frame, so the peer holds its own back.
  board->peer.fall_silent();
  let_pass(milliseconds(50));
  texts = board->camera.mark();
  const Bytes probe = encode(board->probe_frame());
  const std::span bytes(probe);
  board->peer.send_bytes(bytes.first(7));
  EXPECT_FALSE(board->camera.wait_for("\"msg_id\":16,", milliseconds(100), texts));
  board->peer.send_bytes(bytes.subspan(7));
  EXPECT_TRUE(board->camera.wait_for("\"msg_id\":16,", seconds(3), texts));
  board->camera.send(R"({"rval":0,"msg_id":16})");
}

TEST_F(PeerMessages, AShortMessageIsReadAsIfZeroesFollowed) {
  // Message 67 without its fourth byte switches the stream off, whatever the frame before it held.
  mark = board->peer.mark();
  board->peer.send(message(67, Bytes(6, 0xFF)));
  board->peer.send(message(67, Bytes(3, 0xFF)));
  EXPECT_TRUE(board->peer.wait_for(
      [](const Frame& frame) { return frame.id == 0 && frame.u8(7) == 0; }, seconds(5), mark));
  board->peer.send(stream_on(true));
}

std::string link_text(const Frame& frame) {
  const std::string text(frame.payload.begin() + 2, frame.payload.begin() + 32);
  return text.substr(0, text.find('\0'));
}

TEST(LinkConfiguration, IsPushedOnceAndAnEmptyFileHoldsItBack) {
  write_file("/tmp/SD0/destmac.conf", "");
  write_file("/tmp/SD0/channel.conf", "a line that is longer than twenty-nine characters\nmore\n");
  PeerLink peer;
  RunningMaintask maintask;
  peer.keep_alive();
  ASSERT_TRUE(peer.wait_for(is_heartbeat, seconds(10), 0));
  let_pass(milliseconds(1200));
  EXPECT_FALSE(peer.wait_for_id(59, milliseconds(1), 0));

  // bw.conf is missing: it is skipped.
  write_file("/tmp/SD0/destmac.conf", "02:4b:9c:de:f0:6f\n");
  ASSERT_TRUE(peer.wait_for_id(59, seconds(5), 0));
  let_pass(milliseconds(1500));
  std::vector<Frame> pushed;
  for (const Frame& frame : peer.frames()) {
    if (frame.id == 59) pushed.push_back(frame);
  }
  ASSERT_EQ(pushed.size(), 2U);
  for (const Frame& frame : pushed) {
    EXPECT_EQ(frame.system, 37);
    ASSERT_EQ(frame.payload.size(), 44U);
    EXPECT_EQ(frame.u8(0), 0);
    EXPECT_EQ(Bytes(frame.payload.begin() + 32, frame.payload.end()), Bytes(12));
  }
  EXPECT_EQ(pushed[0].u8(1), 2);
  EXPECT_EQ(link_text(pushed[0]), "02:4b:9c:de:f0:6f");
  EXPECT_EQ(pushed[1].u8(1), 0);
  EXPECT_EQ(link_text(pushed[1]), "a line that is longer than tw");
  std::filesystem::remove("/tmp/SD0/destmac.conf");
  std::filesystem::remove("/tmp/SD0/channel.conf");
}

}  // namespace
