// What was requested stays requested; whether an answer is still awaited is another matter. Nothing
// that is refused, lost or never sent refuses a later request.
#include "camera/camera_rig.h"
#include "camera/client.h"
#include "camera/connection.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

constexpr const char* kUntypedRefusal = R"({"rval":-1,"msg_id":2})";
constexpr const char* kStopped = R"({"rval":0,"msg_id":260})";
const std::string kResetPreview = R"({"msg_id":259,"param":"none_force","token":77})";
const std::string kAsk = R"({"msg_id":2,"token":77,"param":")";
const std::string kVivid = kAsk + R"(VIVID","type":"color_style"})";
const std::string kBlackAndWhite = kAsk + R"(BlackAndWhite","type":"color_style"})";
const std::string k1080p30 = kAsk + R"(1920x1080 30P 16:9","type":"video_resolution"})";
const std::string k720p200 = kAsk + R"(1280x720 200P 16:9","type":"video_resolution"})";

class Unanswered : public CameraTest {
 protected:
  Unanswered() {
    settle(kCameraMode, 1);
    settle(kResolution, 4);
  }
  static void grant(const std::string& type) {
    say(R"({"rval":0,"msg_id":2,"type":")" + type + "\"}");
  }
  void expect_colour_refused() {
    (void)timeline();
    EXPECT_EQ(cam_set_color_style(1), -1);
    EXPECT_EQ(timeline(), Timeline{});
  }
  void expect_colour_told() {
    (void)timeline();
    EXPECT_EQ(cam_set_color_style(1), 0);
    EXPECT_EQ(timeline(), (Timeline{"sleep 10", kBlackAndWhite}));
    grant("color_style");
    EXPECT_EQ(confirmed(kColorStyle), 1);
  }
  // From the stop of the preview to the confirmed value.
  void expect_resolution_told(int32_t index, const std::string& text) {
    (void)timeline();
    EXPECT_EQ(cam_request_resolution(index), 0);
    EXPECT_EQ(supervisor::get_setting_pending(), 1);
    say(kStopped);
    grant("video_resolution");
    EXPECT_EQ(timeline(), (Timeline{kStopPreview, text, kResetPreview, "sleep 10"}));
    say(R"({"rval":0,"msg_id":259})");
    EXPECT_EQ(confirmed(kResolution), index);
    EXPECT_EQ(supervisor::get_setting_pending(), 0);
  }
};

// The service is started anew while the colour is on its way to it.
TEST_F(Unanswered, AColourToldOnANewConnectionIsConfirmedAsTold) {
  at_sleep([this] {
    at_sleep(nullptr);
    disconnect();
    cam_connection_lost();
    reconnect();
  });
  EXPECT_EQ(cam_set_color_style(2), 0);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", kVivid}));
  expect_colour_refused();
  grant("color_style");
  EXPECT_EQ(confirmed(kColorStyle), 2);
  expect_colour_told();
}

TEST_F(Unanswered, AColourThatFoundNoConnectionIsRequestedAllTheSame) {
  disconnect();
  printed_by([] { EXPECT_EQ(cam_set_color_style(2), -2); });
  EXPECT_EQ(requested(kColorStyle), 2);
  EXPECT_EQ(confirmed(kColorStyle), 0);
  reconnect();
  expect_colour_told();
}

TEST_F(Unanswered, AColourThatWasLostWithItsConnectionIsRequestedAllTheSame) {
  EXPECT_EQ(cam_set_color_style(2), 0);
  cam_connection_lost();
  EXPECT_EQ(requested(kColorStyle), 2);
  expect_colour_told();
}

TEST_F(Unanswered, AColourThatIsRefusedIsRequestedAllTheSame) {
  EXPECT_EQ(cam_set_color_style(2), 0);
  say(R"({"rval":-1,"msg_id":2,"type":"color_style"})");
  EXPECT_EQ(requested(kColorStyle), 2);
  EXPECT_EQ(confirmed(kColorStyle), 0);
  expect_colour_told();
}

// Its answer would confirm the one that is requested after it.
TEST_F(Unanswered, AColourThatIsConfirmedAlreadyWaitsForItsAnswerToo) {
  EXPECT_EQ(cam_set_color_style(0), 0);
  expect_colour_refused();
  grant("color_style");
  expect_colour_told();
}

