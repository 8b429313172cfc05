// A time-lapse from end to end: the peer's commands, the camera service stand-in with its slices
// and real files, and what the peer and the flight controller are told.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

constexpr int kResolution = 2;
constexpr int kContrast = 12;
constexpr int kTimelapse = 16;
constexpr float kRunning = 0;
constexpr float kEnded = 2;

size_t count_of(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) count++;
  return count;
}

class TimeLapse : public ::testing::Test {
 protected:
  struct Board {
    RunningCameraService service;
    RunningMaintask maintask;
    PeerLink peer;
    PeerSocket video{8856};
  };

  static void SetUpTestSuite() {
    board = std::make_unique<Board>();
    ASSERT_TRUE(wait_for_live_video(board->peer, board->video));
    ASSERT_TRUE(wait_for_status([](const Frame& f) { return f.f32(12) > 0; }));
    board->peer.keep_alive(0);
    // Video mode and 1920x1080 at 30 pictures a second.
    board->peer.send(command_long({.command = 2, .param1 = 2}));
    ASSERT_TRUE(wait_for_status([](const Frame& f) { return (f.u8(2) & 15) == 1; }));
    ASSERT_TRUE(set(kResolution, 4, "00 02 4c b4 00 04 00"));
    ASSERT_TRUE(wait_for_status([](const Frame& f) { return (f.u8(0) & 15) == 4; }));
    let_pass(milliseconds(600) * kSlowdown);  // the switch ends half a second after its answer
  }
  static void TearDownTestSuite() { board.reset(); }
  void SetUp() override {
    RunningCameraService::control({"slice", "700"});
    RunningCameraService::control({"log", "clear"});
    mark = board->peer.mark();
  }
  void TearDown() override { EXPECT_TRUE(board->maintask.runs()); }

  static bool wait_for_status(const std::function<bool(const Frame&)>& wanted) {
    return board->peer.wait_for_status(wanted, seconds(15), board->peer.mark()).has_value();
  }
  // Whether the setting is acknowledged with that payload. Repeated, since a busy camera refuses.
  static bool set(int sub, float value, const std::string& payload) {
    for (int tries = 0; tries < 10; tries++) {
      const size_t from = board->peer.mark();
      board->peer.send(command_long(
          {.command = 180, .param1 = value, .target_component = static_cast<uint8_t>(sub)}));
      const auto wanted = [&](const Frame& f) { return f.id == 52 && hex(f.payload) == payload; };
      if (board->peer.wait_for(wanted, seconds(3), from)) return true;
    }
    return false;
  }
  static void start(float interval = 5) {
    board->peer.send(command_long({.command = 180,
                                   .param1 = 300,
                                   .param2 = 1,
                                   .param3 = interval,
                                   .param5 = -2,
                                   .param6 = 0.5F,
                                   .param7 = 8,
                                   .target_component = kTimelapse}));
  }
  static void stop() {
    board->peer.send(
        command_long({.command = 180, .target_component = kTimelapse, .confirmation = 2}));
  }
  // The report to the flight controller, with the parameters of start.
  std::optional<Frame> wait_for_timelapse_report(float state) const {
    return board->peer.wait_for(
        [state](const Frame& f) {
          return f.id == 76 && f.system == 35 && f.f32(0) == 11 && f.f32(4) == state;
        },
        seconds(10), mark);
  }
  // The time-lapse record to the application; its first field is -1 at the end of a slice and the
  // number of shots at the end of the whole.
  std::optional<Frame> wait_for_record(float first, milliseconds limit = seconds(15)) const {
    return board->peer.wait_for(
        [first](const Frame& f) {
          return f.id == 76 && f.system == 36 && f.u16(28) == 202 && f.u8(31) == 16 &&
                 f.f32(0) == first;
        },
        limit, mark);
  }
  static bool wait_for_timelapse_state(uint8_t state) {
    return wait_for_status([state](const Frame& f) { return f.u8(3) == state; });
  }
  static void expect_free_camera() {
    EXPECT_TRUE(wait_for_timelapse_state(0));
    static int contrast = 60;
    contrast++;
    EXPECT_TRUE(set(kContrast, static_cast<float>(contrast),
                    "00 0c 4c b4 00 " + hex(Bytes{static_cast<uint8_t>(contrast)}) + " 00"));
  }
  // A whole time-lapse may follow.
  void expect_another_works() {
    mark = board->peer.mark();
    start();
    EXPECT_TRUE(wait_for_record(-1));
    // Repeated, since a stop is refused while the next slice is starting.
    bool ended = false;
    for (int tries = 0; tries < 5 && !ended; tries++) {
      stop();
      ended = wait_for_record(0, seconds(2)).has_value();
    }
    EXPECT_TRUE(ended);
    expect_free_camera();
  }
  static std::string log() { return RunningCameraService::control({"log"}); }
  static std::string state() { return RunningCameraService::control({"state"}); }

  static std::unique_ptr<Board> board;
  size_t mark = 0;
};
std::unique_ptr<TimeLapse::Board> TimeLapse::board;

