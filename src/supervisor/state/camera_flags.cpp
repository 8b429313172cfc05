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

// The three operations of a flag that waits for an answer.
#define AWAITED_FLAG(flag)                                                       \
  void set_##flag(int32_t value) { set_awaited(flags.flag, since.flag, value); } \
  int32_t get_##flag() { return get_flag(flags.flag); }                          \
  uint64_t get_##flag##_since_us() { return base::waiting_since(flags.flag, since.flag); }

void set_recording(int32_t value) { set_flag(flags.recording, value); }
int32_t get_recording() { return get_flag(flags.recording); }
AWAITED_FLAG(record_cmd_pending)
AWAITED_FLAG(mode_switch_pending)
AWAITED_FLAG(setting_pending)
AWAITED_FLAG(photo_pending)
void set_record_ack_via_uart(int32_t value) { set_flag(flags.record_ack_via_uart, value); }
int32_t get_record_ack_via_uart() { return get_flag(flags.record_ack_via_uart); }
void set_photo_mode(int32_t value) { set_flag(flags.photo_mode, value); }
int32_t get_photo_mode() { return get_flag(flags.photo_mode); }
void set_photo_sequence(int32_t value) { set_flag(flags.photo_sequence, value); }
int32_t get_photo_sequence() { return get_flag(flags.photo_sequence); }
AWAITED_FLAG(sd_query_pending)
void set_clock_set_ok(int32_t value) { set_flag(flags.clock_set_ok, value); }
int32_t get_clock_set_ok() { return get_flag(flags.clock_set_ok); }
void set_preview_stopped(int32_t value) { set_flag(flags.preview_stopped, value); }
int32_t get_preview_stopped() { return get_flag(flags.preview_stopped); }

#undef AWAITED_FLAG

void camera_flags_reset() {
  base::renew(camera_activity_flags);
  base::renew(since);
}

}  // namespace supervisor
