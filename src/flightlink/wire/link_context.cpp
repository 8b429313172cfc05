#include "flightlink/wire/link_context.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/renew.h"
#include "flightlink/wire/link_status.h"
#include "supervisor/state/lamps.h"

namespace flightlink {

MavlinkContext mavlink_context{};

namespace {

using base::kRelaxed;

void report_send_error(const char* function, int line) {
  std::fprintf(stderr, "%s(line=%d):send error,%s!\n", function, line, std::strerror(errno));
}

// Returns the descriptor for the caller to close, shut down so that its reader wakes; 0 when
// somebody else has it.
int take_connection() {
  MavlinkContext& context = mavlink_context;
  context.link_state.store(0, kRelaxed);
  context.send_enabled.store(0, kRelaxed);
  context.session_flag.store(0, kRelaxed);
  app_timers_stop();
  clear_link_status();
  const int connection = context.KRConnFd.exchange(0, std::memory_order_acq_rel);
  if (connection != 0) shutdown(connection, SHUT_RDWR);
  return connection;
}

// The number must not come to mean another connection while the reader still waits on it.
void close_behind_reader(int connection) {
  if (connection == 0) return;
  mavlink_context.reader_lock.lock();
  mavlink_context.reader_lock.unlock();
  close(connection);
}

// The common part of the two senders to the application.
void send_to_app(const uint8_t* bytes, size_t length, const char* function, int line) {
  MavlinkContext& context = mavlink_context;
  if (context.link_state.load(kRelaxed) == 0 || context.send_enabled.load(kRelaxed) == 0) return;
  if (!context.send_lock.wait()) return;
  const int connection = context.KRConnFd.load(std::memory_order_acquire);
  if (context.send_enabled.load(kRelaxed) == 1 && connection != 0) {
    const ssize_t sent = send(connection, bytes, length, 0);
    if (sent < 1) {
      const int error = errno;
      close_behind_reader(take_connection());
      errno = error;
      report_send_error(function, line);
    }
  }
  context.send_lock.post();
}

}  // namespace

void link_context_init() { base::renew(mavlink_context); }

uint32_t get_throttle_flag() { return mavlink_context.throttle_flag.load(kRelaxed); }

void mavlink_send(const MavlinkMessage* message) {
  uint8_t wire[kMavlinkMaxFrame];
  const size_t length = mavlink_frame_to_buffer(wire, message);
  send_to_app(wire, length, "mavlink_send", 859);
}

void mavlink_send_buff(const uint8_t* bytes, size_t length) {
  send_to_app(bytes, length, "mavlink_send_buff", 883);
}

void app_timers_stop() {
  MavlinkContext& context = mavlink_context;
  mavlink_timer_set(&context.normal_timer, 0);
  mavlink_timer_set(&context.app_heartbeat_timer, 0);
  mavlink_timer_set(&context.disconnect_timer, 0);
  std::printf("stop heart beat timer ok!\n");
}

void app_session_end() {
  const int connection = take_connection();
  // Also when somebody else closes it: a sender that fails on the old session must not meet the
  // next.
  mavlink_context.send_lock.wait_through_signals();
  mavlink_context.send_lock.post();
  close_behind_reader(connection);
}

int peer_udp_send(const MavlinkMessage* message) {
  uint8_t wire[kMavlinkMaxFrame];
  const size_t length = mavlink_frame_to_buffer(wire, message);
  MavlinkContext& context = mavlink_context;
  ssize_t sent = 0;
  {
    const base::Lock lock(context.peer_lock);
    const int socket = context.peer_socket.load(kRelaxed);
    if (socket == 0) return -2;
    sent = sendto(socket, wire, length, 0, reinterpret_cast<const sockaddr*>(&context.peer_address),
                  sizeof(context.peer_address));
  }
  if (sent < 1) {
    mavlink_timer_set(&context.peer_heartbeat_timer, 0);
    context.peer_heartbeat_stopped.store(1, kRelaxed);
    link_indicator_set(0);
  }
  return static_cast<int>(sent);
}

void link_indicator_set(int32_t value) { supervisor::lamp_set(supervisor::kLampLink, value); }

}  // namespace flightlink
