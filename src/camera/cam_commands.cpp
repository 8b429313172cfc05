#include "camera/cam_commands.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "base/clock.h"
#include "base/text.h"
#include "camera/cam_json.h"
#include "camera/cam_settings.h"
#include "camera/cam_state.h"
#include "flightlink/link_context.h"
#include "supervisor/camera_flags.h"

namespace camera {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr int32_t kNotConnected = -2;

// Operation codes of the settings.
constexpr uint32_t kOpQueryIso = 2;
constexpr uint32_t kOpQueryExposure = 4;
constexpr uint32_t kOpQueryShutter = 15;
constexpr uint32_t kOpSetLowLight = 18;
constexpr uint32_t kOpQueryMaxAgc = 21;
constexpr uint32_t kOpSetRawMode = 23;

// The peer nibble with which the flight controller asks for the middle stream rate.
constexpr uint8_t kNibbleMiddleRate = 10;

int32_t token() { return cam_json_context.Token.load(kRelaxed); }

// Formats one command and sends it; text longer than the buffer is cut and sent with the cut
// length.
[[gnu::format(printf, 1, 2)]] int32_t send_command(const char* format, ...) {
  char text[200];
  va_list arguments;
  va_start(arguments, format);
  const int wanted = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  const size_t length = std::min(static_cast<size_t>(std::max(wanted, 0)), sizeof(text) - 1);
  return a12_json_send(&cam_json_context, text, length);
}

int32_t send_plain(int32_t msg_id) {
  return send_command("{\"msg_id\":%d,\"token\":%d}", msg_id, token());
}

int32_t send_set(const char* param, const char* type) {
  return send_command("{\"msg_id\":%d,\"token\":%d,\"param\":\"%s\",\"type\":\"%s\"}", kMsgSet,
                      token(), param, type);
}

int32_t send_get(const char* type) {
  return send_command("{\"msg_id\":%d,\"token\":%d,\"type\":\"%s\"}", kMsgGet, token(), type);
}

// With no connection there will be no answer to make the camera idle again.
int32_t idle_again_on_failure(int32_t result) {
  if (result == kNotConnected) cam_set_op_state(kCamOpIdle);
  return result;
}

int32_t query_setting(const char* type, uint32_t op) {
  cam_set_op_state(op);
  return idle_again_on_failure(send_get(type));
}

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

}  // namespace

void cam_start_session(int connection) {
  char text[150];
  const size_t length = base::format_text(text, "{\"msg_id\":%d,\"token\":%d}", kMsgSession, 0);
  cam_json_publish(connection, text, length);
}

int32_t cam_start_record() {
  supervisor::set_record_cmd_pending(1);
  const int32_t result = send_plain(kMsgStartRecord);
  if (result == kNotConnected) supervisor::set_record_cmd_pending(0);
  return result;
}

int32_t cam_stop_record() {
  const int32_t pending = supervisor::get_record_cmd_pending();
  if (pending != 0) return pending;
  supervisor::set_record_cmd_pending(1);
  const int32_t result = send_plain(kMsgStopRecord);
  if (result == kNotConnected) supervisor::set_record_cmd_pending(0);
  return result;
}

int32_t cam_take_photo() { return send_plain(kMsgTakePhoto); }

int32_t cam_switch_mode(int32_t mode) {
  // Stored before the text leaves: the answer may be handled before this thread runs again, and it
  // confirms whatever has been requested.
  request(kCameraMode, mode);
  return send_plain(kMsgSwitchMode);
}

int32_t cam_stop_preview() { return send_plain(kMsgStopPreview); }

int32_t cam_reset_preview() {
  return send_command("{\"msg_id\":%d,\"param\":\"none_force\",\"token\":%d}", kMsgResetPreview,
                      token());
}

int32_t cam_query_sd() { return send_plain(kMsgSdQuery); }

int32_t cam_query_space(bool total) {
  cam_json_context.SpaceQueryTotal.store(total ? 1 : 0, kRelaxed);
  return send_command("{\"msg_id\":%d,\"token\":%d,\"type\":\"%s\"}", kMsgSpace, token(),
                      total ? "total" : "free");
}

int32_t cam_set_stream_bitrate(int32_t rate) {
  if (rate <= 0) return 0;
  int32_t wanted = std::clamp(rate, 50, 2048);
  const uint8_t nibble = flightlink::mavlink_context.peer_nibble.load(kRelaxed);
  if (nibble == kNibbleMiddleRate) wanted = 1024;
  if (wanted == confirmed(kStreamRate)) return 0;
  request(kStreamRate, wanted);
  return send_command("{\"msg_id\":%d,\"token\":%d,\"param\":\"%d\"}", kMsgStreamRate, token(),
                      wanted);
}

int32_t cam_set_resolution(int32_t index) {
  const char* text = cam_resolution_text(index);
  if (text == nullptr) return -1;
  request(kResolution, index);
  return send_set(text, "video_resolution");
}

int32_t cam_set_low_light(int32_t on) {
  if (on == 1 && confirmed(kRawMode) == 1) {
    cam_set_raw_mode(0);
    base::sleep_ms(500);
  }
  request(kLowLight, on);
  cam_set_op_state(kOpSetLowLight);
  return idle_again_on_failure(send_set(on == 1 ? "ON" : "OFF", "low_light_mode"));
}

int32_t cam_set_raw_mode(int32_t on) {
  if (on == 1 && confirmed(kLowLight) == 1) {
    cam_set_low_light(0);
    base::sleep_ms(500);
  }
  request(kRawMode, on);
  cam_set_op_state(kOpSetRawMode);
  return idle_again_on_failure(send_set(on == 1 ? "ON" : "OFF", "raw_mode"));
}

int32_t cam_set_timelapse_interval(int32_t interval) {
  request(kTimelapseInterval, interval);
  if (interval == 0) return send_set("OFF", "time_lapse_interval");
  return send_command(
      "{\"msg_id\":%d,\"token\":%d,\"param\":\"%d\",\"type\":\"time_lapse_interval\"}", kMsgSet,
      token(), interval);
}

int32_t cam_default_setting() { return send_set("on", "default_setting"); }

int32_t cam_query_iso() {
  query_setting("fix_iso_value", kOpQueryIso);
  return 0;
}

int32_t cam_query_exposure() {
  query_setting("fix_exposure", kOpQueryExposure);
  return 0;
}

int32_t cam_query_shutter() {
  query_setting("shutter_time", kOpQueryShutter);
  return 0;
}

int32_t cam_query_max_agc() { return query_setting("Max_Agc", kOpQueryMaxAgc); }

int32_t cam_photo_request() {
  if (cam_get_mode() == kModePhoto) return cam_take_photo();
  return switch_mode_for(camera_state.pending_photo_after_switch, kModePhoto);
}

int32_t cam_record_request() {
  if (cam_get_mode() == kModeVideo) return cam_start_record();
  return switch_mode_for(camera_state.pending_record_after_switch, kModeVideo);
}

int32_t cam_stop_timelapse() {
  if (cam_get_op_state() != kCamOpTimelapse) return 0;
  if (camera_state.TimelapseStopSent.load(kRelaxed) != 0) return 0;
  camera_state.TimelapseStopSent.store(1, kRelaxed);
  const int32_t result = cam_stop_record();
  if (result == kNotConnected) camera_state.TimelapseStopSent.store(0, kRelaxed);
  return result;
}

}  // namespace camera
