// The text of every single command, what it changes first, and when it is refused.
#include "camera/camera_rig.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/settings_file.h"
#include "flightlink/wire/link_context.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class CamCommands : public CameraTest {
 protected:
  static void set_peer_nibble(uint8_t nibble) {
    flightlink::mavlink_context.peer_nibble.store(nibble);
  }
  // Sends nothing, sleeps never.
  void expect_nothing_happened() { EXPECT_EQ(timeline(), Timeline{}); }
};

TEST_F(CamCommands, PlainCommandsAreNumberAndToken) {
  EXPECT_EQ(cam_start_record(), 0);
  EXPECT_EQ(cam_take_photo(), 0);
  EXPECT_EQ(cam_switch_mode(1), 0);
  EXPECT_EQ(cam_stop_preview(), 0);
  EXPECT_EQ(cam_query_sd(), 0);
  EXPECT_EQ(timeline(), (Timeline{R"({"msg_id":513,"token":77})", R"({"msg_id":769,"token":77})",
                                  R"({"msg_id":772,"token":77})", R"({"msg_id":260,"token":77})",
                                  R"({"msg_id":4097,"token":77})"}));
}

TEST_F(CamCommands, TheTokenIsSignedAndTheCurrentOne) {
  cam_json_context.Token.store(-1);
  cam_take_photo();
  cam_json_context.Token.store(INT32_MIN);
  cam_take_photo();
  cam_json_context.Token.store(0);
  cam_take_photo();
  EXPECT_EQ(timeline(),
            (Timeline{R"({"msg_id":769,"token":-1})", R"({"msg_id":769,"token":-2147483648})",
                      R"({"msg_id":769,"token":0})"}));
}

TEST_F(CamCommands, CommandsWithParameters) {
  EXPECT_EQ(cam_reset_preview(), 0);
  EXPECT_EQ(cam_default_setting(), 0);
  EXPECT_EQ(timeline(), (Timeline{R"({"msg_id":259,"param":"none_force","token":77})",
                                  set_text("on", "default_setting")}));
}

TEST_F(CamCommands, TheSpaceQueryRemembersWhatItAskedFor) {
  EXPECT_EQ(cam_query_space(true), 0);
  EXPECT_EQ(cam_json_context.SpaceQueryTotal.load(), 1);
  EXPECT_EQ(cam_query_space(false), 0);
  EXPECT_EQ(cam_json_context.SpaceQueryTotal.load(), 0);
  EXPECT_EQ(timeline(), (Timeline{R"({"msg_id":5,"token":77,"type":"total"})",
                                  R"({"msg_id":5,"token":77,"type":"free"})"}));
}

