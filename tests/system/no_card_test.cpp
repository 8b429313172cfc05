// A board without a card.
#include <gtest/gtest.h>

#include <optional>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

TEST(NoCard, TheLinkTheVideoAndTheCameraWorkAndAPhotoIsAnswered) {
  ASSERT_FALSE(file_exists("/tmp/SD0"));
  ScriptedBoard board;
  board.camera.answer("\"msg_id\":4097,", R"({"rval":-2,"msg_id":4097})");
  size_t mark = board.peer.mark();
  ASSERT_TRUE(board.camera.send(R"({"notify_id":1,"param":"SD_CARD_INSERTED"})"));
  const auto report = board.peer.wait_for(
      [](const Frame& frame) { return frame.id == 57 && frame.u8(10) == 1; }, seconds(5), mark);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->f32(0), 0.0F);

  board.camera.answer("\"msg_id\":769,",
                      R"({"rval":0,"msg_id":769,"param":"C:\\DCIM\\20200101_120000AA.JPG"})");
  mark = board.peer.mark();
  board.peer.send(command_long({.command = 203, .param5 = 1, .param6 = 3, .param7 = 1}));
  EXPECT_TRUE(board.peer.wait_for_ack(2001, seconds(5), mark));
  EXPECT_TRUE(board.peer.wait_for_report(1, seconds(5), mark));
  EXPECT_FALSE(file_exists("/tmp/SD0"));
  EXPECT_TRUE(board.maintask.runs());
}

constexpr int kReady = 0;
constexpr int kNoCard = 1;

bool card_is(const Frame& status, int code) {
  return static_cast<int>(status.u32(0) >> 20 & 0xF) == code;
}

// Sends the camera action until it is answered: it is refused without a word while another one is
// under way.
std::optional<Frame> answer_to(PeerLink& peer, float action, uint16_t command) {
  const size_t mark = peer.mark();
  for (int tries = 0; tries < 40; tries++) {
    peer.send(command_long({.command = 2, .param1 = action}));
    if (auto ack = peer.wait_for_ack(command, milliseconds(500), mark)) return ack;
  }
  return std::nullopt;
}

// The stand-in for the camera service makes no card where there is none.
TEST(NoCard, APhotoFailsAndTheStatusRecordSaysWhyUntilACardIsPutIn) {
  const RunningCameraService camera;
  RunningMaintask maintask;
  PeerLink peer;
  PeerSocket video{8856};
  ASSERT_TRUE(wait_for_live_video(peer, video)) << maintask.process().output();
  EXPECT_TRUE(
      peer.wait_for_status([](const Frame& f) { return card_is(f, kNoCard); }, seconds(20), 0));

  const auto photo = answer_to(peer, 1, 2001);
  ASSERT_TRUE(photo);
  EXPECT_EQ(photo->u8(2), 4);

  RunningCameraService::control({"insert"});
  EXPECT_TRUE(file_exists("/tmp/SD0/KRVMEDIA/PIC"));
  const auto holds_something = [](const Frame& f) { return card_is(f, kReady) && f.f32(8) > 0; };
  EXPECT_TRUE(peer.wait_for_status(holds_something, seconds(20), peer.mark()));
  const auto now = answer_to(peer, 1, 2001);
  ASSERT_TRUE(now);
  EXPECT_EQ(now->u8(2), 0);
}

}  // namespace
