#include "supervisor/state/camera_flags.h"

#include "base/renew.h"
#include "base/waiting.h"

namespace supervisor {

CameraActivityFlags camera_activity_flags{};

namespace {

void set_flag(std::atomic<uint8_t>& flag, int32_t value) {
  flag.store(static_cast<uint8_t>(value), std::memory_order_relaxed);
}

int32_t get_flag(const std::atomic<uint8_t>& flag) { return flag.load(std::memory_order_relaxed); }

void set_awaited(std::atomic<uint8_t>& flag, std::atomic<uint64_t>& since_us, int32_t value) {
  base::set_waiting(flag, since_us, static_cast<uint8_t>(value));
}

CameraActivityFlags& flags = camera_activity_flags;

// Since when the flags of these names wait.
struct AwaitedSince {
  std::atomic<uint64_t> record_cmd_pending;
  std::atomic<uint64_t> mode_switch_pending;
  std::atomic<uint64_t> setting_pending;
  std::atomic<uint64_t> photo_pending;
  std::atomic<uint64_t> sd_query_pending;
};

AwaitedSince since{};

}  // namespace

void set_recording(int32_t value) { set_flag(flags.recording, value); }
int32_t get_recording() { return get_flag(flags.recording); }
void set_record_cmd_pending(int32_t value) {
  set_awaited(flags.record_cmd_pending, since.record_cmd_pending, value);
}
int32_t get_record_cmd_pending() { return get_flag(flags.record_cmd_pending); }
uint64_t get_record_cmd_pending_since_us() {
  return base::waiting_since(flags.record_cmd_pending, since.record_cmd_pending);
}
void set_mode_switch_pending(int32_t value) {
  set_awaited(flags.mode_switch_pending, since.mode_switch_pending, value);
}
int32_t get_mode_switch_pending() { return get_flag(flags.mode_switch_pending); }
uint64_t get_mode_switch_pending_since_us() {
  return base::waiting_since(flags.mode_switch_pending, since.mode_switch_pending);
}
void set_setting_pending(int32_t value) {
  set_awaited(flags.setting_pending, since.setting_pending, value);
}
int32_t get_setting_pending() { return get_flag(flags.setting_pending); }
uint64_t get_setting_pending_since_us() {
  return base::waiting_since(flags.setting_pending, since.setting_pending);
}
void set_photo_pending(int32_t value) {
  set_awaited(flags.photo_pending, since.photo_pending, value);
}
int32_t get_photo_pending() { return get_flag(flags.photo_pending); }
uint64_t get_photo_pending_since_us() {
  return base::waiting_since(flags.photo_pending, since.photo_pending);
}
void set_record_ack_via_uart(int32_t value) { set_flag(flags.record_ack_via_uart, value); }
int32_t get_record_ack_via_uart() { return get_flag(flags.record_ack_via_uart); }
void set_photo_mode(int32_t value) { set_flag(flags.photo_mode, value); }
int32_t get_photo_mode() { return get_flag(flags.photo_mode); }
void set_photo_sequence(int32_t value) { set_flag(flags.photo_sequence, value); }
int32_t get_photo_sequence() { return get_flag(flags.photo_sequence); }
void set_sd_query_pending(int32_t value) {
  set_awaited(flags.sd_query_pending, since.sd_query_pending, value);
}
int32_t get_sd_query_pending() { return get_flag(flags.sd_query_pending); }
uint64_t get_sd_query_pending_since_us() {
  return base::waiting_since(flags.sd_query_pending, since.sd_query_pending);
}
void set_clock_set_ok(int32_t value) { set_flag(flags.clock_set_ok, value); }
int32_t get_clock_set_ok() { return get_flag(flags.clock_set_ok); }
void set_preview_stopped(int32_t value) { set_flag(flags.preview_stopped, value); }
int32_t get_preview_stopped() { return get_flag(flags.preview_stopped); }

void camera_flags_reset() {
  base::renew(camera_activity_flags);
  base::renew(since);
}

}  // namespace supervisor
