#include "camera/status_record.h"

#include "base/bytes.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"

namespace camera {
namespace {

using base::kRelaxed;

// A confirmed value, read while StateLock is held.
uint32_t held(Setting setting) {
  return static_cast<uint32_t>(camera_settings.confirmed[setting].load(kRelaxed));
}

float megabytes(const std::atomic<int32_t>& kilobytes) {
  return static_cast<float>(kilobytes.load(kRelaxed) >> 10);
}

}  // namespace

void cam_status_record(uint8_t (&record)[flightlink::kStatusRecordSize]) {
  for (uint8_t& byte : record) byte = 0;
  const base::Lock lock(cam_json_context.StateLock);
  const uint32_t sd = cam_sd_report_code(camera_state.SdStatus.load(kRelaxed));
  const auto timelapse = static_cast<uint32_t>(camera_state.TimelapseState.load(kRelaxed));
  base::store_u32le(record, held(kResolution) | held(kColorStyle) << 4 | held(kWhiteBalance) << 8 |
                                held(kAeMode) << 12 | held(kCameraMode) << 16 | sd << 20 |
                                timelapse << 24);
  base::store_u32le(record + 4, held(kIso) | held(kExposure) << 16);
  base::store_f32le(record + 8, megabytes(camera_state.SdTotalKB));
  base::store_f32le(record + 12, megabytes(camera_state.SdFreeKB));
  base::store_u32le(record + 16, held(kSaturation) | held(kContrast) << 8 | held(kSharpness) << 16 |
                                     held(kShutter) << 24 | (held(kPivFormat) & 1) << 29 |
                                     (held(kLowLight) & 1) << 30);
  base::store_u32le(
      record + 20, (held(kMaxAgc) & 0x3F) | (held(kRawMode) & 1) << 7 | (held(kStampOff) & 1) << 8);
  base::store_f32le(record + 24, 1.0F);
  base::store_u16le(record + 28, 2);
}

void cam_status_report(union sigval) {
  uint8_t record[flightlink::kStatusRecordSize];
  cam_status_record(record);
  flightlink::report_status_record(record);
}

void cam_record_tick(union sigval) {
  const uint32_t seconds = camera_state.record_seconds.fetch_add(1, kRelaxed) + 1;
  flightlink::report_record_tick(seconds);
}

void cam_send_timelapse_record(float first) {
  uint8_t record[flightlink::kStatusRecordSize] = {};
  base::store_f32le(record, first);
  const auto count = static_cast<uint32_t>(camera_state.TimelapseCount.load(kRelaxed));
  const auto time = static_cast<uint32_t>(confirmed(kTimelapseTime));
  base::store_u32le(record + 4, count | (time * 25) << 16);
  base::store_u16le(record + 28, 202);
  record[31] = 16;
  flightlink::report_status_record(record);
}

}  // namespace camera
