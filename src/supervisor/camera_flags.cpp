#include "supervisor/camera_flags.h"

namespace supervisor {

CameraActivityFlags camera_activity_flags{};

namespace {

void set_flag(std::atomic<uint8_t>& flag, int32_t value) {
  flag.store(static_cast<uint8_t>(value), std::memory_order_relaxed);
}

int32_t get_flag(const std::atomic<uint8_t>& flag) { return flag.load(std::memory_order_relaxed); }

CameraActivityFlags& flags = camera_activity_flags;

}  // namespace

void set_recording(int32_t value) { set_flag(flags.recording, value); }
int32_t get_recording() { return get_flag(flags.recording); }
void set_record_cmd_pending(int32_t value) { set_flag(flags.record_cmd_pending, value); }
int32_t get_record_cmd_pending() { return get_flag(flags.record_cmd_pending); }
void set_mode_switch_pending(int32_t value) { set_flag(flags.mode_switch_pending, value); }
int32_t get_mode_switch_pending() { return get_flag(flags.mode_switch_pending); }
void set_setting_pending(int32_t value) { set_flag(flags.setting_pending, value); }
int32_t get_setting_pending() { return get_flag(flags.setting_pending); }
void set_photo_pending(int32_t value) { set_flag(flags.photo_pending, value); }
int32_t get_photo_pending() { return get_flag(flags.photo_pending); }
void set_record_ack_via_uart(int32_t value) { set_flag(flags.record_ack_via_uart, value); }
int32_t get_record_ack_via_uart() { return get_flag(flags.record_ack_via_uart); }
void set_photo_mode(int32_t value) { set_flag(flags.photo_mode, value); }
int32_t get_photo_mode() { return get_flag(flags.photo_mode); }
void set_photo_sequence(int32_t value) { set_flag(flags.photo_sequence, value); }
int32_t get_photo_sequence() { return get_flag(flags.photo_sequence); }
void set_sd_query_pending(int32_t value) { set_flag(flags.sd_query_pending, value); }
int32_t get_sd_query_pending() { return get_flag(flags.sd_query_pending); }
void set_clock_set_ok(int32_t value) { set_flag(flags.clock_set_ok, value); }
int32_t get_clock_set_ok() { return get_flag(flags.clock_set_ok); }
void set_preview_stopped(int32_t value) { set_flag(flags.preview_stopped, value); }
int32_t get_preview_stopped() { return get_flag(flags.preview_stopped); }

}  // namespace supervisor
