// Answers to the photo command and to the mode switch. (There is no card here, so tagging a photo
// does nothing; tests on the board look at the files.)
#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::Values;

class PhotoReply : public CameraTest {
 protected:
  PhotoReply() { supervisor::set_photo_pending(1); }
};

TEST_F(PhotoReply, APhotoIsAcknowledgedThenReported) {
  say(R"({"rval":0,"msg_id":769,"param":"C:\\DCIM\\20200101_120000AA.JPG"})");
  EXPECT_EQ(timeline(), (Timeline{kPhotoOk, kPhotoReport}));
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
}

TEST_F(PhotoReply, APhotoOfAModeIsReportedASecondLater) {
  supervisor::set_photo_mode(2);
  bool pending = false;
  at_sleep([&] { pending = supervisor::get_photo_pending() == 1; });
  say(R"({"rval":0,"msg_id":769,"param":"C:\\DCIM\\20200101_120000AA.JPG"})");
  EXPECT_EQ(timeline(), (Timeline{kPhotoOk, "sleep 1000", kPhotoReport}));
  EXPECT_TRUE(pending) << "the camera stays busy until the report has left";
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
}

class OddPhotoPath : public PhotoReply, public ::testing::WithParamInterface<std::string> {};

TEST_P(OddPhotoPath, StillCountsAsAPhoto) {
  say(R"({"rval":0,"msg_id":769)" + GetParam() + "}");
  EXPECT_EQ(timeline(), (Timeline{kPhotoOk, kPhotoReport}));
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
}

std::string long_path() {
  std::string path = R"(,"param":"C:\\)";
  path.append(3000, 'A').push_back('"');
  return path;
}

INSTANTIATE_TEST_SUITE_P(All, OddPhotoPath,
                         Values("", R"(,"param":7)", R"(,"param":"")",
                                R"(,"param":"20200101_120000AA.JPG")", R"(,"param":"\\")",
                                R"(,"param":"C:\\DCIM\\")", R"(,"param":"\\..\\/../AA.JPG")",
                                R"(,"param":"\\A")", R"(,"param":"\\A;reboot.JPG")", long_path()));

TEST_F(PhotoReply, AFailureIsAcknowledgedASecondLater) {
  for (const char* reply : {R"({"rval":-1,"msg_id":769,"param":"C:\\A.JPG"})",
                            R"({"rval":5,"msg_id":769})", R"({"msg_id":769,"param":"C:\\A.JPG"})",
                            R"({"rval":"0","msg_id":769,"param":"C:\\A.JPG"})"}) {
    supervisor::set_photo_pending(1);
    say(reply);
    EXPECT_EQ(timeline(), (Timeline{"sleep 1000", kPhotoFailed})) << reply;
    EXPECT_EQ(supervisor::get_photo_pending(), 0);
  }
}

class ModeReply : public CameraTest {
 protected:
  ModeReply() {
    supervisor::set_mode_switch_pending(1);
    request(kCameraMode, 1);
  }
};

TEST_F(ModeReply, ASwitchConfirmsTheRequestedMode) {
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("0a", "00", "01")});
  EXPECT_EQ(confirmed(kCameraMode), 1);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  request(kCameraMode, 0);
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("0a", "00", "00")});
  EXPECT_EQ(confirmed(kCameraMode), 0);
}

TEST_F(ModeReply, AFailureKeepsTheConfirmedMode) {
  for (const std::string& reply : failed_replies(772)) {
    supervisor::set_mode_switch_pending(1);
    settle(kLowLight, 1);
    say(reply);
    EXPECT_EQ(timeline(), Timeline{camera_ack("0a", "04", "00")}) << reply;
    EXPECT_EQ(confirmed(kCameraMode), 0);
    EXPECT_EQ(requested(kCameraMode), 1);
    EXPECT_EQ(supervisor::get_mode_switch_pending(), 0);
  }
}

TEST_F(ModeReply, ARecordingThatWaitedStarts) {
  camera_state.pending_record_after_switch.store(1);
  bool switch_over = false;
  at_sleep([&] { switch_over = supervisor::get_mode_switch_pending() == 0; });
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(),
            (Timeline{camera_ack("0a", "00", "01"), "sleep 500", R"({"msg_id":513,"token":77})"}));
  EXPECT_TRUE(switch_over);
  EXPECT_EQ(camera_state.pending_record_after_switch.load(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
}

TEST_F(ModeReply, APhotoThatWaitedIsTaken) {
  request(kCameraMode, 0);
  confirm(kCameraMode, 1);
  camera_state.pending_photo_after_switch.store(1);
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(),
            (Timeline{camera_ack("0a", "00", "00"), "sleep 500", R"({"msg_id":769,"token":77})"}));
  EXPECT_EQ(camera_state.pending_photo_after_switch.load(), 0);
}

TEST_F(ModeReply, ARecordingGoesBeforeAPhotoWhichWaitsOn) {
  camera_state.pending_record_after_switch.store(1);
  camera_state.pending_photo_after_switch.store(1);
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(),
            (Timeline{camera_ack("0a", "00", "01"), "sleep 500", R"({"msg_id":513,"token":77})"}));
  EXPECT_EQ(camera_state.pending_record_after_switch.load(), 0);
  EXPECT_EQ(camera_state.pending_photo_after_switch.load(), 1);
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(),
            (Timeline{camera_ack("0a", "00", "01"), "sleep 500", R"({"msg_id":769,"token":77})"}));
}

TEST_F(ModeReply, AFailedSwitchSendsNoActionThatWaited) {
  camera_state.pending_record_after_switch.store(1);
  camera_state.pending_photo_after_switch.store(1);
  say(R"({"rval":-1,"msg_id":772})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("0a", "04", "00")});
  EXPECT_EQ(camera_state.pending_record_after_switch.load(), 0);
  EXPECT_EQ(camera_state.pending_photo_after_switch.load(), 0);
  // Nor does a later switch, which somebody else asks for.
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("0a", "00", "01")});
}

TEST_F(ModeReply, LowLightIsSwitchedOffLast) {
  settle(kLowLight, 1);
  camera_state.pending_record_after_switch.store(1);
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(),
            (Timeline{camera_ack("0a", "00", "01"), "sleep 500", R"({"msg_id":513,"token":77})",
                      "sleep 10", set_text("OFF", "low_light_mode")}));
  EXPECT_EQ(requested(kLowLight), 0);
  EXPECT_EQ(confirmed(kLowLight), 1);
  EXPECT_EQ(cam_get_op_state(), 18U);
}

TEST_F(ModeReply, OnlyAConfirmedLowLightIsSwitchedOff) {
  request(kLowLight, 1);
  say(R"({"rval":0,"msg_id":772})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("0a", "00", "01")});
}

}  // namespace
}  // namespace camera_test
