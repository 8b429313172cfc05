// What the camera side reports to the UDP peer: acknowledgements, the camera's state and what it
// has done. Other messages are made where they are sent: HEARTBEATs, parameters, the link
// configuration, firmware, forwarded frames. All multi-byte fields are little-endian; the low
// nibble of the system id names the destination: 35 flight controller, 36 application. Any thread
// may call. Results are those of peer_udp_send; callers ignore them, since a lost report is
// followed by the next status record.
#pragma once

#include <cstddef>
#include <cstdint>

namespace flightlink {

inline constexpr uint8_t kResultOk = 0;
inline constexpr uint8_t kResultFailed = 4;

// Camera acknowledgement: message 52, 7 bytes, CRC extra 221, to the application.
//   0: 0   1: subject   2: 76   3: 180   4: result   5: value   6: 0
int report_camera_ack(uint8_t subject, uint8_t result, uint8_t value);
// Its short form, the answer to a clock setting: 2: 111   3: result   all others 0
int report_clock(uint8_t result);

// SD report: message 57, 11 bytes, CRC extra 229, to the application.
//   0: f32 total MB   4: f32 free MB   8: 0   9: 0   10: code
int report_sd(float total_mb, float free_mb, uint8_t code);

// Status record and time-lapse record: message 76, CRC extra 152, to the application. The record
// has 36 bytes; the first 33 are sent, the rest is padding.
inline constexpr size_t kStatusRecordSize = 36;
int report_status_record(const uint8_t (&record)[kStatusRecordSize]);

// Record tick: message 76, 33 bytes, to the application.
//   0: f32 seconds   28: u16 202   31: u8 3   all others 0
int report_record_tick(uint32_t seconds);

// Remux progress: message 76, 33 bytes, to the application.
//   0: f32 10   28: u16 2   all others 0
int report_remux();

// Command acknowledgement: message 77, 3 bytes, CRC extra 143.   0: u16 command   2: result
inline constexpr uint16_t kAckPhoto = 2001;
inline constexpr uint16_t kAckRecordStart = 2500;
inline constexpr uint16_t kAckRecordStop = 2501;
int report_command_ack(uint16_t command, uint8_t result);
// The same to the flight controller.
int report_command_ack_flight(uint16_t command, uint8_t result);

// Camera report: message 76, 33 bytes, to the flight controller.
//   0: f32 code   28: u16 2   30: u8 100   all others 0
inline constexpr int kCameraReportPhoto = 1;
inline constexpr int kCameraReportRecordStarted = 3;
inline constexpr int kCameraReportRecordStopped = 4;
int report_camera(int code);

// Command 520 to the flight controller, for integrators; nothing in this system sends it.
//   0: f32 1   28: u16 520   30: u8 100   all others 0
int report_command_520();

// Time-lapse report: the same message as the camera report, with code 11.
//   4: f32 state (0 running, 1 paused, 2 ended)   8: f32 count   12 to 24: four f32 parameters
struct TimelapseParameters {
  int32_t count;
  float values[4];
};
int report_timelapse(int state, const TimelapseParameters& parameters);

}  // namespace flightlink
