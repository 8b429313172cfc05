// CameraActivityFlags: what the camera is doing, shared by the camera service client (which learns
// it) and the message dispatch (which asks before it acts).
//
// One byte per flag, one setter (keeps the low byte of its argument) and one getter (widened to 32
// bits) per flag. Any thread may call; the words are relaxed atomics and no order between them is
// relied upon. Nothing fails. Of the flags that wait for an answer it is known since when.
#pragma once

#include <atomic>
#include <cstdint>

namespace supervisor {

struct CameraActivityFlags {
  std::atomic<uint8_t> recording;
  std::atomic<uint8_t> record_cmd_pending;   // 513 or 514 sent, not answered
  std::atomic<uint8_t> mode_switch_pending;  // 772 asked for, not answered
  std::atomic<uint8_t> setting_pending;      // a resolution change or a format runs
  std::atomic<uint8_t> photo_pending;        // 769 asked for, not answered
  std::atomic<uint8_t> record_ack_via_uart;  // the flight controller asked for the recording
  std::atomic<uint8_t> photo_mode;        // of the next photo's name; 0: the photo keeps its name
  std::atomic<uint8_t> photo_sequence;    // number in the next photo's name
  std::atomic<uint8_t> sd_query_pending;  // the application waits for a space report
  std::atomic<uint8_t> clock_set_ok;  // the camera service has confirmed a clock on this connection
  std::atomic<uint8_t> preview_stopped;
};

// The one instance; zero at start.
extern CameraActivityFlags camera_activity_flags;

void set_recording(int32_t value);
int32_t get_recording();
void set_record_cmd_pending(int32_t value);
int32_t get_record_cmd_pending();
uint64_t get_record_cmd_pending_since_us();  // by base::monotonic_us; 0 while the flag is 0
void set_mode_switch_pending(int32_t value);
int32_t get_mode_switch_pending();
uint64_t get_mode_switch_pending_since_us();
void set_setting_pending(int32_t value);
int32_t get_setting_pending();
uint64_t get_setting_pending_since_us();
void set_photo_pending(int32_t value);
int32_t get_photo_pending();
uint64_t get_photo_pending_since_us();
void set_record_ack_via_uart(int32_t value);
int32_t get_record_ack_via_uart();
void set_photo_mode(int32_t value);
int32_t get_photo_mode();
void set_photo_sequence(int32_t value);
int32_t get_photo_sequence();
void set_sd_query_pending(int32_t value);
int32_t get_sd_query_pending();
uint64_t get_sd_query_pending_since_us();
void set_clock_set_ok(int32_t value);
int32_t get_clock_set_ok();
void set_preview_stopped(int32_t value);
int32_t get_preview_stopped();

// All flags as at program start; before any thread runs, and in tests.
void camera_flags_reset();

}  // namespace supervisor
