// A board without a card.
#include <gtest/gtest.h>

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

}  // namespace
