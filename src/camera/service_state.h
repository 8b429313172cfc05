// What the camera service has told besides the settings: the SD card, the recording's length, the
// time-lapse. Relaxed atomics, written by the camera client's receive thread; what a command begins
// (a time-lapse with its parameters, its end, an action behind a mode switch) also by the thread
// that calls it.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/renew.h"
#include "flightlink/wire/reports.h"

namespace camera {

enum SdStatusCode : int32_t {
  kSdSpeedChecking = 1,
  kSdSpeedLow = 2,
  kSdSpeedOk = 3,
  kSdNoSpace = 4,
  kSdError = 5,
  kSdFormatUnknown = 6,
  kSdCardInserted = 7,
  kSdCardRemoved = 8,
  kSdFormatExfat = 9,
  kSdFormatFat32 = 10,
  kSdUnknown = 11,
};

enum TimelapseStateCode : int32_t {
  kTimelapseIdle = 0,
  kTimelapseRunning = 1,
  kTimelapsePaused = 2,
  kTimelapseStopping = 3,
  kTimelapseFinished = 4,
};

struct CameraState {
  std::atomic<int32_t> SdStatus{kSdUnknown};
  std::atomic<int32_t> SdTotalKB{0};
  std::atomic<int32_t> SdFreeKB{0};
  std::atomic<int32_t> TimelapseState{kTimelapseIdle};
  std::atomic<int32_t> TimelapseStopSent{0};
  std::atomic<int32_t> TimelapseShots{0};
  std::atomic<int32_t> TimelapseCount{0};
  std::atomic<int32_t> pause_report_suppressed{0};
  std::atomic<uint32_t> record_seconds{0};  // also advanced by the record tick timer
  // A mode switch has to come first; then its answer does the rest.
  std::atomic<int32_t> pending_photo_after_switch{0};
  std::atomic<int32_t> pending_record_after_switch{0};
  // Of the time-lapse report.
  std::atomic<int32_t> timelapse_count_parameter{0};
  std::atomic<float> timelapse_parameters[4]{};

  // As at program start; before any thread runs, and in tests.
  void reset() { base::renew(*this); }
};

extern CameraState camera_state;

[[nodiscard]] flightlink::TimelapseParameters saved_timelapse_parameters();

// The code of a card status text, by substring; 11 for null or no match.
[[nodiscard]] int32_t cam_sd_status_code(const char* text);
// The SD report code byte of a card status.
[[nodiscard]] uint8_t cam_sd_report_code(int32_t status);

}  // namespace camera
