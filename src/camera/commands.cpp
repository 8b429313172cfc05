#include "camera/commands.h"

#include <algorithm>

#include "base/relaxed.h"
#include "base/text.h"
#include "camera/connection.h"
#include "camera/send.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "flightlink/wire/link_context.h"
#include "supervisor/state/camera_flags.h"

namespace camera {
namespace {

using base::kRelaxed;

// The peer nibble with which the flight controller asks for the middle stream rate.
constexpr uint8_t kNibbleMiddleRate = 10;

int32_t switch_mode_for(std::atomic<int32_t>& pending_action, int32_t mode) {
  pending_action.store(1, kRelaxed);
  supervisor::set_mode_switch_pending(1);
  const int32_t result = cam_switch_mode(mode);
  if (result == kNotConnected) {
    pending_action.store(0, kRelaxed);
    supervisor::set_mode_switch_pending(0);
  }
  return result;
}

int32_t send_record_command(int32_t msg_id) {
  supervisor::set_record_cmd_pending(1);
  const int32_t result = cam_send_plain(msg_id);
  if (result == kNotConnected) supervisor::set_record_cmd_pending(0);
  return result;
}

}  // namespace

void cam_start_session(int connection) {
  char text[150];
  const size_t length = base::format_text(text, "{\"msg_id\":%d,\"token\":%d}", kMsgSession, 0);
  base::set_waiting(cam_json_context.SessionRequest, kMsgSession);
  cam_json_publish(connection, text, length);
}

int32_t cam_start_record() { return send_record_command(kMsgStartRecord); }

int32_t cam_stop_record() {
  const int32_t pending = supervisor::get_record_cmd_pending();
  return pending != 0 ? pending : send_record_command(kMsgStopRecord);
}

int32_t cam_take_photo() { return cam_send_plain(kMsgTakePhoto); }

int32_t cam_switch_mode(int32_t mode) {
  // Stored before the text leaves: the answer may be handled before this thread runs again, and it
  // confirms whatever has been requested.
  request(kCameraMode, mode);
  return cam_send_plain(kMsgSwitchMode);
}

int32_t cam_stop_preview() { return cam_send_plain(kMsgStopPreview); }

int32_t cam_stop_preview_for(Setting setting) {
  return cam_send_marked(setting, kMsgStopPreview, "{\"msg_id\":%d,\"token\":%d}", kMsgStopPreview,
                         cam_token());
}

int32_t cam_reset_preview() {
  return cam_send_marked(kResolution, kMsgResetPreview,
                         "{\"msg_id\":%d,\"param\":\"none_force\",\"token\":%d}", kMsgResetPreview,
                         cam_token());
}

int32_t cam_query_sd() { return cam_send_plain(kMsgSdQuery); }

int32_t cam_query_space(bool total) {
  cam_json_context.SpaceQueryTotal.store(total ? 1 : 0, kRelaxed);
  return cam_send("{\"msg_id\":%d,\"token\":%d,\"type\":\"%s\"}", kMsgSpace, cam_token(),
                  total ? "total" : "free");
}

int32_t cam_format_sd() {
  return cam_send("{\"msg_id\":%d,\"token\":%d,\"param\":\"C\"}", kMsgFormat, cam_token());
}

int32_t cam_cmd_2817() { return cam_send_plain(2817); }

int32_t cam_cmd_773() { return cam_send_plain(773); }

int32_t cam_cmd_2561() { return cam_send_plain(2561); }

int32_t cam_cmd_8194() { return cam_send_plain(8194); }

int32_t cam_set_stream_bitrate(int32_t rate) {
  if (rate <= 0) return 0;
  int32_t wanted = std::clamp(rate, 50, 2048);
  const uint8_t nibble = flightlink::mavlink_context.peer_nibble.load(kRelaxed);
  if (nibble == kNibbleMiddleRate) wanted = 1024;
  if (wanted == confirmed(kStreamRate)) return 0;
  request(kStreamRate, wanted);
  return cam_send("{\"msg_id\":%d,\"token\":%d,\"param\":\"%d\"}", kMsgStreamRate, cam_token(),
                  wanted);
}

int32_t cam_set_clock(const char* text) {
  if (text == nullptr) return 0;
  char command[100];
  const size_t length = base::format_text(
      command, "{\"msg_id\":%d,\"token\":%d,\"type\":\"camera_clock\",\"param\":\"%s\"}", kMsgSet,
      cam_token(), text);
  return a12_json_send(&cam_json_context, command, length);
}

int32_t cam_photo_request() {
  if (cam_get_mode() == kModePhoto) return cam_take_photo();
  return switch_mode_for(camera_state.pending_photo_after_switch, kModePhoto);
}

int32_t cam_record_request() {
  if (cam_get_mode() == kModeVideo) return cam_start_record();
  return switch_mode_for(camera_state.pending_record_after_switch, kModeVideo);
}

int32_t cam_request_default_setting() { return cam_stop_preview_for(kDefaultSetting); }

int32_t cam_default_setting() { return cam_send_set(kDefaultSetting, "on"); }

}  // namespace camera
