// The camera service's notifications.
#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::Values;

class Notification : public CameraTest {
 protected:
  static void notify(int id) { say(R"({"notify_id":)" + std::to_string(id) + "}"); }
  static void notify(int id, const std::string& param) {
    say(R"({"notify_id":)" + std::to_string(id) + R"(,"param":")" + param + "\"}");
  }
  static int32_t sd_status() { return camera_state.SdStatus.load(); }
  void start_timelapse() {
    cam_set_op_state(16);
    (void)timeline();
  }
};

class SdNotification : public Notification {
 protected:
  SdNotification() {
    supervisor::set_photo_pending(1);
    camera_state.SdTotalKB.store(4096);
    camera_state.SdFreeKB.store(2048);
  }
  // From status `before`, the text's effects.
  Timeline after(int32_t before, const std::string& text) {
    camera_state.SdStatus.store(before);
    notify(1, text);
    return timeline();
  }
  static bool sizes_kept() {
    return camera_state.SdTotalKB.load() == 4096 && camera_state.SdFreeKB.load() == 2048;
  }
  static bool sizes_cleared() {
    return camera_state.SdTotalKB.load() == 0 && camera_state.SdFreeKB.load() == 0;
  }
};

class SdNotificationId : public SdNotification, public ::testing::WithParamInterface<int> {};

TEST_P(SdNotificationId, CarriesAStatusText) {
  notify(GetParam(), "SD_SPEED_OK");
  EXPECT_EQ(sd_status(), 3);
  EXPECT_EQ(timeline(), Timeline{sd_report("06")});
}

INSTANTIATE_TEST_SUITE_P(All, SdNotificationId, Values(1, 2, 4, 6, 8, 9, 10));

TEST_F(SdNotification, AFileSystemKindIsOnlyReported) {
  for (const int32_t before : {1, 5, 6, 11}) {
    EXPECT_EQ(after(before, "SD_FORMAT_EXFAT"), Timeline{sd_report("0c")});
    EXPECT_EQ(sd_status(), before);
    EXPECT_EQ(after(before, "SD_FORMAT_FAT32"), Timeline{sd_report("0d")});
    EXPECT_EQ(sd_status(), before);
  }
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
  EXPECT_TRUE(sizes_kept());
}

TEST_F(SdNotification, AnInsertionQueriesTheCardWithoutAReport) {
  for (const int32_t before : {0, 1, 2, 3, 4, 7, 8, 11}) {
    EXPECT_EQ(after(before, "SD_CARD_INSERTED"), Timeline{kSdQuery}) << "from " << before;
    EXPECT_EQ(sd_status(), 7);
  }
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
  EXPECT_TRUE(sizes_kept());
}

TEST_F(SdNotification, AnInsertionDoesNotClearAnError) {
  EXPECT_EQ(after(5, "SD_CARD_INSERTED"), Timeline{kSdQuery});
  EXPECT_EQ(sd_status(), 5);
}

TEST_F(SdNotification, AnInsertionDoesNotClearAnUnknownFormat) {
  EXPECT_EQ(after(6, "SD_CARD_INSERTED"), Timeline{});
  EXPECT_EQ(sd_status(), 6);
}

TEST_F(SdNotification, TheEndOfASpeedCheckQueriesTheCard) {
  EXPECT_EQ(after(1, "SD_SPEED_OK"), (Timeline{kSdQuery, sd_report("06")}));
  EXPECT_EQ(sd_status(), 3);
  EXPECT_EQ(after(1, "SD_SPEED_LOW"), (Timeline{kSdQuery, sd_report("05")}));
  EXPECT_EQ(sd_status(), 2);
  EXPECT_EQ(after(1, "SD_ERROR"), Timeline{sd_report("08")});
  EXPECT_EQ(after(1, "SD_SPEED_CHECKING"), Timeline{sd_report("04")});
}

TEST_F(SdNotification, ASpeedWithoutACheckQueriesNothing) {
  for (const int32_t before : {0, 2, 3, 4, 5, 6, 7, 8, 11}) {
    EXPECT_EQ(after(before, "SD_SPEED_OK"), Timeline{sd_report("06")}) << "from " << before;
    EXPECT_EQ(sd_status(), 3);
    EXPECT_EQ(after(before, "SD_SPEED_LOW"), Timeline{sd_report("05")}) << "from " << before;
    EXPECT_EQ(sd_status(), 2);
  }
}