TEST_F(TimeLapse, RunsInSlicesUntilItIsStopped) {
  const size_t videos = list_folder(kVideos).size();
  start();
  const auto acknowledged = board->peer.wait_for_id(52, seconds(5), mark);
  ASSERT_TRUE(acknowledged);
  EXPECT_EQ(hex(acknowledged->payload), "00 00 4c b4 00 00 00");
  const auto started = board->peer.wait_for_ack(2500, seconds(10), mark);
  ASSERT_TRUE(started);
  EXPECT_EQ(started->u8(2), 0);
  const auto running = wait_for_timelapse_report(kRunning);
  ASSERT_TRUE(running);
  // 11, state 0, 300, 1, -2, 0.5, 8; command 2, target 100.
  EXPECT_EQ(hex(running->payload),
            "00 00 30 41 00 00 00 00 00 00 96 43 00 00 80 3f "
            "00 00 00 c0 00 00 00 3f 00 00 00 41 02 00 64 00 00");
  EXPECT_TRUE(wait_for_timelapse_state(1));
  // Neither another setting nor another start while it runs.
  board->peer.send(command_long({.command = 180, .param1 = 1, .target_component = kContrast}));
  start();
  // A slice ends and another one follows, which is long enough to be stopped.
  ASSERT_TRUE(wait_for_record(-1));
  const size_t next = board->peer.mark();
  RunningCameraService::control({"slice", "60000"});
  ASSERT_TRUE(board->peer.wait_for_ack(2500, seconds(10), next));
  let_pass(milliseconds(1200) * kSlowdown);  // in case that it was begun as a short one

  mark = board->peer.mark();
  stop();
  stop();
  const auto stopped = board->peer.wait_for_ack(2501, seconds(10), mark);
  ASSERT_TRUE(stopped);
  EXPECT_EQ(stopped->u8(2), 0);
  const auto ended = wait_for_timelapse_report(kEnded);
  ASSERT_TRUE(ended);
  const auto record = wait_for_record(0);
  ASSERT_TRUE(record);
  EXPECT_EQ(hex(record->payload),
            "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00 ca 00 00 10 00");
  expect_free_camera();
  const std::string texts = log();
  EXPECT_EQ(count_of(texts, R"("msg_id":514,)"), 1U);
  EXPECT_GE(count_of(texts, R"("msg_id":513,)"), 2U);
  EXPECT_EQ(count_of(texts, R"("param":"5","type":"time_lapse_interval")"), 1U);
  EXPECT_EQ(count_of(texts, R"("param":"OFF","type":"time_lapse_interval")"), 1U);
  EXPECT_EQ(count_of(texts, R"("param":"1","type":"contrast")"), 0U);
  EXPECT_NE(state().find(R"("time_lapse":{"running":false,"paused":false})"), std::string::npos);
  EXPECT_GE(list_folder(kVideos).size(), videos + 2);
}

TEST_F(TimeLapse, AnIntervalOutside1To15SendsNothing) {
  for (const float interval : {0.0F, 16.0F, -1.0F, 1e30F}) start(interval);
  let_pass(milliseconds(300));
  EXPECT_EQ(count_of(log(), "time_lapse"), 0U);
  expect_free_camera();
}

TEST_F(TimeLapse, ARefusedIntervalLeavesTheCameraFree) {
  RunningCameraService::control({"refuse", "time_lapse_interval", "-1", "1"});
  start();
  EXPECT_TRUE(poll_until([] { return count_of(log(), "time_lapse_interval") == 1; }, seconds(5)));
  EXPECT_FALSE(board->peer.wait_for_id(52, milliseconds(300), mark));
  EXPECT_EQ(count_of(log(), R"("msg_id":513,)"), 0U);
  expect_another_works();
}

TEST_F(TimeLapse, ASliceThatDoesNotStartEndsIt) {
  RunningCameraService::control({"rval", "513", "-1", "1"});
  start();
  const auto failed = board->peer.wait_for_ack(2500, seconds(10), mark);
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->u8(2), 4);
  EXPECT_TRUE(wait_for_timelapse_report(kEnded));
  expect_another_works();
}

TEST_F(TimeLapse, AFullCardEndsIt) {
  start();
  ASSERT_TRUE(wait_for_timelapse_state(1));
  RunningCameraService::control({"fill", "8000"});
  EXPECT_TRUE(board->peer.wait_for_report(4, seconds(10), mark)) << "recording stopped";
  EXPECT_TRUE(wait_for_timelapse_report(kEnded));
  expect_free_camera();
  RunningCameraService::control({"unfill"});
  expect_another_works();
}

TEST_F(TimeLapse, ALostConnectionEndsItAndAnotherMayStart) {
  start();
  ASSERT_TRUE(wait_for_timelapse_state(1));
  RunningCameraService::control({"drop"});
  ASSERT_TRUE(poll_until([] { return count_of(log(), R"("type":"free")") > 0; }, seconds(10)));
  expect_free_camera();
  // The slice that was running ends by itself.
  ASSERT_TRUE(
      poll_until([] { return count_of(state(), R"("recording":false)") == 1; }, seconds(10)));
  expect_another_works();
}

}  // namespace
