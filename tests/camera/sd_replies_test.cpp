// Answers about the card: format (4), space (5) and the SD query (4097).
#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

const std::string kQueryTotal = R"({"msg_id":5,"token":77,"type":"total"})";
const std::string kQueryFree = R"({"msg_id":5,"token":77,"type":"free"})";

class FormatReply : public CameraTest {};

TEST_F(FormatReply, IsAcknowledgedAndEndsTheFormat) {
  supervisor::set_setting_pending(1);
  say(R"({"rval":0,"msg_id":4})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("01", "00", "00")});
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
}

TEST_F(FormatReply, AFailureIsAcknowledgedAndEndsTheFormat) {
  for (const std::string& reply : failed_replies(4)) {
    supervisor::set_setting_pending(1);
    say(reply);
    EXPECT_EQ(timeline(), Timeline{camera_ack("01", "04", "00")}) << reply;
    EXPECT_EQ(supervisor::get_setting_pending(), 0);
  }
}

class SpaceReply : public CameraTest {
 protected:
  SpaceReply() {
    cam_set_op_state(10);
    (void)timeline();
  }
  static void asked_for_total() { cam_json_context.SpaceQueryTotal.store(1); }
};

TEST_F(SpaceReply, TheTotalIsStoredAndTheFreeSpaceAskedFor) {
  asked_for_total();
  supervisor::set_sd_query_pending(1);
  say(R"({"rval":0,"msg_id":5,"param":31166976})");
  EXPECT_EQ(timeline(), Timeline{kQueryFree});
  EXPECT_EQ(camera_state.SdTotalKB.load(), 31166976);
  EXPECT_EQ(camera_state.SdFreeKB.load(), 0);
  EXPECT_EQ(cam_get_op_state(), 10U);
  EXPECT_EQ(cam_json_context.SpaceQueryTotal.load(), 0);
  EXPECT_EQ(supervisor::get_sd_query_pending(), 1);
}

TEST_F(SpaceReply, TheFreeSpaceMakesTheCameraIdle) {
  say(R"({"rval":0,"msg_id":5,"param":2048})");
  EXPECT_EQ(timeline(), Timeline{"sleep 10"});
  EXPECT_EQ(camera_state.SdFreeKB.load(), 2048);
  EXPECT_EQ(camera_state.SdTotalKB.load(), 0);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_F(SpaceReply, TheFreeSpaceIsReportedWhenItWasAskedFor) {
  supervisor::set_sd_query_pending(1);
  camera_state.SdTotalKB.store(31166976);  // 30436.5 MB
  say(R"({"rval":0,"msg_id":5,"param":2047})");
  // 30436.0 and 1.0
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", sd_report("00", "00 c8 ed 46", "00 00 80 3f")}));
  EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
}

TEST_F(SpaceReply, ANegativeSizeKeepsItsSignWhenShifted) {
  supervisor::set_sd_query_pending(1);
  camera_state.SdTotalKB.store(-1025);
  say(R"({"rval":0,"msg_id":5,"param":-1})");
  // -1 KB is -1 MB, -1025 KB are -2 MB
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", sd_report("00", "00 00 00 c0", "00 00 80 bf")}));
}

TEST_F(SpaceReply, AMissingResultCountsAsSuccess) {
  for (const char* reply :
       {R"({"msg_id":5,"param":4096})", R"({"rval":"-1","msg_id":5,"param":4096})",
        R"({"rval":null,"msg_id":5,"param":4096})"}) {
    camera_state.SdFreeKB.store(0);
    say(reply);
    EXPECT_EQ(camera_state.SdFreeKB.load(), 4096) << reply;
  }
  asked_for_total();
  say(R"({"msg_id":5,"param":8192})");
  EXPECT_EQ(camera_state.SdTotalKB.load(), 8192);
}

TEST_F(SpaceReply, ASizeBeyond32BitsIsSaturated) {
  say(R"({"rval":0,"msg_id":5,"param":99999999999})");
  EXPECT_EQ(camera_state.SdFreeKB.load(), INT32_MAX);
  say(R"({"rval":0,"msg_id":5,"param":-1e300})");
  EXPECT_EQ(camera_state.SdFreeKB.load(), INT32_MIN);
}

TEST_F(SpaceReply, AFailureMakesTheCameraIdleAndEndsTheQuery) {
  for (const bool total : {true, false}) {
    cam_json_context.SpaceQueryTotal.store(total ? 1 : 0);
    cam_set_op_state(10);
    supervisor::set_sd_query_pending(1);
    camera_state.SdTotalKB.store(5);
    camera_state.SdFreeKB.store(6);
    (void)timeline();
    say(R"({"rval":-1,"msg_id":5,"param":4096})");
    EXPECT_EQ(timeline(), Timeline{"sleep 10"});
    EXPECT_EQ(cam_get_op_state(), 0U);
    EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
    EXPECT_EQ(camera_state.SdTotalKB.load(), 5);
    EXPECT_EQ(camera_state.SdFreeKB.load(), 6);
  }
}

TEST_F(SpaceReply, AnAnswerWithoutASizeLeavesNothingStuck) {
  for (const char* reply :
       {R"({"rval":0,"msg_id":5})", R"({"rval":0,"msg_id":5,"param":"4096"})"}) {
    cam_set_op_state(10);
    supervisor::set_sd_query_pending(1);
    camera_state.SdFreeKB.store(6);
    (void)timeline();
    say(reply);
    EXPECT_EQ(timeline(), Timeline{"sleep 10"}) << reply;
    EXPECT_EQ(cam_get_op_state(), 0U);
    EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
    EXPECT_EQ(camera_state.SdFreeKB.load(), 6);
  }
}

TEST_F(SpaceReply, WithoutAConnectionTheQueryEnds) {
  asked_for_total();
  supervisor::set_sd_query_pending(1);
  disconnect();
  printed_by([] { say(R"({"rval":0,"msg_id":5,"param":4096})"); });
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
}

class SdQueryReply : public CameraTest {
 protected:
  // A query of the application is under way.
  void await_query() {
    cam_set_op_state(8);
    supervisor::set_sd_query_pending(1);
    (void)timeline();
  }
};

TEST_F(SdQueryReply, AnUnknownCardIsNowInserted) {
  supervisor::set_sd_query_pending(1);
  say(R"({"rval":0,"msg_id":4097})");
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", kQueryTotal}));
  EXPECT_EQ(camera_state.SdStatus.load(), 7);
  EXPECT_EQ(cam_get_op_state(), 10U);
  EXPECT_EQ(cam_json_context.SpaceQueryTotal.load(), 1);
  EXPECT_EQ(supervisor::get_sd_query_pending(), 1);
}

TEST_F(SdQueryReply, EveryOtherStatusStays) {
  for (int32_t status = 0; status <= 10; status++) {
    camera_state.SdStatus.store(status);
    say(R"({"rval":0,"msg_id":4097})");
    EXPECT_EQ(camera_state.SdStatus.load(), status);
    EXPECT_EQ(timeline(), (Timeline{"sleep 10", kQueryTotal}));
  }
}

TEST_F(SdQueryReply, Minus1IsAnUnknownFormat) {
  await_query();
  say(R"({"rval":-1,"msg_id":4097})");
  EXPECT_EQ(timeline(), (Timeline{sd_report("09"), "sleep 10"}));
  EXPECT_EQ(camera_state.SdStatus.load(), 6);
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
}

TEST_F(SdQueryReply, Minus2IsARemovedCard) {
  await_query();
  camera_state.SdTotalKB.store(4096);
  say(R"({"rval":-2,"msg_id":4097})");
  EXPECT_EQ(timeline(), (Timeline{sd_report("01"), "sleep 10"}));
  EXPECT_EQ(camera_state.SdStatus.load(), 8);
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
  EXPECT_EQ(camera_state.SdTotalKB.load(), 4096);
}

TEST_F(SdQueryReply, AnyOtherFailureOnlyEndsTheSpaceReport) {
  for (const char* reply :
       {R"({"rval":-3,"msg_id":4097})", R"({"rval":1,"msg_id":4097})", R"({"msg_id":4097})",
        R"({"rval":"0","msg_id":4097})", R"({"rval":"-1","msg_id":4097})"}) {
    supervisor::set_sd_query_pending(1);
    say(reply);
    EXPECT_EQ(timeline(), Timeline{}) << reply;
    EXPECT_EQ(camera_state.SdStatus.load(), 11);
    EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
  }
}

TEST_F(SdQueryReply, WithoutAConnectionTheQueryEnds) {
  supervisor::set_sd_query_pending(1);
  disconnect();
  printed_by([] { say(R"({"rval":0,"msg_id":4097})"); });
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
}

TEST_F(SdQueryReply, TheWholeRoadFromAStopToTheReport) {
  supervisor::set_sd_query_pending(1);
  say(R"({"rval":0,"msg_id":4097})");
  say(R"({"rval":0,"msg_id":5,"param":4194304})");
  say(R"({"rval":0,"msg_id":5,"param":1048576})");
  // 4096.0 and 1024.0
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", kQueryTotal, kQueryFree, "sleep 10",
                                  sd_report("00", "00 00 80 45", "00 00 80 44")}));
  EXPECT_EQ(cam_get_op_state(), 0U);
}

}  // namespace
}  // namespace camera_test