TEST_F(SdNotification, ACheckAndAnUnknownFormatAreReported) {
  EXPECT_EQ(after(11, "SD_SPEED_CHECKING"), Timeline{sd_report("04")});
  EXPECT_EQ(sd_status(), 1);
  EXPECT_EQ(after(1, "SD_FORMAT_UNKNOWN"), Timeline{sd_report("09")});
  EXPECT_EQ(sd_status(), 6);
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
  EXPECT_TRUE(sizes_kept());
}

TEST_F(SdNotification, ATextWithoutMeaningForgetsTheStatusSilently) {
  EXPECT_EQ(after(3, "hello"), Timeline{});
  EXPECT_EQ(sd_status(), 11);
  camera_state.SdStatus.store(3);
  for (const char* message :
       {R"({"notify_id":1})", R"({"notify_id":1,"param":7})", R"({"notify_id":1,"param":null})",
        R"({"notify_id":1,"param":{"SD_ERROR":"SD_ERROR"}})"}) {
    camera_state.SdStatus.store(3);
    say(message);
    EXPECT_EQ(sd_status(), 11) << message;
  }
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
  EXPECT_TRUE(sizes_kept());
}

TEST_F(SdNotification, ARemovedCardLosesItsSizesSilently) {
  EXPECT_EQ(after(3, "SD_CARD_REMOVED"), Timeline{});
  EXPECT_EQ(sd_status(), 8);
  EXPECT_TRUE(sizes_cleared());
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
}

TEST_F(SdNotification, AFullCardLosesItsSizes) {
  EXPECT_EQ(after(3, "SD_NO_SPACE"), Timeline{sd_report("07")});
  EXPECT_EQ(sd_status(), 4);
  EXPECT_TRUE(sizes_cleared());
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
}

TEST_F(SdNotification, ASlowOrBrokenCardKeepsItsSizes) {
  EXPECT_EQ(after(3, "DETECT_SD_SPEED_LOW"), Timeline{sd_report("05")});
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
  supervisor::set_photo_pending(1);
  EXPECT_EQ(after(3, "SD_ERROR"), Timeline{sd_report("08")});
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
  EXPECT_TRUE(sizes_kept());
}

TEST_F(SdNotification, ACardThatCannotTakeTheVideoEndsTheRecording) {
  const Timeline stopped = {"record tick 0", kRecordStoppedReport};
  supervisor::set_recording(1);
  EXPECT_EQ(after(3, "SD_SPEED_LOW"),
            (Timeline{sd_report("05"), "record tick 0", kRecordStoppedReport}));
  EXPECT_EQ(supervisor::get_recording(), 0);
  EXPECT_TRUE(sizes_kept());
  supervisor::set_recording(1);
  EXPECT_EQ(after(3, "SD_CARD_REMOVED"), stopped);
  EXPECT_EQ(supervisor::get_recording(), 0);
  supervisor::set_recording(1);
  EXPECT_EQ(after(3, "SD_NO_SPACE"),
            (Timeline{sd_report("07"), "record tick 0", kRecordStoppedReport}));
  EXPECT_EQ(supervisor::get_recording(), 0);
}

TEST_F(SdNotification, OtherStatusesLeaveTheRecordingAlone) {
  supervisor::set_recording(1);
  for (const char* text : {"SD_ERROR", "SD_SPEED_OK", "SD_SPEED_CHECKING", "SD_FORMAT_UNKNOWN",
                           "SD_CARD_INSERTED", "SD_FORMAT_EXFAT", "?"}) {
    const Timeline effects = after(3, text);
    EXPECT_THAT(effects, ::testing::Not(::testing::Contains("record tick 0"))) << text;
    EXPECT_THAT(effects, ::testing::Not(::testing::Contains(kRecordStoppedReport))) << text;
    EXPECT_EQ(supervisor::get_recording(), 1) << text;
  }
}

