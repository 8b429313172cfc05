#include "camera/cam_setting_replies.h"

#include "camera/cam_commands.h"
#include "camera/cam_conf.h"
#include "camera/cam_json.h"
#include "camera/cam_members.h"
#include "camera/cam_settings.h"
#include "camera/cam_state.h"
#include "flightlink/reports.h"
#include "supervisor/camera_flags.h"

namespace camera {
namespace {

using flightlink::kResultOk;
constexpr auto kRelaxed = std::memory_order_relaxed;

enum TypeCode : int32_t {
  kTypeClock = 1,
  kTypeResolution = 2,
  kTypeVideoQuality = 4,
  kTypeAeMode = 7,
  kTypeDefaultSetting = 9,
  kTypeTimelapseInterval = 14,
  kTypeTimelapseTime = 15,
  kTypeLowLight = 17,
};

// Settings whose confirmation is the plain one: confirmed = requested, acknowledgement, idle.
struct PlainRow {
  int32_t type;
  Setting setting;
  uint8_t subject;
};

constexpr PlainRow kPlainRows[] = {
    {3, kColorStyle, 3},   {5, kWhiteBalance, 5}, {6, kIso, 6},         {8, kExposure, 7},
    {10, kSaturation, 11}, {11, kContrast, 12},   {12, kSharpness, 13}, {13, kPivFormat, 15},
    {16, kShutter, 17},    {18, kMaxAgc, 19},     {19, kRawMode, 20},   {20, kStampOff, 21},
};

int32_t confirm_requested(Setting setting) {
  const int32_t value = requested(setting);
  confirm(setting, value);
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
  camera_settings.default_reset_pending.store(0, kRelaxed);
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

void plain_set_reply(int32_t type) {
  for (const PlainRow& row : kPlainRows) {
    if (row.type != type) continue;
    acknowledge(row.subject, confirm_requested(row.setting));
    cam_set_op_state(kCamOpIdle);
    return;
  }
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
  int32_t type;
  GetReader read;
};

constexpr GetRow kGetRows[] = {
    {2, [](const char* param) { set_both(kResolution, cam_parse_resolution(param)); }},
    {6, [](const char* param) { confirm(kIso, manual_value(param, 100)); }},
    {8, [](const char* param) { confirm(kExposure, manual_value(param, 1)); }},
    // The interval's answer is kept as the time-lapse time: the two share this slot by design.
    {14, [](const char* param) { set_both(kTimelapseTime, cam_param_int_or_off(param)); }},
    {16, [](const char* param) { set_both(kShutter, cam_shutter_index(param)); }},
    {17, [](const char* param) { set_both(kLowLight, cam_param_is_on(param)); }},
    {18, [](const char* param) { set_both(kMaxAgc, cam_param_int(param)); }},
    {19, [](const char* param) { set_both(kRawMode, cam_param_is_on(param)); }},
    {20, [](const char* param) { set_both(kStampOff, cam_param_is_not_on(param)); }},
};

}  // namespace

void cam_handle_get_reply(const cJSON* message) {
  const int32_t type = cam_setting_type_code(text_member(message, "type"));
  for (const GetRow& row : kGetRows) {
    if (row.type != type) continue;
    const char* param = text_member(message, "param");
    if (number_member(message, "rval") == 0 && param != nullptr) row.read(param);
    cam_set_op_state(kCamOpIdle);
    return;
  }
}

void cam_handle_set_reply(const cJSON* message) {
  const int32_t type = cam_setting_type_code(text_member(message, "type"));
  if (number_member(message, "rval") != 0 || type == kTypeUnknown) {
    cam_set_op_state(kCamOpIdle);
    return;
  }
  switch (type) {
    case kTypeClock:
      return set_clock_reply();
    case kTypeResolution:
      return set_resolution_reply();
    case kTypeVideoQuality:
      return acknowledge(0, 0);
    case kTypeAeMode:
      return set_ae_mode_reply();
    case kTypeDefaultSetting:
      return set_default_reply();
    case kTypeTimelapseInterval:
      return set_interval_reply();
    case kTypeTimelapseTime:
      confirm_requested(kTimelapseTime);
      return acknowledge(0, 0);
    case kTypeLowLight:
      return set_low_light_reply();
    default:
      return plain_set_reply(type);
  }
}

}  // namespace camera
