// Start-up of the camera client and the end of a connection.
#include "camera/client.h"

#include "camera/camera_rig.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "camera/status_record.h"
#include "supervisor/state/camera_flags.h"
#include "support/no_descriptors.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

struct Flag {
  void (*set)(int32_t);
  int32_t (*get)();
};

// What waits for an answer of the service.
constexpr Flag kPending[] = {
    {supervisor::set_record_cmd_pending, supervisor::get_record_cmd_pending},
    {supervisor::set_mode_switch_pending, supervisor::get_mode_switch_pending},
    {supervisor::set_setting_pending, supervisor::get_setting_pending},
    {supervisor::set_photo_pending, supervisor::get_photo_pending},
    {supervisor::set_sd_query_pending, supervisor::get_sd_query_pending},
};

class CamClient : public CameraTest {};

TEST_F(CamClient, StartUpMakesTheTimersAndStartsTheReceiveThread) {
  disconnect();
  fake_base::reset();
  EXPECT_EQ(cam_json_init(), 0);
  const auto timers = fake_base::timers();
  ASSERT_EQ(timers.size(), 2U);
  EXPECT_EQ(timers[0].callback, cam_record_tick);
  EXPECT_EQ(timers[0].period_ms, 0U) << "not armed";
  EXPECT_EQ(timers[1].callback, cam_status_report);
  EXPECT_EQ(timers[1].period_ms, 0U) << "not armed";
  const auto threads = fake_base::threads();
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads[0].body, cam_json_thread);
  EXPECT_EQ(threads[0].argument, &cam_json_context);
  EXPECT_EQ(threads[0].priority, 2);
  EXPECT_EQ(cam_json_context.RecvThread, pthread_t{1});
}

TEST_F(CamClient, StartUpClearsTheRecordAndTheSettings) {
  cam_json_context.SessionStarted.store(1);
  cam_json_context.SpaceQueryTotal.store(1);
  settle(kContrast, 1);
  EXPECT_EQ(cam_json_init(), 0);
  EXPECT_EQ(cam_json_context.ConnState.load(), 0);
  EXPECT_EQ(cam_json_context.JsonConnFd.load(), 0);
  EXPECT_EQ(cam_json_context.Token.load(), 0);
  EXPECT_EQ(cam_json_context.SessionStarted.load(), 0);
  EXPECT_EQ(cam_json_context.SpaceQueryTotal.load(), 0);
  EXPECT_EQ(requested(kContrast), 60);
  EXPECT_EQ(confirmed(kContrast), 60);
}

TEST_F(CamClient, AThreadThatCannotBeStartedIsReported) {
  fake_base::fail_next_thread();
  EXPECT_EQ(cam_json_init(), EAGAIN);
}

TEST_F(CamClient, WithoutASocketTheReceiveThreadEndsForGood) {
  {
    const support::NoDescriptors none;
    EXPECT_EQ(cam_json_thread(&cam_json_context), nullptr);
  }
  EXPECT_EQ(cam_json_context.ConnState.load(), 0);
  EXPECT_EQ(cam_json_context.JsonConnFd.load(), 0);
  EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>{});
}

TEST_F(CamClient, TheEndOfAConnectionClearsWhatCanNoLongerBeAnswered) {
  for (const Flag& flag : kPending) flag.set(1);
  camera_state.pending_photo_after_switch.store(1);
  camera_state.pending_record_after_switch.store(1);
  cam_request_default_setting();
  cam_set_op_state(16);
  cam_set_resolution(4);
  cam_set_color_style(2);
  (void)timeline();
  cam_connection_lost();
  for (const Setting setting : kMarkedSettings) EXPECT_EQ(unanswered(setting), 0) << setting;
  EXPECT_EQ(requested(kResolution), 4) << "what was requested is not taken back";
  EXPECT_EQ(requested(kColorStyle), 2);
  for (const Flag& flag : kPending) EXPECT_EQ(flag.get(), 0) << &flag - kPending;
  EXPECT_EQ(camera_state.pending_photo_after_switch.load(), 0);
  EXPECT_EQ(camera_state.pending_record_after_switch.load(), 0);
  EXPECT_EQ(cam_get_op_state(), 0U);
  EXPECT_EQ(timeline(), Timeline{});
}

// The service may have been started anew, and then its clock stands at nothing.
TEST_F(CamClient, TheEndOfAConnectionUnlocksTheClock) {
  say(R"({"rval":0,"msg_id":2,"type":"camera_clock"})");
  EXPECT_EQ(supervisor::get_clock_set_ok(), 1);
  cam_connection_lost();
  EXPECT_EQ(supervisor::get_clock_set_ok(), 0);
}

TEST_F(CamClient, TheEndOfAConnectionKeepsTheRest) {
  supervisor::set_recording(1);
  supervisor::set_record_ack_via_uart(1);
  supervisor::set_photo_mode(2);
  supervisor::set_photo_sequence(3);
  cam_json_context.SessionStarted.store(1);
  camera_state.SdStatus.store(3);
  camera_state.SdTotalKB.store(4);
  camera_state.record_seconds.store(5);
  settle(kCameraMode, 1);
  cam_connection_lost();
  EXPECT_EQ(supervisor::get_recording(), 1);
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 1);
  EXPECT_EQ(supervisor::get_photo_mode(), 2);
  EXPECT_EQ(supervisor::get_photo_sequence(), 3);
  EXPECT_EQ(cam_json_context.SessionStarted.load(), 1);
  EXPECT_EQ(cam_json_context.Token.load(), 77);
  EXPECT_EQ(camera_state.SdStatus.load(), 3);
  EXPECT_EQ(camera_state.SdTotalKB.load(), 4);
  EXPECT_EQ(camera_state.record_seconds.load(), 5U);
  EXPECT_EQ(confirmed(kCameraMode), 1);
}

}  // namespace
}  // namespace camera_test