TEST_F(Notification, TextOf5IsReportedAsOther) {
  camera_state.SdTotalKB.store(4096);
  notify(5, "SD_ERROR");
  notify(5, "");
  EXPECT_EQ(timeline(), (Timeline{sd_report("ff"), sd_report("ff")}));
  EXPECT_EQ(sd_status(), 11);
  notify(5);
  say(R"({"notify_id":5,"param":5})");
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(Notification, ATimelapseWithoutAnIntervalIsSwitchedOff) {
  save_timelapse_parameters();
  start_timelapse();
  notify(0);
  EXPECT_EQ(timeline(),
            (Timeline{timelapse_report(kTimelapseEnded), set_text("OFF", "time_lapse_interval")}));
}

TEST_F(Notification, ATimelapseWithAnIntervalGoesOn) {
  start_timelapse();
  request(kTimelapseInterval, 5);
  notify(0);
  EXPECT_EQ(timeline(), Timeline{});
  request(kTimelapseInterval, 0);
  cam_set_op_state(15);
  (void)timeline();
  notify(0);
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(Notification, EverySliceOfATimelapseIsARecording) {
  start_timelapse();
  settle(kTimelapseInterval, 5);
  notify(11);
  EXPECT_EQ(timeline(), (Timeline{"sleep 200", R"({"msg_id":513,"token":77})"}));
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
}

TEST_F(Notification, ASliceNeedsARunningTimelapseWithItsIntervals) {
  struct Row {
    uint32_t op;
    int32_t requested;
    int32_t confirmed;
  };
  for (const Row row : {Row{0, 5, 5}, Row{17, 5, 5}, Row{16, 0, 5}, Row{16, 5, 0}}) {
    cam_set_op_state(row.op);
    request(kTimelapseInterval, row.requested);
    confirm(kTimelapseInterval, row.confirmed);
    (void)timeline();
    notify(11);
    EXPECT_EQ(timeline(), Timeline{});
  }
}

TEST_F(Notification, TheEndOfATimelapseIsReportedAndRecorded) {
  save_timelapse_parameters();
  start_timelapse();
  settle(kTimelapseTime, 4);
  camera_state.TimelapseState.store(1);
  camera_state.TimelapseStopSent.store(1);
  camera_state.TimelapseShots.store(12);
  camera_state.TimelapseCount.store(7);
  std::vector<int32_t> seen;
  at_sleep([&] { seen.push_back(camera_state.TimelapseState.load()); });
  notify(13);
  // 12.0; count 0, 100 in the high half
  EXPECT_EQ(timeline(),
            (Timeline{"time-lapse 0", timelapse_report(kTimelapseEnded), "sleep 10",
                      "app 76: 00 00 40 41 00 00 64 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 00 00 00 ca 00 00 10 00"}));
  EXPECT_EQ(seen, std::vector<int32_t>{0});
  EXPECT_EQ(camera_state.TimelapseState.load(), 0);
  EXPECT_EQ(camera_state.TimelapseStopSent.load(), 0);
  EXPECT_EQ(camera_state.TimelapseCount.load(), 0);
  EXPECT_EQ(camera_state.TimelapseShots.load(), 12);
  EXPECT_EQ(cam_get_op_state(), 0U);
}

TEST_F(Notification, AnEndWithoutATimelapseTimerIsHarmless) {
  save_timelapse_parameters();
  cam_json_context.TimelapseTimer.created.store(false);
  notify(13);
  EXPECT_EQ(timeline(),
            (Timeline{timelapse_report(kTimelapseEnded), "sleep 10",
                      "app 76: 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 00 00 00 ca 00 00 10 00"}));
}

TEST_F(Notification, TheRecordOf12StartsWithMinus1) {
  start_timelapse();
  settle(kTimelapseTime, 4);
  camera_state.TimelapseState.store(1);
  camera_state.TimelapseShots.store(12);
  camera_state.TimelapseCount.store(7);
  notify(12);
  EXPECT_EQ(timeline(),
            Timeline{"app 76: 00 00 80 bf 07 00 64 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                     "00 00 00 00 00 00 ca 00 00 10 00"});
  EXPECT_EQ(camera_state.TimelapseState.load(), 1);
  EXPECT_EQ(camera_state.TimelapseCount.load(), 7);
  EXPECT_EQ(cam_get_op_state(), 16U);
}

TEST_F(Notification, TheRecordsFieldsAreJoinedWithoutAMask) {
  settle(kTimelapseTime, -1);
  camera_state.TimelapseCount.store(0x12345);
  notify(12);
  // (-1 * 25) << 16 is ffe70000; together with 00012345
  EXPECT_EQ(timeline(),
            Timeline{"app 76: 00 00 80 bf 45 23 e7 ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                     "00 00 00 00 00 00 ca 00 00 10 00"});
}

class IgnoredNotification : public Notification, public ::testing::WithParamInterface<int> {};

TEST_P(IgnoredNotification, DoesNothing) {
  start_timelapse();
  settle(kTimelapseInterval, 5);
  supervisor::set_recording(1);
  notify(GetParam(), "SD_ERROR");
  EXPECT_EQ(timeline(), Timeline{});
  EXPECT_EQ(sd_status(), 11);
  EXPECT_EQ(cam_get_op_state(), 16U);
}

INSTANTIATE_TEST_SUITE_P(All, IgnoredNotification,
                         Values(3, 7, 14, 15, 255, 256 + 5, 65536 + 5, 2147483647, -1, -5,
                                -2147483647));

}  // namespace
}  // namespace camera_test