TEST_F(CamCommands, RecordingCommandsWaitForTheirAnswer) {
  EXPECT_EQ(cam_start_record(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
  EXPECT_EQ(cam_stop_record(), 1) << "refused with the flag";
  EXPECT_EQ(timeline(), Timeline{R"({"msg_id":513,"token":77})"});
  supervisor::set_record_cmd_pending(0);
  EXPECT_EQ(cam_stop_record(), 0);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 1);
  EXPECT_EQ(timeline(), Timeline{R"({"msg_id":514,"token":77})"});
}

TEST_F(CamCommands, AStartIsSentEvenWhileARecordingCommandIsPending) {
  supervisor::set_record_cmd_pending(1);
  EXPECT_EQ(cam_start_record(), 0);
  EXPECT_EQ(timeline(), Timeline{R"({"msg_id":513,"token":77})"});
}

TEST_F(CamCommands, AModeSwitchRequestsTheMode) {
  cam_switch_mode(1);
  EXPECT_EQ(requested(kCameraMode), 1);
  EXPECT_EQ(confirmed(kCameraMode), 0);
  EXPECT_EQ(supervisor::get_mode_switch_pending(), 0) << "whoever asks sets the flag";
}

TEST_F(CamCommands, EveryResolutionIsSetByItsIndex) {
  EXPECT_EQ(cam_set_resolution(0), 0);
  EXPECT_EQ(requested(kResolution), 0);
  EXPECT_EQ(cam_set_resolution(10), 0);
  EXPECT_EQ(requested(kResolution), 10);
  EXPECT_EQ(confirmed(kResolution), 1);
  EXPECT_EQ(timeline(), (Timeline{set_text("3840x2160 30P 16:9", "video_resolution"),
                                  set_text("1920x1080 120P 16:9", "video_resolution")}));
}

TEST_F(CamCommands, AResolutionOutsideTheTableSendsNothing) {
  for (const int32_t index : {11, -1, INT32_MAX, INT32_MIN}) {
    (void)cam_set_resolution(index);
    EXPECT_EQ(requested(kResolution), 1);
  }
  expect_nothing_happened();
}

TEST_F(CamCommands, TheTimelapseIntervalIsANumberOrOff) {
  EXPECT_EQ(cam_set_timelapse_interval(5), 0);
  EXPECT_EQ(requested(kTimelapseInterval), 5);
  EXPECT_EQ(cam_set_timelapse_interval(0), 0);
  EXPECT_EQ(requested(kTimelapseInterval), 0);
  EXPECT_EQ(timeline(), (Timeline{set_text("5", "time_lapse_interval"),
                                  set_text("OFF", "time_lapse_interval")}));
}

TEST_F(CamCommands, QueriesSetTheirOperationCodeAndPause) {
  EXPECT_EQ(cam_query_iso(), 0);
  EXPECT_EQ(cam_get_op_state(), 2U);
  EXPECT_EQ(cam_query_exposure(), 0);
  EXPECT_EQ(cam_get_op_state(), 4U);
  EXPECT_EQ(cam_query_shutter(), 0);
  EXPECT_EQ(cam_get_op_state(), 15U);
  EXPECT_EQ(cam_query_max_agc(), 0);
  EXPECT_EQ(cam_get_op_state(), 21U);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", R"({"msg_id":1,"token":77,"type":"fix_iso_value"})",
                                  "sleep 10", R"({"msg_id":1,"token":77,"type":"fix_exposure"})",
                                  "sleep 10", R"({"msg_id":1,"token":77,"type":"shutter_time"})",
                                  "sleep 10", R"({"msg_id":1,"token":77,"type":"Max_Agc"})"}));
}

TEST_F(CamCommands, TheRequestedValueIsStoredBeforeTheTextLeaves) {
  std::vector<int32_t> seen;
  at_sleep([&] { seen.push_back(requested(kLowLight)); });
  cam_set_low_light(1);
  EXPECT_EQ(seen, std::vector<int32_t>{1});
  seen.clear();
  at_sleep([&] { seen.push_back(requested(kRawMode)); });
  cam_set_raw_mode(1);
  EXPECT_EQ(seen, std::vector<int32_t>{1});
}

TEST_F(CamCommands, LowLightAndRawModeAreOnOrOff) {
  EXPECT_EQ(cam_set_low_light(1), 0);
  EXPECT_EQ(cam_get_op_state(), 18U);
  EXPECT_EQ(cam_set_low_light(0), 0);
  EXPECT_EQ(requested(kLowLight), 0);
  EXPECT_EQ(cam_set_raw_mode(1), 0);
  EXPECT_EQ(cam_get_op_state(), 23U);
  EXPECT_EQ(cam_set_raw_mode(0), 0);
  EXPECT_EQ(requested(kRawMode), 0);
  EXPECT_EQ(timeline(),
            (Timeline{"sleep 10", set_text("ON", "low_light_mode"), "sleep 10",
                      set_text("OFF", "low_light_mode"), "sleep 10", set_text("ON", "raw_mode"),
                      "sleep 10", set_text("OFF", "raw_mode")}));
}

