#include "camera/set_replies.h"

#include <optional>

#include "base/relaxed.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/members.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/settings_file.h"
#include "camera/settings_table.h"
#include "flightlink/wire/reports.h"
#include "supervisor/state/camera_flags.h"

namespace camera {
namespace {

using base::kRelaxed;
using flightlink::kResultOk;

int32_t confirm_requested(Setting setting) {
  const int32_t value = requested(setting);
  confirm(setting, value);
  answered(setting);  // not before: the next request overwrites what was requested
  return value;
}

void acknowledge(uint8_t subject, int32_t value) {
  flightlink::report_camera_ack(subject, kResultOk, static_cast<uint8_t>(value));
}

void set_clock_reply() {
  supervisor::set_clock_set_ok(1);
  flightlink::report_clock(kResultOk);
  cam_set_op_state(kCamOpIdle);
}

// The resolution itself is confirmed by the answer to the preview reset.
void set_resolution_reply() {
  cam_reset_preview();
  cam_set_op_state(kCamOpIdle);
}

void set_ae_mode_reply() {
  const int32_t mode = confirm_requested(kAeMode);
  if (mode == 1) {
    cam_query_iso();
    cam_query_exposure();
  } else if (mode == 2) {
    cam_query_shutter();
  }
  acknowledge(8, mode);
}

void set_default_reply() {
  cam_conf_remove();
  answered(kDefaultSetting);
  acknowledge(9, 0);
}

void set_interval_reply() {
  if (confirm_requested(kTimelapseInterval) == 0) {
    camera_state.TimelapseState.store(kTimelapseIdle, kRelaxed);
    cam_set_op_state(kCamOpIdle);
    camera_state.TimelapseStopSent.store(0, kRelaxed);
  } else {
    cam_set_op_state(kCamOpTimelapse);
  }
  acknowledge(0, 0);
}

void set_low_light_reply() {
  const int32_t value = confirm_requested(kLowLight);
  cam_set_op_state(kCamOpIdle);
  cam_query_max_agc();
  acknowledge(18, value);
}

// Confirmed = requested, acknowledgement, idle.
void plain_set_reply(const SettingRow& row) {
  acknowledge(row.subject, confirm_requested(row.setting));
  cam_set_op_state(kCamOpIdle);
  if (row.setting == kColorStyle || row.setting == kWhiteBalance) cam_conf_save(&cam_conf_owner);
}

// A refusal is an answer too: what waited for it may be asked for again.
void set_refused(Setting setting) {
  answered(setting);
  if (setting == kResolution) supervisor::set_setting_pending(0);
}

// An answer that does not say to what can only be meant for the one set that waits. With two of
// them it could be either's; both go on waiting.
void untyped_answer() {
  std::optional<Setting> waiting;
  for (const Setting setting : kMarkedSettings) {
    if (unanswered(setting) != kMsgSet) continue;
    if (waiting) return;
    waiting = setting;
  }
  if (waiting) set_refused(*waiting);
}

void set_both(Setting setting, int32_t value) {
  request(setting, value);
  confirm(setting, value);
}

// Auto becomes the lowest manual value while the exposure is set by hand.
int32_t manual_value(const char* param, int32_t lowest) {
  const int32_t value = cam_param_int(param);
  return value == 0 && confirmed(kAeMode) != 0 ? lowest : value;
}

using GetReader = void (*)(const char* param);

struct GetRow {
  Setting setting;
  GetReader read;
};

constexpr GetRow kGetRows[] = {
    {kResolution, [](const char* param) { set_both(kResolution, cam_parse_resolution(param)); }},
    {kIso, [](const char* param) { confirm(kIso, manual_value(param, 100)); }},
    {kExposure, [](const char* param) { confirm(kExposure, manual_value(param, 1)); }},
    // The interval's answer is kept as the time-lapse time: the two share this slot by design.
    {kTimelapseInterval,
     [](const char* param) { set_both(kTimelapseTime, cam_param_int_or_off(param)); }},
    {kShutter, [](const char* param) { set_both(kShutter, cam_shutter_index(param)); }},
    {kLowLight, [](const char* param) { set_both(kLowLight, cam_param_is_on(param)); }},
    {kMaxAgc, [](const char* param) { set_both(kMaxAgc, cam_param_int(param)); }},
    {kRawMode, [](const char* param) { set_both(kRawMode, cam_param_is_on(param)); }},
    {kStampOff, [](const char* param) { set_both(kStampOff, cam_param_is_not_on(param)); }},
};

}  // namespace

void cam_handle_get_reply(const cJSON* message) {
  const SettingRow* setting = setting_of_type(cam_setting_type_code(text_member(message, "type")));
  if (setting == nullptr) return;
  for (const GetRow& row : kGetRows) {
    if (row.setting != setting->setting) continue;
    const char* param = text_member(message, "param");
    if (number_member(message, "rval") == 0 && param != nullptr) row.read(param);
    cam_set_op_state(kCamOpIdle);
    return;
  }
}

void cam_handle_set_reply(const cJSON* message) {
  const char* type = text_member(message, "type");
  const SettingRow* row = setting_of_type(cam_setting_type_code(type));
  if (number_member(message, "rval") != 0 || row == nullptr) {
    if (row != nullptr) set_refused(row->setting);
    if (type == nullptr) untyped_answer();
    cam_set_op_state(kCamOpIdle);
    return;
  }
  switch (row->setting) {
    case kClock:
      return set_clock_reply();
    case kResolution:
      return set_resolution_reply();
    case kVideoQuality:
      return acknowledge(0, 0);
    case kAeMode:
      return set_ae_mode_reply();
    case kDefaultSetting:
      return set_default_reply();
    case kTimelapseInterval:
      return set_interval_reply();
    case kTimelapseTime:
      confirm_requested(kTimelapseTime);
      return acknowledge(0, 0);
    case kLowLight:
      return set_low_light_reply();
    default:
      return plain_set_reply(*row);
  }
}

}  // namespace camera
