#include "camera/set_commands.h"

#include <iterator>

#include "base/clock.h"
#include "base/relaxed.h"
#include "base/text.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/send.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera {
namespace {

using base::kRelaxed;

constexpr int32_t kRefused = -1;
constexpr int32_t kExposureRefused = 4999;
constexpr int32_t kShortestAt60p = 9;
constexpr int32_t kShortestAtHighRate = 14;
constexpr int32_t kShortestInTimelapse = 6;
constexpr int32_t kTimelapseResolution = 4;  // 1920x1080 30P
constexpr int32_t kAeShutterPriority = 2;

constexpr const char* kColorStyles[] = {"Auto", "BlackAndWhite", "VIVID", "70FILM"};
constexpr const char* kVideoQualities[] = {"sfine", "fine", "normal"};
constexpr const char* kWhiteBalances[] = {"Auto", "Day", "Cloudy"};
constexpr const char* kAeModes[] = {"off", "on", "shutter_priority"};

template <size_t Size>
const char* text_at(const char* const (&table)[Size], int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < Size ? table[index] : nullptr;
}

const char* on_or_off(bool on) { return on ? "ON" : "OFF"; }

// A set whose unknown values do nothing.
template <size_t Size>
int32_t set_from(Setting setting, const char* const (&table)[Size], int32_t index) {
  const char* text = text_at(table, index);
  return text != nullptr ? cam_set(setting, index, text) : 0;
}

bool shutter_priority_below(int32_t index) {
  return confirmed(kAeMode) == kAeShutterPriority && confirmed(kShutter) < index;
}

int32_t start_timelapse(int32_t interval, const flightlink::TimelapseParameters& parameters) {
  if (interval < 1 || interval > 15) return kRefused;
  if (camera_state.TimelapseState.load(kRelaxed) != kTimelapseIdle) return kRefused;
  if (cam_get_op_state() != kCamOpIdle) return kRefused;
  camera_state.TimelapseShots.store(0, kRelaxed);
  confirm(kTimelapseInterval, 0);
  camera_state.timelapse_count_parameter.store(parameters.count, kRelaxed);
  for (size_t i = 0; i < std::size(parameters.values); i++) {
    camera_state.timelapse_parameters[i].store(parameters.values[i], kRelaxed);
  }
  return cam_set_timelapse_interval(interval);
}

}  // namespace

int32_t cam_set_resolution(int32_t index) {
  const char* text = cam_resolution_text(index);
  return text != nullptr ? cam_set(kResolution, index, text) : kRefused;
}

int32_t cam_set_color_style(int32_t style) {
  const char* text = text_at(kColorStyles, style);
  if (text == nullptr || !take_mark(kColorStyle)) return kRefused;
  return cam_set(kColorStyle, style, text);
}

int32_t cam_set_video_quality(int32_t quality) {
  return set_from(kVideoQuality, kVideoQualities, quality);
}

int32_t cam_set_white_balance(int32_t balance) {
  return set_from(kWhiteBalance, kWhiteBalances, balance);
}

int32_t cam_set_iso(int32_t value) {
  return value == 0 ? cam_set(kIso, 0, "Auto") : cam_set_number(kIso, value);
}

int32_t cam_set_exposure(int32_t value) {
  if (is_high_rate(confirmed(kResolution)) && value < 5000) return kExposureRefused;
  return cam_set_number(kExposure, value);
}

int32_t cam_set_ae_mode(int32_t mode) { return set_from(kAeMode, kAeModes, mode); }

int32_t cam_set_saturation(int32_t value) { return cam_set_number(kSaturation, value); }

int32_t cam_set_contrast(int32_t value) { return cam_set_number(kContrast, value); }

int32_t cam_set_sharpness(int32_t value) { return cam_set_number(kSharpness, value); }

int32_t cam_set_shutter(int32_t index) {
  const char* text = cam_shutter_text(index);
  if (text == nullptr) return kRefused;
  const int32_t resolution = confirmed(kResolution);
  if (is_60p(resolution) && index < kShortestAt60p) return kRefused;
  if (is_high_rate(resolution) && index < kShortestAtHighRate) return kRefused;
  return cam_set(kShutter, index, text);
}

int32_t cam_set_piv_format(int32_t format) {
  if (format == 1 && is_high_rate(confirmed(kResolution))) return kRefused;
  return cam_set(kPivFormat, format, format == 1 ? "RAW" : "JPG");
}

