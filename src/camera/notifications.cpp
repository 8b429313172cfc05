#include "camera/notifications.h"

#include "base/clock.h"
#include "base/relaxed.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/members.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"
#include "camera/status_record.h"
#include "flightlink/wire/reports.h"
#include "supervisor/state/camera_flags.h"

namespace camera {
namespace {

using base::kRelaxed;

constexpr int32_t kTimelapseReportEnded = 2;
constexpr uint8_t kSdReportOther = 255;

void report_sd_status(int32_t status) { flightlink::report_sd(0, 0, cam_sd_report_code(status)); }

// The card can no longer take what the camera does.
void card_lost(int32_t status) {
  if (status != kSdSpeedLow && status != kSdError) {
    camera_state.SdTotalKB.store(0, kRelaxed);
    camera_state.SdFreeKB.store(0, kRelaxed);
  }
  supervisor::set_photo_pending(0);
  if (status == kSdError || supervisor::get_recording() != 1) return;
  supervisor::set_recording(0);
  flightlink::mavlink_timer_set(&cam_json_context.RecordTickTimer, 0);
  flightlink::report_camera(flightlink::kCameraReportRecordStopped);
}

void sd_notification(const cJSON* message) {
  const int32_t status = cam_sd_status_code(text_member(message, "param"));
  if (status == kSdFormatExfat || status == kSdFormatFat32) {
    report_sd_status(status);
    return;
  }
  const int32_t before = camera_state.SdStatus.load(kRelaxed);
  const bool checked =
      before == kSdSpeedChecking && (status == kSdSpeedLow || status == kSdSpeedOk);
  if (before != kSdFormatUnknown && (status == kSdCardInserted || checked)) cam_query_sd();
  // An insertion does not clear an error or an unknown format.
  if ((before == kSdError || before == kSdFormatUnknown) && status == kSdCardInserted) return;
  camera_state.SdStatus.store(status, kRelaxed);
  if (status != kSdCardInserted && status != kSdCardRemoved && status != kSdUnknown) {
    report_sd_status(status);
  }
  if (status == kSdSpeedLow || status == kSdNoSpace || status == kSdError ||
      status == kSdCardRemoved) {
    card_lost(status);
  }
}

void timelapse_interrupted() {
  if (cam_get_op_state() != kCamOpTimelapse || requested(kTimelapseInterval) != 0) return;
  flightlink::report_timelapse(kTimelapseReportEnded, saved_timelapse_parameters());
  cam_set_timelapse_interval(0);
}

// Each slice of a time-lapse is one recording.
void timelapse_slice() {
  if (cam_get_op_state() != kCamOpTimelapse || requested(kTimelapseInterval) == 0 ||
      confirmed(kTimelapseInterval) == 0) {
    return;
  }
  base::sleep_ms(200);
  cam_start_record();
}

void timelapse_finished() {
  camera_state.TimelapseState.store(kTimelapseFinished, kRelaxed);
  camera_state.TimelapseStopSent.store(0, kRelaxed);
  flightlink::mavlink_timer_set(&cam_json_context.TimelapseTimer, 0);
  camera_state.TimelapseCount.store(0, kRelaxed);
  flightlink::report_timelapse(kTimelapseReportEnded, saved_timelapse_parameters());
  camera_state.TimelapseState.store(kTimelapseIdle, kRelaxed);
  cam_set_op_state(kCamOpIdle);
}

}  // namespace

void cam_handle_notification(int notify_id, const cJSON* message) {
  switch (notify_id) {
    case 0:
      return timelapse_interrupted();
    case 1:
    case 2:
    case 4:
    case 6:
    case 8:
    case 9:
    case 10:
      return sd_notification(message);
    case 5:
      if (text_member(message, "param") != nullptr) flightlink::report_sd(0, 0, kSdReportOther);
      return;
    case 11:
      return timelapse_slice();
    case 12:
      return cam_send_timelapse_record(-1.0F);
    case 13:
      timelapse_finished();
      return cam_send_timelapse_record(
          static_cast<float>(camera_state.TimelapseShots.load(kRelaxed)));
    default:
      return;
  }
}

}  // namespace camera
