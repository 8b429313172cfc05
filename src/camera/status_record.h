// The status record of the camera, sent to the application every 300 ms.
#pragma once

#include <csignal>
#include <cstdint>

#include "flightlink/wire/reports.h"

namespace camera {

// The 36-byte record, little-endian, read under StateLock. A value wider than its field spills into
// the next one unless a mask is given.
//   0: u32  bits 0 resolution, 4 colour style, 8 white balance, 12 manual AE mode, 16 camera mode,
//           20 SD report code, 24 time-lapse state
//   4: u32  bits 0 ISO, 16 exposure
//   8: f32  card size, MB   12: f32  free space, MB
//  16: u32  bits 0 saturation, 8 contrast, 16 sharpness, 24 shutter, 29 piv format (1 bit),
//           30 low light (1 bit)
//  20: u32  bits 0 Max_Agc (6 bits), 7 raw mode (1 bit), 8 stamp off (1 bit)
//  24: f32 1.0   28: u16 2   30: 6 x 0
void cam_status_record(uint8_t (&record)[flightlink::kStatusRecordSize]);

// Callback of StatusTimer: sends the record.
void cam_status_report(union sigval);
// Callback of RecordTickTimer: one more second of recording, told to the application.
void cam_record_tick(union sigval);

// The time-lapse record, same size, with its first field given.
//   0: f32 first   4: u32 count | (confirmed time-lapse time x 25) << 16   28: u16 202   31: u8 16
void cam_send_timelapse_record(float first);

}  // namespace camera