struct ModeRow {
  const char* name;
  int32_t (*set)(int32_t);
  Setting mode;
  const char* type;
  uint32_t op;
  Setting other;
  const char* other_type;
};

class CamExclusiveMode : public CamCommands, public ::testing::WithParamInterface<ModeRow> {};

TEST_P(CamExclusiveMode, SwitchesTheOtherOffFirst) {
  const ModeRow& row = GetParam();
  settle(row.other, 1);
  EXPECT_EQ(row.set(1), 0);
  EXPECT_EQ(requested(row.other), 0);
  EXPECT_EQ(requested(row.mode), 1);
  EXPECT_EQ(cam_get_op_state(), row.op);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("OFF", row.other_type), "sleep 500",
                                  "sleep 10", set_text("ON", row.type)}));
}

INSTANTIATE_TEST_SUITE_P(All, CamExclusiveMode,
                         ::testing::Values(ModeRow{"LowLight", cam_set_low_light, kLowLight,
                                                   "low_light_mode", 18, kRawMode, "raw_mode"},
                                           ModeRow{"RawMode", cam_set_raw_mode, kRawMode,
                                                   "raw_mode", 23, kLowLight, "low_light_mode"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(CamCommands, SwitchingOffLeavesTheOtherModeAlone) {
  settle(kLowLight, 1);
  settle(kRawMode, 1);
  cam_set_low_light(0);
  cam_set_raw_mode(0);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("OFF", "low_light_mode"), "sleep 10",
                                  set_text("OFF", "raw_mode")}));
}

TEST_F(CamCommands, OnlyAConfirmedModeIsSwitchedOffFirst) {
  request(kRawMode, 1);
  cam_set_low_light(1);
  EXPECT_EQ(timeline(), (Timeline{"sleep 10", set_text("ON", "low_light_mode")}));
}

struct RateRow {
  int32_t asked;
  const char* sent;  // null: nothing
};

TEST_F(CamCommands, TheStreamRateIsClamped) {
  confirm(kStreamRate, 300);
  constexpr RateRow kRows[] = {
      {4000, "2048"}, {2049, "2048"}, {2048, "2048"},      {512, "512"}, {51, "51"},
      {50, "50"},     {49, "50"},     {10, "50"},          {1, "50"},    {INT32_MAX, "2048"},
      {0, nullptr},   {-1, nullptr},  {INT32_MIN, nullptr}};
  for (const RateRow& row : kRows) {
    EXPECT_EQ(cam_set_stream_bitrate(row.asked), 0);
    const Timeline sent = timeline();
    if (row.sent == nullptr) {
      EXPECT_EQ(sent, Timeline{}) << row.asked;
    } else {
      EXPECT_EQ(sent,
                Timeline{R"({"msg_id":16,"token":77,"param":")" + std::string(row.sent) + "\"}"})
          << row.asked;
      EXPECT_EQ(requested(kStreamRate), std::stoi(row.sent));
    }
  }
  EXPECT_EQ(confirmed(kStreamRate), 300);
}

TEST_F(CamCommands, ANibbleOf10MakesEveryRate1024) {
  set_peer_nibble(10);
  for (const int32_t asked : {1, 10, 512, 2048, 4000}) {
    cam_set_stream_bitrate(asked);
    EXPECT_EQ(timeline(), Timeline{R"({"msg_id":16,"token":77,"param":"1024"})"}) << asked;
  }
  for (const int32_t ignored : {0, -5}) {
    cam_set_stream_bitrate(ignored);
    expect_nothing_happened();
  }
  confirm(kStreamRate, 1024);
  cam_set_stream_bitrate(512);
  expect_nothing_happened();
  for (const uint8_t nibble : {uint8_t{9}, uint8_t{11}, uint8_t{0}}) {
    set_peer_nibble(nibble);
    cam_set_stream_bitrate(512);
    EXPECT_EQ(timeline(), Timeline{R"({"msg_id":16,"token":77,"param":"512"})"});
  }
}