// The watch looked at the colour before while its answer came.
TEST_F(Unanswered, AColourDoesNotWaitSinceALookAtTheLastOne) {
  camera_settings.unanswered[kColorStyle].since_us.store(1);
  EXPECT_EQ(cam_set_color_style(2), 0);
  EXPECT_GE(unanswered_since_us(kColorStyle), 1000000000U);
}

TEST_F(Unanswered, ARefusalWithoutATypeIsTheColoursWhenNothingElseWaits) {
  EXPECT_EQ(cam_set_color_style(2), 0);
  say(kUntypedRefusal);
  expect_colour_told();
}

TEST_F(Unanswered, ARefusalWithAnotherTypeIsNotTheColours) {
  EXPECT_EQ(cam_set_color_style(2), 0);
  say(R"({"rval":-1,"msg_id":2,"type":"weather"})");
  say(R"({"rval":-1,"msg_id":2,"type":"contrast"})");
  expect_colour_refused();
}

TEST_F(Unanswered, ARefusalWithoutATypeIsNobodysWhenTwoWait) {
  EXPECT_EQ(cam_set_color_style(2), 0);
  EXPECT_EQ(cam_request_resolution(9), 0);
  say(kStopped);
  say(kUntypedRefusal);
  EXPECT_EQ(supervisor::get_setting_pending(), 1);
  expect_colour_refused();
  // Now only the resolution waits.
  grant("color_style");
  say(kUntypedRefusal);
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
  expect_resolution_told(9, k720p200);
}

TEST_F(Unanswered, ARefusalWithoutATypeIsNotForWhatWaitsForThePreview) {
  EXPECT_EQ(cam_set_color_style(2), 0);
  EXPECT_EQ(cam_request_resolution(9), 0);
  say(kUntypedRefusal);
  EXPECT_EQ(supervisor::get_setting_pending(), 1);
  expect_colour_told();
  (void)timeline();
  say(kStopped);
  EXPECT_EQ(timeline(), Timeline{k720p200});
}

TEST_F(Unanswered, AResolutionIsRequestedOnceWhileItWaits) {
  EXPECT_EQ(cam_request_resolution(9), 0);
  EXPECT_EQ(cam_request_resolution(9), 0);
  say(kStopped);
  EXPECT_EQ(cam_request_resolution(9), 0);
  EXPECT_EQ(timeline(), (Timeline{kStopPreview, k720p200}));
}

TEST_F(Unanswered, AResolutionThatFoundNoConnectionIsRequestedAllTheSame) {
  disconnect();
  printed_by([] { EXPECT_EQ(cam_request_resolution(9), -2); });
  EXPECT_EQ(requested(kResolution), 9);
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
  reconnect();
  expect_resolution_told(9, k720p200);
}

TEST_F(Unanswered, AResolutionThatWasLostOrRefusedMayBeRequestedAgain) {
  EXPECT_EQ(cam_request_resolution(9), 0);
  cam_connection_lost();
  EXPECT_EQ(requested(kResolution), 9);
  for (const char* refusal :
       {R"({"rval":-1,"msg_id":260})", R"({"rval":-1,"msg_id":2,"type":"video_resolution"})",
        R"({"rval":-1,"msg_id":259})"}) {
    EXPECT_EQ(cam_request_resolution(9), 0);
    EXPECT_EQ(supervisor::get_setting_pending(), 1);
    say(refusal);
    EXPECT_EQ(supervisor::get_setting_pending(), 0) << refusal;
    EXPECT_EQ(requested(kResolution), 9) << refusal;
    EXPECT_EQ(confirmed(kResolution), 4) << refusal;
  }
  expect_resolution_told(9, k720p200);
}

// The camera may have taken the other one before it failed, and it has stopped its preview.
TEST_F(Unanswered, AfterARefusedResolutionTheConfirmedOneIsToldAgain) {
  EXPECT_EQ(cam_request_resolution(9), 0);
  say(R"({"rval":-1,"msg_id":259})");
  expect_resolution_told(4, k1080p30);
  EXPECT_EQ(cam_request_resolution(4), 0) << "confirmed: nothing to do";
  EXPECT_EQ(supervisor::get_setting_pending(), 0);
}

}  // namespace
}  // namespace camera_test
