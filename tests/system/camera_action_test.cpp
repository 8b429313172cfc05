// Camera actions that the peer asks for with COMMAND_LONG, down to the texts that reach the camera
// service.
#include <gtest/gtest.h>

#include <string>

#include "support/scripted_suite.h"

namespace {

using namespace support;  // NOLINT

constexpr const char* kTakePhoto = R"({"msg_id":769,"token":7})";
constexpr const char* kSwitchMode = R"({"msg_id":772,"token":7})";
constexpr const char* kStartRecord = R"({"msg_id":513,"token":7})";
constexpr const char* kStopRecord = R"({"msg_id":514,"token":7})";

std::string rate_text(int rate) {
  return R"({"msg_id":16,"token":7,"param":")" + std::to_string(rate) + "\"}";
}

class CameraActions : public ScriptedSuite {
 protected:
  void SetUp() override {
    ScriptedSuite::SetUp();
    board->camera.answer("\"msg_id\":769,",
                         R"({"rval":0,"msg_id":769,"param":"C:\\DCIM\\20200101_120000AA.JPG"})");
    board->camera.answer("\"msg_id\":772,", R"({"rval":0,"msg_id":772})");
    board->camera.answer("\"msg_id\":513,", R"({"rval":0,"msg_id":513})");
    board->camera.answer("\"msg_id\":514,", R"({"rval":0,"msg_id":514})");
    board->camera.answer("\"msg_id\":16,", R"({"rval":0,"msg_id":16})");
  }

  static void act(float action, float value = 0) {
    board->peer.send(command_long({.command = 2, .param1 = action, .param2 = value}));
  }
  // Switches the mode, 0 photo or 1 video, and waits until the switch is confirmed. Repeated, since
  // a camera that is still busy with what came before refuses.
  static void switch_mode(int mode) {
    bool in_mode = false;
    for (int tries = 0; tries < 10 && !in_mode; tries++) {
      const size_t from = board->peer.mark();
      act(mode == 0 ? 0 : 2);
      in_mode = board->peer
                    .wait_for_status([mode](const Frame& f) { return (f.u8(2) & 15) == mode; },
                                     milliseconds(700), from)
                    .has_value();
    }
    ASSERT_TRUE(in_mode);
    let_pass(milliseconds(50) * kSlowdown);  // until the reply has been worked off
  }
  bool wait_for_text(const std::string& text) const {
    const auto found = board->camera.wait_for(text, seconds(5), texts);
    return found && found->text == text;
  }
  // With its next heartbeat.
  static void peer_becomes_strong() {
    board->peer.keep_alive(0);
    let_pass(milliseconds(100));
  }
  // The signal makes the camera's rate this one, and its answer has confirmed it.
  void expect_rate(float signal, int rate) const {
    act(9, signal);
    EXPECT_TRUE(wait_for_text(rate_text(rate))) << signal;
    let_pass(milliseconds(50));
  }
  void expect_no_text(const std::string& part) const {
    let_pass(milliseconds(300));
    EXPECT_EQ(board->camera.count(part, texts), 0U);
  }
};

