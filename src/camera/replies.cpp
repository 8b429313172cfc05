#include "camera/replies.h"

#include <cstring>

#include "base/clock.h"
#include "base/relaxed.h"
#include "base/text.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/members.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/set_replies.h"
#include "camera/settings_file.h"
#include "camera/settings_table.h"
#include "flightlink/wire/aircraft_position.h"
#include "flightlink/wire/reports.h"
#include "media/photo/exif.h"
#include "supervisor/state/camera_flags.h"

namespace camera {
namespace {

using base::kRelaxed;
using flightlink::kResultFailed;
using flightlink::kResultOk;

constexpr uint32_t kStatusPeriodMs = 300;
constexpr uint32_t kRecordTickMs = 1000;

bool succeeded(const cJSON* reply) { return number_member(reply, "rval") == 0; }

void camera_ack(uint8_t subject, bool ok, int32_t value) {
  flightlink::report_camera_ack(subject, ok ? kResultOk : kResultFailed,
                                static_cast<uint8_t>(value));
}

void stop_record_tick() { flightlink::mavlink_timer_set(&cam_json_context.RecordTickTimer, 0); }

void session_reply(const cJSON* reply) {
  const auto param = number_member(reply, "param");
  // A session that is refused is still wanted: in the end the connection is made anew for it.
  if (!succeeded(reply) || !param) return;
  base::set_waiting(cam_json_context.SessionRequest, 0);
  cam_json_context.Token.store(*param, kRelaxed);
  cam_json_context.SessionStarted.store(1, kRelaxed);
  cam_query_shutter();
  base::sleep_ms(500);
  flightlink::mavlink_timer_set(&cam_json_context.StatusTimer, kStatusPeriodMs);
  cam_query_sd();
  cam_conf_load_soon();
}

// The acknowledgement goes to whoever asked for the recording.
void ack_record_start(uint8_t result) {
  if (supervisor::get_record_ack_via_uart() != 0) {
    flightlink::report_command_ack_flight(flightlink::kAckRecordStart, result);
  } else {
    flightlink::report_command_ack(flightlink::kAckRecordStart, result);
  }
}

void record_start_reply(const cJSON* reply) {
  const bool timelapse = cam_get_op_state() == kCamOpTimelapse;
  if (succeeded(reply)) {
    camera_state.record_seconds.store(0, kRelaxed);
    supervisor::set_recording(1);
    flightlink::mavlink_timer_set(&cam_json_context.RecordTickTimer, kRecordTickMs);
    ack_record_start(kResultOk);
    if (timelapse) {
      flightlink::report_timelapse(0, saved_timelapse_parameters());
      camera_state.TimelapseState.store(kTimelapseRunning, kRelaxed);
    } else {
      flightlink::report_camera(flightlink::kCameraReportRecordStarted);
    }
  } else {
    ack_record_start(kResultFailed);
    if (timelapse) cam_set_timelapse_interval(0);
  }
  supervisor::set_record_cmd_pending(0);
}

void record_stop_reply(const cJSON* reply) {
  stop_record_tick();
  if (cam_get_op_state() == kCamOpTimelapse) {
    request(kTimelapseInterval, 0);
    request(kTimelapseTime, 0);
  } else {
    flightlink::report_camera(flightlink::kCameraReportRecordStopped);
    cam_set_op_state(kCamOpStopRecord);
    if (cam_query_sd() == -2) cam_set_op_state(kCamOpIdle);
  }
  supervisor::set_recording(0);
  flightlink::report_command_ack(flightlink::kAckRecordStop,
                                 succeeded(reply) ? kResultOk : kResultFailed);
  supervisor::set_record_cmd_pending(0);
  supervisor::set_photo_pending(0);
}

// The service reports the path it started with; by now the file has its final name, with AB for AA.
void photo_name(const char* path, char (&name)[200]) {
  name[0] = '\0';
  const char* backslash = path != nullptr ? std::strrchr(path, '\\') : nullptr;
  if (backslash == nullptr) return;
  base::format_text(name, "%s", backslash + 1);
  char* mark = std::strstr(name, "AA");
  if (mark != nullptr) mark[1] = 'B';
}

void photo_reply(const cJSON* reply) {
  if (succeeded(reply)) {
    flightlink::report_command_ack(flightlink::kAckPhoto, kResultOk);
    char name[200];
    photo_name(text_member(reply, "param"), name);
    media::exif_tag_and_rename_photo(name, flightlink::get_longitude(), flightlink::get_latitude(),
                                     flightlink::get_altitude());
    if (supervisor::get_photo_mode() != 0) base::sleep_s(1);
    flightlink::report_camera(flightlink::kCameraReportPhoto);
  } else {
    base::sleep_s(1);
    flightlink::report_command_ack(flightlink::kAckPhoto, kResultFailed);
  }
  supervisor::set_photo_pending(0);
}

void mode_switch_reply(const cJSON* reply) {
  const bool ok = succeeded(reply);
  if (ok) confirm(kCameraMode, requested(kCameraMode));
  camera_ack(10, ok, confirmed(kCameraMode));
  supervisor::set_mode_switch_pending(0);
  if (!ok) {
    // The action that waited for this switch would otherwise follow some later one.
    camera_state.pending_record_after_switch.store(0, kRelaxed);
    camera_state.pending_photo_after_switch.store(0, kRelaxed);
    return;
  }
  if (camera_state.pending_record_after_switch.load(kRelaxed) != 0) {
    base::sleep_ms(500);
    cam_start_record();
    camera_state.pending_record_after_switch.store(0, kRelaxed);
  } else if (camera_state.pending_photo_after_switch.load(kRelaxed) != 0) {
    base::sleep_ms(500);
    cam_take_photo();
    camera_state.pending_photo_after_switch.store(0, kRelaxed);
  }
  if (confirmed(kLowLight) == 1) cam_set_low_light(0);
}

void preview_reset_reply(const cJSON* reply) {
  const bool ok = succeeded(reply);
  if (ok) {
    confirm(kResolution, requested(kResolution));
    base::sleep_ms(500);
  }
  base::sleep_ms(500);
  camera_ack(2, ok, confirmed(kResolution));
  base::sleep_ms(500);
  answered(kResolution);
  supervisor::set_setting_pending(0);
}

void preview_stop_reply(const cJSON* reply) {
  supervisor::set_preview_stopped(0);
  const bool resetting = unanswered(kDefaultSetting) == kMsgStopPreview;
  if (succeeded(reply)) {
    // A resolution that was asked for is told even when it is the confirmed one: the set starts the
    // preview again.
    const bool asked_for = unanswered(kResolution) == kMsgStopPreview;
    if (resetting) {
      cam_default_setting();
    } else if (asked_for || requested(kResolution) != confirmed(kResolution)) {
      cam_set_resolution(requested(kResolution));
    }
    return;
  }
  camera_ack(resetting ? 9 : 2, false, confirmed(kResolution));
  if (resetting) answered(kDefaultSetting);
  answered(kResolution);
  supervisor::set_setting_pending(0);
}

void stream_rate_reply(const cJSON* reply) {
  if (succeeded(reply)) confirm(kStreamRate, requested(kStreamRate));
}

void format_reply(const cJSON* reply) {
  camera_ack(1, succeeded(reply), 0);
  supervisor::set_setting_pending(0);
}

void sd_query_over() {
  supervisor::set_sd_query_pending(0);
  cam_set_op_state(kCamOpIdle);
}

// A missing "rval" counts as success here, and only here.
void space_reply(const cJSON* reply) {
  const auto kilobytes = number_member(reply, "param");
  if (number_member(reply, "rval").value_or(0) != 0 || !kilobytes) return sd_query_over();
  if (cam_json_context.SpaceQueryTotal.load(kRelaxed) != 0) {
    camera_state.SdTotalKB.store(*kilobytes, kRelaxed);
    if (cam_query_space(false) == -2) sd_query_over();
    return;
  }
  camera_state.SdFreeKB.store(*kilobytes, kRelaxed);
  cam_set_op_state(kCamOpIdle);
  if (supervisor::get_sd_query_pending() == 0) return;
  supervisor::set_sd_query_pending(0);
  flightlink::report_sd(static_cast<float>(camera_state.SdTotalKB.load(kRelaxed) >> 10),
                        static_cast<float>(camera_state.SdFreeKB.load(kRelaxed) >> 10), 0);
}

void sd_query_reply(const cJSON* reply) {
  const auto rval = number_member(reply, "rval");
  if (rval == 0) {
    if (camera_state.SdStatus.load(kRelaxed) == kSdUnknown) {
      camera_state.SdStatus.store(kSdCardInserted, kRelaxed);
    }
    cam_set_op_state(kCamOpSdQuery);
    if (cam_query_space(true) == -2) sd_query_over();
    return;
  }
  supervisor::set_sd_query_pending(0);
  if (rval == -1) {
    camera_state.SdStatus.store(kSdFormatUnknown, kRelaxed);
    flightlink::report_sd(0, 0, cam_sd_report_code(kSdFormatUnknown));
    cam_set_op_state(kCamOpIdle);
  } else if (rval == -2) {
    camera_state.SdStatus.store(kSdCardRemoved, kRelaxed);
    flightlink::report_sd(0, 0, cam_sd_report_code(kSdCardRemoved));
    cam_set_op_state(kCamOpIdle);
  }
}

void timelapse_start_reply(const cJSON* reply) {
  const bool ok = succeeded(reply);
  if (ok) {
    const int32_t interval = requested(kTimelapseInterval);
    cam_set_op_state(interval != 0 ? kCamOpTimelapse : kCamOpIdle);
    confirm(kTimelapseInterval, interval);
  } else {
    cam_set_op_state(kCamOpIdle);
  }
  camera_ack(16, ok, 0);
}

void timelapse_pause_reply(const cJSON* reply) {
  const bool ok = succeeded(reply);
  if (ok) {
    const bool was_paused = camera_state.TimelapseState.load(kRelaxed) == kTimelapsePaused;
    camera_state.TimelapseState.store(was_paused ? kTimelapseRunning : kTimelapsePaused, kRelaxed);
    if (camera_state.pause_report_suppressed.load(kRelaxed) == 0) {
      flightlink::report_timelapse(was_paused ? 0 : 1, saved_timelapse_parameters());
    }
  }
  camera_ack(16, ok, 1);
}

void timelapse_stop_reply(const cJSON* reply) {
  const bool ok = succeeded(reply);
  if (ok) {
    camera_state.TimelapseStopSent.store(0, kRelaxed);
    camera_state.TimelapseState.store(kTimelapseStopping, kRelaxed);
    flightlink::report_timelapse(2, saved_timelapse_parameters());
    camera_ack(16, true, 2);
    cam_set_op_state(kCamOpIdle);
  } else {
    camera_state.TimelapseStopSent.store(1, kRelaxed);
    camera_ack(16, false, 2);
  }
}

struct ReplyRow {
  int msg_id;
  void (*handle)(const cJSON* reply);
};

// Every other id is ignored; so are the results of 2817 and 8194.
constexpr ReplyRow kReplies[] = {
    {kMsgGet, cam_handle_get_reply},
    {kMsgSet, cam_handle_set_reply},
    {kMsgFormat, format_reply},
    {kMsgSpace, space_reply},
    {kMsgStreamRate, stream_rate_reply},
    {kMsgSession, session_reply},
    {kMsgResetPreview, preview_reset_reply},
    {kMsgStopPreview, preview_stop_reply},
    {kMsgStartRecord, record_start_reply},
    {kMsgStopRecord, record_stop_reply},
    {kMsgTakePhoto, photo_reply},
    {kMsgSwitchMode, mode_switch_reply},
    {kMsgSdQuery, sd_query_reply},
    {kMsgTimelapseStart, timelapse_start_reply},
    {kMsgTimelapsePause, timelapse_pause_reply},
    {kMsgTimelapseStop, timelapse_stop_reply},
};

}  // namespace

void cam_handle_reply(int msg_id, const cJSON* message) {
  for (const ReplyRow& row : kReplies) {
    if (row.msg_id == msg_id) row.handle(message);
  }
}

}  // namespace camera
