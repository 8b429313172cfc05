// What has been awaited for a minute is overdue.
#include "camera/watch.h"

#include "base/clock.h"
#include "camera/camera_rig.h"
#include "camera/client.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::IsNull;
using ::testing::StrEq;
using ::testing::Values;

constexpr uint64_t kSecond = 1000000;

const char* overdue_in(uint64_t us) { return cam_overdue_answer(base::monotonic_us() + us); }

class Watch : public CameraTest {
 protected:
  Watch() {
    settle(kCameraMode, 1);
    settle(kResolution, 4);
  }
  // From now on, give or take the pauses between two commands.
  static void expect_overdue_after_a_minute(const char* name) {
    EXPECT_THAT(overdue_in(59 * kSecond), IsNull());
    EXPECT_THAT(overdue_in(60 * kSecond), StrEq(name));
  }
  static void expect_nothing_overdue() { EXPECT_THAT(overdue_in(1000 * kSecond), IsNull()); }
};

struct Question {
  const char* name;
  void (*ask)();
  const char* answer;  // one that is no success, but for the session, which needs one
};

class WatchRow : public Watch, public ::testing::WithParamInterface<Question> {};

TEST_P(WatchRow, IsOverdueAfterAMinute) {
  expect_nothing_overdue();
  GetParam().ask();
  expect_overdue_after_a_minute(GetParam().name);
}

TEST_P(WatchRow, IsNotAwaitedAfterItsAnswerAndCountsAnewTheNextTime) {
  GetParam().ask();
  fake_base::advance_us(50 * kSecond);
  say(GetParam().answer);
  expect_nothing_overdue();
  fake_base::advance_us(50 * kSecond);
  GetParam().ask();
  expect_overdue_after_a_minute(GetParam().name);
}

TEST_P(WatchRow, EndsWithTheConnection) {
  GetParam().ask();
  cam_connection_lost();
  expect_nothing_overdue();
}

INSTANTIATE_TEST_SUITE_P(
    All, WatchRow,
    Values(Question{"photo",
                    [] {
                      supervisor::set_photo_pending(1);
                      cam_take_photo();
                    },
                    R"({"rval":-1,"msg_id":769})"},
           Question{"recording", [] { cam_start_record(); }, R"({"rval":-1,"msg_id":513})"},
           Question{"mode switch",
                    [] {
                      supervisor::set_mode_switch_pending(1);
                      cam_switch_mode(0);
                    },
                    R"({"rval":-1,"msg_id":772})"},
           Question{"setting",
                    [] {
                      supervisor::set_setting_pending(1);
                      cam_format_sd();
                    },
                    R"({"rval":-1,"msg_id":4})"},
           Question{"setting", [] { cam_request_resolution(9); }, R"({"rval":-1,"msg_id":260})"},
           Question{"SD query",
                    [] {
                      supervisor::set_sd_query_pending(1);
                      cam_query_sd();
                    },
                    R"({"rval":-3,"msg_id":4097})"},
           Question{"resolution", [] { cam_set_resolution(9); }, R"({"rval":-1,"msg_id":2})"},
           Question{"default settings", [] { cam_request_default_setting(); },
                    R"({"rval":-1,"msg_id":260})"},
           Question{"operation", [] { cam_set_contrast(50); }, R"({"rval":-1,"msg_id":2})"},
           Question{"operation", [] { cam_query_iso(); },
                    R"({"rval":-1,"msg_id":1,"type":"fix_iso_value"})"},
           Question{
               "session", [] { base::set_waiting(cam_json_context.SessionRequest, kMsgSession); },
               R"({"rval":0,"msg_id":257,"param":5}{"rval":-1,"msg_id":1,"type":"shutter_time"})"}),
    [](const auto& row) { return "Question" + std::to_string(row.index); });

// Another answer has made the camera idle; the colour would refuse the next one all the same.
TEST_F(Watch, AColourStyleIsOverdueWithoutItsOperation) {
  cam_set_color_style(2);
  say(R"({"rval":-1,"msg_id":2,"type":"contrast"})");
  EXPECT_EQ(cam_get_op_state(), 0U);
  expect_overdue_after_a_minute("colour style");
  say(R"({"rval":-1,"msg_id":2,"type":"color_style"})");
  expect_nothing_overdue();
}

TEST_F(Watch, TheOldestIsNamed) {
  supervisor::set_photo_pending(1);
  fake_base::advance_us(kSecond);
  supervisor::set_setting_pending(1);
  EXPECT_THAT(overdue_in(100 * kSecond), StrEq("photo"));
  supervisor::set_photo_pending(0);
  EXPECT_THAT(overdue_in(100 * kSecond), StrEq("setting"));
}

// One photo after the other, and each is answered.
TEST_F(Watch, ManyShortWaitsAreNotALongOne) {
  for (int i = 0; i < 100; i++) {
    supervisor::set_photo_pending(1);
    fake_base::advance_us(kSecond);
    EXPECT_THAT(overdue_in(0), IsNull());
    supervisor::set_photo_pending(0);
    fake_base::advance_us(1);
  }
}

TEST_F(Watch, AWaitThatIsSetAgainGoesOn) {
  supervisor::set_setting_pending(1);
  fake_base::advance_us(59 * kSecond);
  supervisor::set_setting_pending(1);
  EXPECT_THAT(overdue_in(kSecond), StrEq("setting"));
}

TEST_F(Watch, AnOperationThatFollowsAnotherWaitsWithIt) {
  cam_set_contrast(50);
  fake_base::advance_us(59 * kSecond);
  cam_set_iso(100);
  EXPECT_THAT(overdue_in(kSecond), StrEq("operation"));
}

TEST_F(Watch, ATimelapseIsNotWatched) {
  cam_set_op_state(kCamOpTimelapse);
  expect_nothing_overdue();
  fake_base::advance_us(1000 * kSecond);
  cam_set_op_state(kCamOpStopRecord);
  expect_overdue_after_a_minute("operation");
  cam_set_op_state(kCamOpTimelapse);
  expect_nothing_overdue();
}

TEST_F(Watch, AStopWhoseCardQueryFailsIsOverdue) {
  cam_stop_record();
  say(R"({"rval":0,"msg_id":514})");
  say(R"({"rval":-5,"msg_id":4097})");
  EXPECT_EQ(cam_get_op_state(), 8U);
  expect_overdue_after_a_minute("operation");
}

TEST_F(Watch, AGetThatIsAnsweredWithoutATypeIsOverdue) {
  cam_query_iso();
  say(R"({"rval":0,"msg_id":1,"param":"200"})");
  expect_overdue_after_a_minute("operation");
}

}  // namespace
}  // namespace camera_test
