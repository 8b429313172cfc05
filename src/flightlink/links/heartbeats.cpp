#include "flightlink/links/heartbeats.h"

#include <cstdio>

#include "base/bytes.h"
#include "flightlink/frame/messages.h"
#include "flightlink/wire/link_context.h"
#include "flightlink/wire/link_status.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/mac_address.h"
#include "supervisor/state/switches.h"

namespace flightlink {
namespace {

constexpr uint8_t kMavlinkVersion = 3;

}  // namespace

void peer_heartbeat_tick(union sigval) {
  MavlinkMessage message{};
  const int stream = get_stream_on() != 0 ? 1 : 0;
  const int test = supervisor::get_test_mode() != 0 ? 1 : 0;
  const int recording = supervisor::get_recording() != 0 ? 1 : 0;
  message.payload[7] = static_cast<uint8_t>(stream | (test << 1) | (recording << 2));
  message.payload[8] = kMavlinkVersion;
  finalize_peer(&message, kHeartbeat);
  peer_udp_send(&message);
}

void app_heartbeat_tick(union sigval) {
  MavlinkMessage message{};
  uint32_t custom_mode = 0;
  for (size_t i = 0; i < 4; i++) {
    custom_mode = (custom_mode << 8) | supervisor::camera_mac[i].load(std::memory_order_relaxed);
  }
  base::store_u32le(message.payload, custom_mode);
  message.payload[4] = supervisor::camera_mac[4].load(std::memory_order_relaxed);
  message.payload[5] = supervisor::camera_mac[5].load(std::memory_order_relaxed);
  const bool binding = mavlink_context.binding_disabled.load(std::memory_order_relaxed) == 0;
  message.payload[6] = binding ? 2 : 0;
  message.payload[7] = static_cast<uint8_t>(supervisor::get_recording() & 7);
  message.payload[8] = kMavlinkVersion;
  finalize_app(&message, kHeartbeat);
  mavlink_send(&message);
}

void MavlinkTimeoutNormal(union sigval) {
  std::printf("%s(line=%d):normal timer out!\n", "MavlinkTimeoutNormal", 428);
  MavlinkContext& context = mavlink_context;
  uint32_t accepted = 1;  // one step: a session that is being confirmed is either cut or confirmed
  if (!context.link_state.compare_exchange_strong(accepted, 0, std::memory_order_relaxed)) return;
  mavlink_timer_set(&context.normal_timer, 0);
  context.send_enabled.store(0, std::memory_order_relaxed);
  context.session_flag.store(0, std::memory_order_relaxed);
}

void MavlinkTimeoutDisconn(union sigval) {
  app_session_end();
  std::printf("%s(line=%d):timeout disconnected!\n", "MavlinkTimeoutDisconn", 451);
}

}  // namespace flightlink
