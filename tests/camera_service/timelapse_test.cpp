// The time-lapse of the program: slices, and every way in which a sequence ends.
#include <gtest/gtest.h>

#include <string>

#include "base/clock.h"
#include "camera_service/service_program.h"

namespace camera_service_test {
namespace {

const json kRecordComplete = {{"notify_id", 0}};
const json kNextSlice = {{"notify_id", 11}};
const json kSliceComplete = {{"notify_id", 12}};
const json kSequenceEnded = {{"notify_id", 13}};

class TimeLapse : public testing::Test {
 protected:
  TimeLapse() {
    client_.begin_session();
    EXPECT_EQ(client_.command(772)["rval"], 0);
    client_.set_resolution("1920x1080 30P 16:9");
  }
  int set_interval(const char* value) {
    return client_.command(2, {{"type", "time_lapse_interval"}, {"param", value}})["rval"];
  }
  void start() {
    ASSERT_EQ(set_interval("1"), 0);
    ASSERT_EQ(client_.receive(), kNextSlice);
  }
  void control(const std::string& line) const { EXPECT_EQ(program_.ctl(line).status, 0) << line; }

  ServiceProgram program_;
  JsonClient client_{program_};
};

TEST_F(TimeLapse, ASliceEndsByItself) {
  control("slice 300");
  start();
  ASSERT_EQ(client_.command(513)["rval"], 0);
  EXPECT_EQ(client_.receive(), kSliceComplete);
  EXPECT_EQ(client_.receive(), kNextSlice);
  EXPECT_EQ(program_.state()["videos"], 1);
  EXPECT_EQ(program_.state()["time_lapse"]["running"], true);
}

TEST_F(TimeLapse, IsEndedByHand) {
  EXPECT_EQ(program_.ctl("end-sequence").status, 1) << "none runs";
  start();
  control("end-sequence");
  EXPECT_EQ(client_.receive(), kSequenceEnded);
  EXPECT_EQ(program_.state()["time_lapse"]["running"], false);
  EXPECT_EQ(program_.state()["settings"]["time_lapse_interval"], "OFF");
}

TEST_F(TimeLapse, AStoppedSliceIsTheLast) {
  start();
  ASSERT_EQ(client_.command(513)["rval"], 0);
  EXPECT_EQ(client_.command(514)["rval"], 0);
  EXPECT_EQ(client_.receive(), kRecordComplete);
  EXPECT_EQ(client_.command(513)["rval"], -6);
  EXPECT_EQ(set_interval("OFF"), 0);
  EXPECT_EQ(client_.receive(), kSequenceEnded);
  EXPECT_EQ(program_.state()["videos"], 1);
  EXPECT_EQ(program_.state()["time_lapse"]["running"], false);
  start();
}

TEST_F(TimeLapse, MayBeStoppedBetweenTwoSlices) {
  start();
  EXPECT_EQ(client_.command(514)["rval"], 0);
  EXPECT_EQ(client_.receive(), kRecordComplete);
  EXPECT_EQ(client_.command(513)["rval"], -6);
  EXPECT_EQ(set_interval("OFF"), 0);
  EXPECT_EQ(client_.receive(), kSequenceEnded);
}

TEST_F(TimeLapse, AFullCardEndsTheSequence) {
  start();
  ASSERT_EQ(client_.command(513)["rval"], 0);
  control("fill 100");
  EXPECT_EQ(client_.receive()["param"], "SD_NO_SPACE");
  EXPECT_EQ(client_.receive(), kSequenceEnded);
  EXPECT_EQ(client_.command(1, {{"type", "time_lapse_interval"}})["param"], "OFF");
  EXPECT_EQ(program_.state()["time_lapse"]["running"], false);
}

TEST_F(TimeLapse, OffEndsTheSliceToo) {
  start();
  ASSERT_EQ(client_.command(513)["rval"], 0);
  EXPECT_EQ(set_interval("OFF"), 0);
  EXPECT_EQ(client_.receive(), kSequenceEnded);
  EXPECT_EQ(client_.receive(), kRecordComplete);
  EXPECT_EQ(program_.state()["recording"], false);
}

TEST_F(TimeLapse, GoesOnForAClientThatComesBack) {
  start();
  JsonClient second(program_);
  second.begin_session();
  EXPECT_EQ(second.command(2, {{"type", "time_lapse_interval"}, {"param", "1"}})["rval"], 0);
  EXPECT_EQ(second.receive(), kNextSlice);
}

TEST_F(TimeLapse, PausesContinuesAndEnds) {
  start();
  EXPECT_EQ(client_.command(4099)["rval"], 0);
  EXPECT_EQ(program_.state()["time_lapse"]["paused"], true);
  EXPECT_EQ(client_.command(4099)["rval"], 0);
  EXPECT_EQ(client_.receive(), kNextSlice);
  EXPECT_EQ(client_.command(4100)["rval"], 0);
  EXPECT_EQ(client_.receive(), kSequenceEnded);
  EXPECT_EQ(client_.command(4100)["rval"], -6);
  EXPECT_EQ(client_.command(4098)["rval"], -6);
}

TEST_F(TimeLapse, NeedsVideoModeItsResolutionAndNoRecording) {
  ASSERT_EQ(client_.command(772)["rval"], 0);
  EXPECT_EQ(set_interval("1"), -6) << "photo mode";
  ASSERT_EQ(client_.command(772)["rval"], 0);
  ASSERT_EQ(client_.command(513)["rval"], 0);
  EXPECT_EQ(set_interval("1"), -6) << "recording";
  ASSERT_EQ(client_.command(514)["rval"], 0);
  EXPECT_EQ(client_.receive(), kRecordComplete);
  client_.set_resolution("1920x1080 60P 16:9");
  EXPECT_EQ(set_interval("1"), -6) << "resolution";
  EXPECT_EQ(program_.state()["settings"]["time_lapse_interval"], "OFF");
}

}  // namespace
}  // namespace camera_service_test