TEST_F(CameraActions, APhotoIsAcknowledgedAndReported) {
  act(1);
  ASSERT_TRUE(wait_for_text(kTakePhoto));
  const auto acknowledgement = board->peer.wait_for_ack(2001, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(acknowledgement->system, 36);
  EXPECT_EQ(hex(acknowledgement->payload), "d1 07 00");
  const auto report = board->peer.wait_for_report(1, seconds(5), mark);
  ASSERT_TRUE(report);
  EXPECT_EQ(hex(report->payload),
            "00 00 80 3f 00 00 00 00 00 00 00 00 00 00 00 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00 02 00 64 00 00");
  EXPECT_LE(acknowledgement->arrived, report->arrived);
}

TEST_F(CameraActions, AFailedPhotoIsAcknowledgedAsFailedAfterASecond) {
  board->camera.answer("\"msg_id\":769,", R"({"rval":-17,"msg_id":769})");
  act(1);
  const auto text = board->camera.wait_for("769", seconds(5), texts);
  ASSERT_TRUE(text);
  const auto acknowledgement = board->peer.wait_for_ack(2001, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(acknowledgement->u8(2), 4);
  EXPECT_GE(acknowledgement->arrived - text->arrived, milliseconds(950));
  EXPECT_FALSE(board->peer.wait_for_report(1, milliseconds(300), mark));
  // The next one is accepted.
  texts = board->camera.mark();
  act(1);
  EXPECT_TRUE(wait_for_text(kTakePhoto));
}

TEST_F(CameraActions, ASecondPhotoWaitsForTheFirst) {
  board->camera.answer("\"msg_id\":769,", "");
  act(1);
  ASSERT_TRUE(wait_for_text(kTakePhoto));
  act(1);
  let_pass(milliseconds(300));
  EXPECT_EQ(board->camera.count("769", texts), 1U);
  ASSERT_TRUE(board->camera.send(R"({"rval":0,"msg_id":769})"));
  ASSERT_TRUE(board->peer.wait_for_ack(2001, seconds(5), mark));
  ASSERT_TRUE(board->peer.wait_for_report(1, seconds(5), mark));
}

TEST_F(CameraActions, AWaitingPhotoEndsWithTheConnection) {
  board->camera.answer("\"msg_id\":769,", "");
  act(1);
  ASSERT_TRUE(wait_for_text(kTakePhoto));
  texts = board->camera.mark();
  board->camera.drop();
  ASSERT_TRUE(board->camera.wait_for("\"free\"", seconds(10), texts));
  let_pass(milliseconds(100));
  texts = board->camera.mark();
  act(1);
  EXPECT_TRUE(wait_for_text(kTakePhoto));
  board->camera.send(R"({"rval":0,"msg_id":769})");
  EXPECT_TRUE(board->peer.wait_for_report(1, seconds(5), mark));
}

TEST_F(CameraActions, UnknownActionsAndPhotoModeInPhotoModeSendNothing) {
  for (const float action : {0.0F, 5.0F, 6.0F, 7.0F, 8.0F, 10.0F, 1e30F}) act(action);
  let_pass(milliseconds(300));
  EXPECT_EQ(board->camera.texts().size(), texts);
}

TEST_F(CameraActions, ActionsAreTruncatedTowardZero) {
  act(1.99F);
  EXPECT_TRUE(wait_for_text(kTakePhoto));
  EXPECT_TRUE(board->peer.wait_for_report(1, seconds(5), mark));
}

TEST_F(CameraActions, AModeSwitchIsAcknowledgedAndShown) {
  act(2);
  ASSERT_TRUE(wait_for_text(kSwitchMode));
  const auto acknowledgement = board->peer.wait_for_id(52, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(hex(acknowledgement->payload), "00 0a 4c b4 00 01 00");
  EXPECT_TRUE(board->peer.wait_for_status([](const Frame& f) { return (f.u8(2) & 15) == 1; },
                                          seconds(5), mark));
  // No photo in video mode.
  texts = board->camera.mark();
  act(1);
  expect_no_text("769");
  switch_mode(0);
}

TEST_F(CameraActions, ARefusedModeSwitchLeavesTheMode) {
  board->camera.answer("\"msg_id\":772,", R"({"rval":-1,"msg_id":772})");
  act(2);
  const auto acknowledgement = board->peer.wait_for_id(52, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(hex(acknowledgement->payload), "00 0a 4c b4 04 00 00");
  act(1);
  EXPECT_TRUE(wait_for_text(kTakePhoto));
  EXPECT_TRUE(board->peer.wait_for_report(1, seconds(5), mark));
}

TEST_F(CameraActions, ARecordingTicksAndShowsInTheHeartbeat) {
  ASSERT_NO_FATAL_FAILURE(switch_mode(1));
  act(3);
  ASSERT_TRUE(wait_for_text(kStartRecord));
  const auto started = board->peer.wait_for_ack(2500, seconds(5), mark);
  ASSERT_TRUE(started);
  EXPECT_EQ(started->system, 36);
  EXPECT_EQ(started->u8(2), 0);
  EXPECT_TRUE(board->peer.wait_for_report(3, seconds(5), mark));
  EXPECT_TRUE(board->peer.wait_for([](const Frame& f) { return f.id == 0 && (f.u8(7) & 4) != 0; },
                                   seconds(5), mark));
  for (int second = 1; second <= 2; second++) {
    const auto tick = board->peer.wait_for(
        [second](const Frame& f) {
          return f.id == 76 && f.u16(28) == 202 && f.f32(0) == static_cast<float>(second);
        },
        seconds(5), mark);
    ASSERT_TRUE(tick) << second;
    EXPECT_EQ(tick->system, 36);
    EXPECT_EQ(Bytes(tick->payload.begin() + 4, tick->payload.begin() + 28), Bytes(24));
    EXPECT_EQ(hex(std::span(tick->payload).subspan(28)), "ca 00 00 03 00");
  }
  // Neither a photo, another start nor another mode while it records.
  act(1);
  act(3);
  act(0);
  let_pass(milliseconds(300));
  EXPECT_EQ(board->camera.count("769", texts), 0U);
  EXPECT_EQ(board->camera.count("513", texts), 1U);
  EXPECT_EQ(board->camera.count("772", texts), 1U);

  const size_t before_stop = board->peer.mark();
  texts = board->camera.mark();
  act(4);
  ASSERT_TRUE(wait_for_text(kStopRecord));
  const auto stopped = board->peer.wait_for_ack(2501, seconds(5), before_stop);
  ASSERT_TRUE(stopped);
  EXPECT_EQ(stopped->u8(2), 0);
  EXPECT_TRUE(board->peer.wait_for_report(4, seconds(5), before_stop));
  EXPECT_TRUE(board->camera.wait_for(R"({"msg_id":4097,"token":7})", seconds(5), texts));
  EXPECT_TRUE(board->peer.wait_for([](const Frame& f) { return f.id == 0 && (f.u8(7) & 4) == 0; },
                                   seconds(5), before_stop));
  // No tick any more.
  const size_t after_stop = board->peer.mark();
  EXPECT_FALSE(board->peer.wait_for([](const Frame& f) { return f.id == 76 && f.u16(28) == 202; },
                                    milliseconds(1300), after_stop));
  switch_mode(0);
}

TEST_F(CameraActions, ASlowCardEndsTheRecording) {
  ASSERT_NO_FATAL_FAILURE(switch_mode(1));
  act(3);
  ASSERT_TRUE(board->peer.wait_for_report(3, seconds(5), mark));
  const size_t before = board->peer.mark();
  ASSERT_TRUE(board->camera.send(R"({"notify_id":1,"param":"SD_SPEED_LOW"})"));
  EXPECT_TRUE(board->peer.wait_for_report(4, seconds(5), before));
  EXPECT_TRUE(board->peer.wait_for([](const Frame& f) { return f.id == 57 && f.u8(10) == 5; },
                                   seconds(5), before));
  EXPECT_TRUE(board->peer.wait_for([](const Frame& f) { return f.id == 0 && (f.u8(7) & 4) == 0; },
                                   seconds(5), before));
  // The sizes are kept.
  const auto status = board->peer.wait_for_status([](const Frame&) { return true; }, seconds(5),
                                                  board->peer.mark());
  ASSERT_TRUE(status);
  EXPECT_EQ(status->f32(8), 8192.0F);
  EXPECT_EQ(status->f32(12), 4096.0F);
  EXPECT_FALSE(board->peer.wait_for([](const Frame& f) { return f.id == 76 && f.u16(28) == 202; },
                                    milliseconds(1300), board->peer.mark()));
  switch_mode(0);
}

TEST_F(CameraActions, DigicamRecordRequestSwitchesTheModeFirstAndAnswersTheFlightController) {
  board->peer.send(command_long({.command = 203, .param7 = 3}));
  ASSERT_TRUE(wait_for_text(kSwitchMode));
  const auto start = board->camera.wait_for(kStartRecord, seconds(5), texts);
  ASSERT_TRUE(start);
  const auto acknowledgement = board->peer.wait_for_ack(2500, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(acknowledgement->system, 35);
  const size_t before_stop = board->peer.mark();
  board->peer.send(command_long({.command = 203, .param7 = 2}));
  const auto stopped = board->peer.wait_for_ack(2501, seconds(5), before_stop);
  ASSERT_TRUE(stopped);
  EXPECT_EQ(stopped->system, 36);
  switch_mode(0);
}

TEST_F(CameraActions, BitrateFollowsTheSignalValue) {
  struct Row {
    float value;
    int rate;  // 0: nothing is sent
  };
  for (const Row row : {Row{1, 0}, Row{101, 0}, Row{2, 512}, Row{39, 0}, Row{40, 1024}, Row{69, 0},
                        Row{70, 2048}, Row{100, 0}, Row{39, 512}, Row{69, 1024}, Row{100, 2048}}) {
    texts = board->camera.mark();
    act(9, row.value);
    if (row.rate == 0) {
      expect_no_text("\"msg_id\":16,");
    } else {
      EXPECT_TRUE(wait_for_text(rate_text(row.rate))) << row.value;
      let_pass(milliseconds(50));  // until the answer has confirmed it
    }
  }
}

TEST_F(CameraActions, AWeakPeerGetsTheMiddleBitrateWhateverTheSignal) {
  board->peer.keep_alive(0xA0);
  let_pass(milliseconds(100));
  expect_rate(2, 1024);
  texts = board->camera.mark();
  act(9, 100);
  expect_no_text("\"msg_id\":16,");
  peer_becomes_strong();
  expect_rate(100, 2048);
}

TEST_F(CameraActions, TheReservedHeartbeatLeavesThePeerNibble) {
  board->peer.keep_alive(0xA0);
  let_pass(milliseconds(100));
  board->peer.fall_silent();
  board->peer.send(heartbeat(95, 0xF503));
  expect_rate(2, 1024);
  peer_becomes_strong();
  expect_rate(100, 2048);
}

TEST_F(CameraActions, AStreamThatHasStoppedTakesNoActions) {
  RunningMaintask::fifo({"inactive"});
  RunningMaintask::fifo({"stop"});
  // The last pieces are taken, then the readers are closed.
  let_pass(milliseconds(500) * kSlowdown);
  act(1);
  expect_no_text("769");
  RunningMaintask::fifo({"start"});
  ASSERT_TRUE(wait_for_live_video(board->peer, board->video));
  texts = board->camera.mark();
  act(1);
  EXPECT_TRUE(wait_for_text(kTakePhoto));
  EXPECT_TRUE(board->peer.wait_for_report(1, seconds(5), mark));
}

}  // namespace