TEST_F(CamCommands, ARateThatIsConfirmedAlreadyIsNotSent) {
  EXPECT_EQ(cam_set_stream_bitrate(2048), 0);
  EXPECT_EQ(cam_set_stream_bitrate(9999), 0);
  expect_nothing_happened();
  EXPECT_EQ(cam_set_stream_bitrate(512), 0);
  EXPECT_EQ(cam_set_stream_bitrate(512), 0) << "requested is not confirmed";
  EXPECT_EQ(timeline(), (Timeline{R"({"msg_id":16,"token":77,"param":"512"})",
                                  R"({"msg_id":16,"token":77,"param":"512"})"}));
}

TEST_F(CamCommands, TheSettingsFileIsRemovedThroughTheShell) {
  cam_conf_remove();
  EXPECT_EQ(timeline(), Timeline{"run rm /pref/cam.conf"});
}

class CamCommandsDisconnected : public CamCommands {
 protected:
  CamCommandsDisconnected() {
    disconnect();
    ::testing::internal::CaptureStdout();
  }
  ~CamCommandsDisconnected() override { ::testing::internal::GetCapturedStdout(); }
};

TEST_F(CamCommandsDisconnected, EveryCommandTellsThatThereIsNoConnection) {
  EXPECT_EQ(cam_take_photo(), -2);
  EXPECT_EQ(cam_switch_mode(1), -2);
  EXPECT_EQ(cam_stop_preview(), -2);
  EXPECT_EQ(cam_reset_preview(), -2);
  EXPECT_EQ(cam_query_sd(), -2);
  EXPECT_EQ(cam_query_space(true), -2);
  EXPECT_EQ(cam_set_stream_bitrate(512), -2);
  EXPECT_EQ(cam_set_resolution(4), -2);
  EXPECT_EQ(cam_set_timelapse_interval(3), -2);
  EXPECT_EQ(cam_set_timelapse_interval(0), -2);
  EXPECT_EQ(cam_default_setting(), -2);
  EXPECT_EQ(cam_set_low_light(1), -2);
  EXPECT_EQ(cam_set_raw_mode(0), -2);
  EXPECT_EQ(cam_query_max_agc(), -2);
  EXPECT_EQ(cam_apply_ae_mode(0), -2);
  EXPECT_EQ(cam_apply_ae_mode(1), -2);
}

TEST_F(CamCommandsDisconnected, TheRequestedValueIsStoredNevertheless) {
  cam_set_stream_bitrate(512);
  cam_set_resolution(4);
  cam_switch_mode(1);
  cam_set_low_light(1);
  cam_set_timelapse_interval(3);
  EXPECT_EQ(requested(kStreamRate), 512);
  EXPECT_EQ(requested(kResolution), 4);
  EXPECT_EQ(requested(kCameraMode), 1);
  EXPECT_EQ(requested(kLowLight), 1);
  EXPECT_EQ(requested(kTimelapseInterval), 3);
}

TEST_F(CamCommandsDisconnected, ARecordingCommandIsNotPending) {
  EXPECT_EQ(cam_start_record(), -2);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
  EXPECT_EQ(cam_stop_record(), -2);
  EXPECT_EQ(supervisor::get_record_cmd_pending(), 0);
}

TEST_F(CamCommandsDisconnected, ASettingCommandLeavesTheCameraIdle) {
  const std::pair<int32_t (*)(), int32_t> commands[] = {{cam_query_iso, 0},
                                                        {cam_query_exposure, 0},
                                                        {cam_query_shutter, 0},
                                                        {cam_query_max_agc, -2},
                                                        {[] { return cam_set_low_light(1); }, -2},
                                                        {[] { return cam_set_raw_mode(1); }, -2}};
  for (const auto& [command, result] : commands) {
    EXPECT_EQ(command(), result);
    EXPECT_EQ(cam_get_op_state(), 0U);
  }
}

}  // namespace
}  // namespace camera_test
