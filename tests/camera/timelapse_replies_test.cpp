// Answers to the time-lapse commands: 4098, 4099 and 4100.
#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class TimelapseReply : public CameraTest {
 protected:
  TimelapseReply() { save_timelapse_parameters(); }
  static constexpr std::array kFailures = {R"("rval":-1,)", R"("rval":1,)", "", R"("rval":"0",)"};
  static std::string failure(const char* rval, int msg_id) {
    return std::string("{").append(rval) + R"("msg_id":)" + std::to_string(msg_id) + "}";
  }
};

TEST_F(TimelapseReply, AStartWithAnIntervalRuns) {
  request(kTimelapseInterval, 5);
  say(R"({"rval":0,"msg_id":4098})");
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", camera_ack("10", "00", "00")}));
  EXPECT_EQ(cam_get_op_state(), 16U);
  EXPECT_EQ(confirmed(kTimelapseInterval), 5);
}

TEST_F(TimelapseReply, AStartWithoutAnIntervalIsIdle) {
  cam_set_op_state(16);
  confirm(kTimelapseInterval, 5);
  (void)timeline();
  say(R"({"rval":0,"msg_id":4098})");
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", camera_ack("10", "00", "00")}));
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(confirmed(kTimelapseInterval), 0);
}

TEST_F(TimelapseReply, AFailedStartIsIdle) {
  for (const char* rval : kFailures) {
    cam_set_op_state(16);
    request(kTimelapseInterval, 5);
    (void)timeline();
    say(failure(rval, 4098));
    EXPECT_EQ(timeline(), (Timeline{"sleep 10", camera_ack("10", "04", "00")})) << rval;
    EXPECT_EQ(cam_get_op_state(), 0U);
    EXPECT_EQ(confirmed(kTimelapseInterval), 0);
  }
}

TEST_F(TimelapseReply, APausePausesARunningTimelapse) {
  for (const int32_t state : {1, 0, 3, 4}) {
    camera_state.TimelapseState.store(state);
    say(R"({"rval":0,"msg_id":4099})");
    EXPECT_EQ(timeline(),
              (Timeline{timelapse_report(kTimelapsePaused), camera_ack("10", "00", "01")}));
    EXPECT_EQ(camera_state.TimelapseState.load(), 2) << "from " << state;
  }
}

TEST_F(TimelapseReply, APauseContinuesAPausedTimelapse) {
  camera_state.TimelapseState.store(2);
  say(R"({"rval":0,"msg_id":4099})");
  EXPECT_EQ(timeline(),
            (Timeline{timelapse_report(kTimelapseRunning), camera_ack("10", "00", "01")}));
  EXPECT_EQ(camera_state.TimelapseState.load(), 1);
}

TEST_F(TimelapseReply, ThePauseReportMayBeSuppressed) {
  camera_state.pause_report_suppressed.store(1);
  camera_state.TimelapseState.store(1);
  say(R"({"rval":0,"msg_id":4099})");
  say(R"({"rval":0,"msg_id":4099})");
  EXPECT_EQ(timeline(), (Timeline{camera_ack("10", "00", "01"), camera_ack("10", "00", "01")}));
  EXPECT_EQ(camera_state.TimelapseState.load(), 1);
  EXPECT_EQ(camera_state.pause_report_suppressed.load(), 1);
}

TEST_F(TimelapseReply, AFailedPauseChangesNothing) {
  for (const char* rval : kFailures) {
    camera_state.TimelapseState.store(1);
    say(failure(rval, 4099));
    EXPECT_EQ(timeline(), Timeline{camera_ack("10", "04", "01")}) << rval;
    EXPECT_EQ(camera_state.TimelapseState.load(), 1);
  }
}

TEST_F(TimelapseReply, AStopEndsTheTimelapse) {
  cam_set_op_state(16);
  camera_state.TimelapseStopSent.store(1);
  camera_state.TimelapseState.store(1);
  (void)timeline();
  say(R"({"rval":0,"msg_id":4100})");
  EXPECT_EQ(timeline(), (Timeline{timelapse_report(kTimelapseEnded), camera_ack("10", "00", "02"),
                                  "sleep 10"}));
  EXPECT_EQ(camera_state.TimelapseStopSent.load(), 0);
  EXPECT_EQ(camera_state.TimelapseState.load(), 3);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_F(TimelapseReply, AFailedStopCountsAsSent) {
  for (const char* rval : kFailures) {
    cam_set_op_state(16);
    camera_state.TimelapseStopSent.store(0);
    camera_state.TimelapseState.store(1);
    (void)timeline();
    say(failure(rval, 4100));
    EXPECT_EQ(timeline(), Timeline{camera_ack("10", "04", "02")}) << rval;
    EXPECT_EQ(camera_state.TimelapseStopSent.load(), 1);
    EXPECT_EQ(camera_state.TimelapseState.load(), 1);
    EXPECT_EQ(cam_get_op_state(), 16U);
  }
}

}  // namespace
}  // namespace camera_test