int32_t cam_set_raw_mode(int32_t on) {
  if (on == 1 && confirmed(kLowLight) == 1) {
    cam_set_low_light(0);
    base::sleep_ms(500);
  }
  return cam_set(kRawMode, on, on_or_off(on == 1));
}

int32_t cam_set_low_light(int32_t on) {
  if (on == 1 && confirmed(kRawMode) == 1) {
    cam_set_raw_mode(0);
    base::sleep_ms(500);
  }
  return cam_set(kLowLight, on, on_or_off(on == 1));
}

int32_t cam_set_stamp(int32_t off) { return cam_set(kStampOff, off, on_or_off(off == 0)); }

int32_t cam_set_max_agc(int32_t value) {
  const int32_t low_light = confirmed(kLowLight);
  return low_light != 0 ? cam_set_number(kMaxAgc, value) : low_light;
}

int32_t cam_set_timelapse_interval(int32_t interval) {
  return interval == 0 ? cam_set(kTimelapseInterval, 0, "OFF")
                       : cam_set_number(kTimelapseInterval, interval);
}

int32_t cam_set_timelapse_time(int32_t time) {
  char text[12];
  base::format_text(text, "%d", time);
  return cam_send_set(kTimelapseTime, text);
}

int32_t cam_query_shutter() {
  cam_query(kShutter);
  return 0;
}

int32_t cam_query_iso() {
  cam_query(kIso);
  return 0;
}

int32_t cam_query_exposure() {
  cam_query(kExposure);
  return 0;
}

int32_t cam_query_max_agc() { return cam_query(kMaxAgc); }

int32_t cam_query_low_light() { return cam_query(kLowLight); }

int32_t cam_query_raw_mode() { return cam_query(kRawMode); }

int32_t cam_query_stamp() { return cam_query(kStampOff); }

int32_t cam_query_resolution() { return cam_query(kResolution); }

int32_t cam_request_resolution(int32_t index) {
  if (cam_get_mode() == kModePhoto) return 0;
  if (cam_resolution_text(index) == nullptr) return kRefused;
  const bool unanswered_or_done =
      unanswered(kResolution) != 0 || requested(kResolution) == confirmed(kResolution);
  if (index == requested(kResolution) && unanswered_or_done) return 0;
  const bool low_light = confirmed(kLowLight) != 0;
  if (is_high_rate(index) && (confirmed(kAeMode) != 0 || low_light || confirmed(kPivFormat) == 1)) {
    return kRefused;
  }
  if (is_60p(index) && (low_light || shutter_priority_below(kShortestAt60p))) return kRefused;
  request(kResolution, index);
  supervisor::set_setting_pending(1);
  const int32_t result = cam_stop_preview_for(kResolution);
  if (result == kNotConnected) supervisor::set_setting_pending(0);
  return result;
}

int32_t cam_apply_ae_mode(int32_t mode) {
  if (is_high_rate(confirmed(kResolution))) return 0;
  const int32_t result = cam_set_ae_mode(mode);
  if (mode != 0) return result;
  // Each twice on purpose: the camera's first setting after a mode change may be lost.
  cam_set_exposure(0);
  cam_set_exposure(0);
  base::sleep_ms(200);
  cam_set_iso(0);
  return cam_set_iso(0);
}

int32_t cam_request_low_light(int32_t on) {
  if (!is_30p(confirmed(kResolution)) || confirmed(kAeMode) != 0) return kRefused;
  if (confirmed(kPivFormat) == 1) {
    cam_set_piv_format(0);
    base::sleep_ms(200);
  }
  return cam_set_low_light(on);
}

int32_t cam_timelapse_control(const TimelapseRequest& request) {
  if (confirmed(kResolution) != kTimelapseResolution) return kRefused;
  if (shutter_priority_below(kShortestInTimelapse)) return kRefused;
  if (request.cmd == 0) return start_timelapse(request.interval, request.parameters);
  return request.cmd == 2 ? cam_stop_timelapse() : 0;
}

int32_t cam_stop_timelapse() {
  if (cam_get_op_state() != kCamOpTimelapse) return 0;
  if (camera_state.TimelapseStopSent.load(kRelaxed) != 0) return 0;
  camera_state.TimelapseStopSent.store(1, kRelaxed);
  const int32_t result = cam_stop_record();
  // Not sent: there is no connection, or a slice is just starting. The next stop may be.
  if (result != 0) camera_state.TimelapseStopSent.store(0, kRelaxed);
  return result;
}

}  // namespace camera
