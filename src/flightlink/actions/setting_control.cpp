#include "flightlink/actions/setting_control.h"

#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/send.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace flightlink {
namespace {

constexpr int kRefused = -1;
constexpr uint8_t kTimelapse = 16;

bool recording() { return supervisor::get_recording() != 0; }

bool timelapse_runs() { return camera::cam_get_op_state() == camera::kCamOpTimelapse; }

bool camera_takes_settings() {
  return camera::cam_json_context.ConnState.load(std::memory_order_relaxed) ==
             camera::kCamConnected &&
         camera::cam_get_op_state() == camera::kCamOpIdle && supervisor::get_photo_pending() == 0 &&
         supervisor::get_mode_switch_pending() == 0 && supervisor::get_setting_pending() == 0 &&
         supervisor::get_sd_query_pending() == 0;
}

int format_card(const CommandLong&) {
  if (timelapse_runs() || recording()) return kRefused;
  supervisor::set_setting_pending(1);
  const int32_t result = camera::cam_format_sd();
  if (result == camera::kNotConnected) supervisor::set_setting_pending(0);
  return result;
}

int resolution(const CommandLong& command) {
  return recording() ? kRefused : camera::cam_request_resolution(parameter(command.param[0]));
}

int default_settings(const CommandLong&) {
  return recording() ? kRefused : camera::cam_request_default_setting();
}

int timelapse(const CommandLong& command) {
  if (camera::cam_get_mode() != camera::kModeVideo) return kRefused;
  const float* p = command.param;
  // param4 is not used.
  return camera::cam_timelapse_control(
      {.cmd = command.confirmation,
       .interval = parameter(p[2]),
       .parameters = {.count = parameter(p[0]), .values = {p[1], p[4], p[5], p[6]}}});
}

template <int32_t (*Set)(int32_t)>
int by_value(const CommandLong& command) {
  return Set(parameter(command.param[0]));
}

struct Row {
  uint8_t sub;
  int (*handle)(const CommandLong& command);
};

constexpr Row kRows[] = {
    {1, format_card},
    {2, resolution},
    {3, by_value<camera::cam_set_color_style>},
    {4, by_value<camera::cam_set_video_quality>},
    {5, by_value<camera::cam_set_white_balance>},
    {6, by_value<camera::cam_set_iso>},
    {7, by_value<camera::cam_set_exposure>},
    {8, by_value<camera::cam_apply_ae_mode>},
    {9, default_settings},
    {11, by_value<camera::cam_set_saturation>},
    {12, by_value<camera::cam_set_contrast>},
    {13, by_value<camera::cam_set_sharpness>},
    {15, by_value<camera::cam_set_piv_format>},
    {kTimelapse, timelapse},
    {17, by_value<camera::cam_set_shutter>},
    {18, by_value<camera::cam_request_low_light>},
    {19, by_value<camera::cam_set_max_agc>},
    {20, by_value<camera::cam_set_raw_mode>},
    {21, by_value<camera::cam_set_stamp>},
};

}  // namespace

int setting_control(const CommandLong& command) {
  const bool during_timelapse = command.target_component == kTimelapse && timelapse_runs();
  if (!during_timelapse && !camera_takes_settings()) return kRefused;
  for (const Row& row : kRows) {
    if (row.sub == command.target_component) return row.handle(command);
  }
  return 0;
}

}  // namespace flightlink
