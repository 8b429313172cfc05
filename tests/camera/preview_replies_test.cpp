// Answers around the preview and the stream rate: 259, 260 and 16; the ids that are ignored.
#include "camera/camera_rig.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::Values;

class PreviewReply : public CameraTest {
 protected:
  PreviewReply() {
    supervisor::set_setting_pending(1);
    supervisor::set_preview_stopped(1);
  }
};

TEST_F(PreviewReply, AResetConfirmsTheResolution) {
  request(kResolution, 9);
  std::vector<int32_t> pending;
  at_sleep([&] { pending.push_back(supervisor::get_setting_pending()); });
  say(R"({"rval":0,"msg_id":259})");
  EXPECT_EQ(timeline(),
            (Timeline{"sleep 500", "sleep 500", camera_ack("02", "00", "09"), "sleep 500"}));
  EXPECT_EQ(confirmed(kResolution), 9);
  EXPECT_EQ(pending, (std::vector<int32_t>{1, 1, 1}));
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
  EXPECT_EQ(supervisor::get_preview_stopped(), 1);
}

TEST_F(PreviewReply, AFailedResetKeepsTheResolution) {
  for (const std::string& reply : failed_replies(259)) {
    supervisor::set_setting_pending(1);
    request(kResolution, 9);
    say(reply);
    EXPECT_EQ(timeline(), (Timeline{"sleep 500", camera_ack("02", "04", "01"), "sleep 500"}))
        << reply;
    EXPECT_EQ(confirmed(kResolution), 1);
    EXPECT_EQ(supervisor::get_setting_pending(), 0);
  }
}

TEST_F(PreviewReply, AStopSetsTheResolutionThatWasRequested) {
  request(kResolution, 4);
  say(R"({"rval":0,"msg_id":260})");
  EXPECT_EQ(timeline(), Timeline{set_text("1920x1080 30P 16:9", "video_resolution")});
  EXPECT_EQ(supervisor::get_preview_stopped(), 0);
  EXPECT_EQ(supervisor::get_setting_pending(), 1) << "the preview reset ends the switch";
}

TEST_F(PreviewReply, AStopWithNothingToSetSendsNothing) {
  say(R"({"rval":0,"msg_id":260})");
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(supervisor::get_preview_stopped(), 0);
}

TEST_F(PreviewReply, AStopForADefaultResetSendsIt) {
  base::set_waiting(*mark_of(kDefaultSetting), kMsgStopPreview);
  request(kResolution, 4);
  say(R"({"rval":0,"msg_id":260})");
  EXPECT_EQ(timeline(), Timeline{set_text("on", "default_setting")});
  EXPECT_EQ(supervisor::get_preview_stopped(), 0);
  EXPECT_EQ(unanswered(kDefaultSetting), kMsgSet) << "its own answer clears it";
}

class PreviewStopRefusal : public PreviewReply, public ::testing::WithParamInterface<std::string> {
 protected:
  // And nothing is pending any more; the resolution stays.
  void expect_acknowledged(const std::string& ack) {
    confirm(kResolution, 8);
    say(GetParam());
    EXPECT_EQ(timeline(), Timeline{ack});
    EXPECT_EQ(supervisor::get_preview_stopped(), 0);
    EXPECT_EQ(supervisor::get_setting_pending(), 0);
    EXPECT_EQ(confirmed(kResolution), 8);
  }
};

TEST_P(PreviewStopRefusal, EndsAResolutionSwitch) {
  request(kResolution, 4);
  expect_acknowledged(camera_ack("02", "04", "08"));
}

TEST_P(PreviewStopRefusal, EndsADefaultReset) {
  base::set_waiting(*mark_of(kDefaultSetting), kMsgStopPreview);
  expect_acknowledged(camera_ack("09", "04", "08"));
  EXPECT_EQ(unanswered(kDefaultSetting), 0);
}

INSTANTIATE_TEST_SUITE_P(All, PreviewStopRefusal, ::testing::ValuesIn(failed_replies(260)));

class StreamRateReply : public CameraTest {};

TEST_F(StreamRateReply, ConfirmsTheRequestedRate) {
  request(kStreamRate, 512);
  say(R"({"rval":0,"msg_id":16})");
  EXPECT_EQ(confirmed(kStreamRate), 512);
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(StreamRateReply, AFailureConfirmsNothing) {
  request(kStreamRate, 512);
  for (const std::string& reply : failed_replies(16)) {
    say(reply);
    EXPECT_EQ(confirmed(kStreamRate), 2048) << reply;
  }
  EXPECT_EQ(timeline(), Timeline{});
}

class IgnoredReply : public CameraTest, public ::testing::WithParamInterface<int> {};

TEST_P(IgnoredReply, DoesNothing) {
  cam_set_op_state(3);
  supervisor::set_photo_pending(1);
  supervisor::set_setting_pending(1);
  supervisor::set_record_cmd_pending(1);
  (void)timeline();
  for (const char* rval : {"0", "-1", "\"0\"", "null"}) {
    say(R"({"msg_id":)" + std::to_string(GetParam()) + R"(,"rval":)" + rval +
        R"(,"param":5,"type":"fix_iso_value"})");
  }
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(cam_get_op_state(), 3U);
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
  EXPECT_EQ(supervisor::get_setting_pending(), 1);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
}

INSTANTIATE_TEST_SUITE_P(All, IgnoredReply,
                         Values(2817, 8194, 773, 2561, 0, 3, 7, -1, -769, 258, 512, 768, 4101,
                                2147483647, -2147483647));

}  // namespace
}  // namespace camera_test
