#include "flightlink/links/app_link.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/socket.h"
#include "base/thread.h"
#include "flightlink/actions/dispatch.h"
#include "flightlink/frame/messages.h"
#include "flightlink/links/heartbeats.h"
#include "flightlink/links/mac_bind.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

using base::kRelaxed;
constexpr const char* kThread = "MavlinkRecvThread";
constexpr uint16_t kAppPort = 8866;
constexpr int kBacklog = 1;
constexpr int kPollMs = 2000;
constexpr uint32_t kNormalMs = 10000;
constexpr uint32_t kHeartbeatMs = 300;
constexpr int kSilenceMs = 10000;
constexpr int kSocketBuffer = 204800;
constexpr uint8_t kTos = 0x0F;
constexpr uint32_t kAccepted = 1;
constexpr uint32_t kConfirmed = 2;
constexpr uint8_t kPeerNibble = 5;

bool binding_enabled() { return mavlink_context.binding_disabled.load(kRelaxed) == 0; }

void set_option(int fd, int level, int name, int value) {
  setsockopt(fd, level, name, &value, sizeof(value));
}

// Neither a send nor a close may keep this side waiting, nor an application that has vanished:
// nothing of it ends the session, and the filter may be closed to all others, or even to its own
// packets. The heartbeats that it leaves unacknowledged let the kernel end the connection.
void make_prompt(int connection) {
  fcntl(connection, F_SETFL, O_NONBLOCK);
  int one = 1;
  ioctl(connection, FIONBIO, &one);
  set_option(connection, IPPROTO_TCP, TCP_NODELAY, 1);
  set_option(connection, IPPROTO_TCP, TCP_USER_TIMEOUT, kSilenceMs);
  const linger at_once{1, 0};
  setsockopt(connection, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
}

void note_address(const sockaddr_in& app) {
  const uint32_t address = ntohl(app.sin_addr.s_addr);
  const uint32_t last_octet = address & 0xFF;
  std::printf("accept ok !\nServer start get connet from %#x:%#x\n", address,
              static_cast<unsigned>(ntohs(app.sin_port)));
  std::printf("Server start get connet from %d\n", static_cast<int>(last_octet));
  mavlink_context.app_is_high_address.store(last_octet > 110 ? 1 : 0, kRelaxed);
}

void set_buffers_and_tos(int connection) {
  if (setsockopt(connection, SOL_SOCKET, SO_SNDBUF, &kSocketBuffer, sizeof(kSocketBuffer)) != 0) {
    std::printf("set sending buffer error !\n");
  }
  if (setsockopt(connection, SOL_SOCKET, SO_RCVBUF, &kSocketBuffer, sizeof(kSocketBuffer)) != 0) {
    std::printf("set receive buffer error !\n");
  }
  if (setsockopt(connection, IPPROTO_IP, IP_TOS, &kTos, sizeof(kTos)) != 0) {
    std::printf("set ip tos error !\n");
  }
  int tos = 0;
  socklen_t size = sizeof(tos);
  if (getsockopt(connection, IPPROTO_IP, IP_TOS, &tos, &size) != 0) {
    std::perror("-------TOS test,getsockopt error:");
    return;
  }
  std::printf("------TOS test,OPTVAL=%x\n", static_cast<unsigned>(tos));
}

// Waits for bytes and takes them. Returns their number; 0 when there are none yet; -1 when the
// session is over. The reader lock is held meanwhile: nobody closes the connection under this
// thread.
ssize_t receive(uint8_t* bytes, size_t size) {
  const base::Lock lock(mavlink_context.reader_lock);
  const int connection = mavlink_context.KRConnFd.load(std::memory_order_acquire);
  if (connection == 0) return -1;
  pollfd readable{connection, POLLIN, 0};
  const int ready = poll(&readable, 1, kPollMs);
  if (ready == 0) return 0;
  if (ready < 0) {
    const int error = errno;
    std::printf("%s(line=%d):select failed!,exit\n", kThread, 995);
    errno = error;
    std::perror("select failed");
    return error == EINTR ? 0 : -1;
  }
  const ssize_t received = recv(connection, bytes, size, 0);
  if (received >= 1) return received;
  std::printf("%s(line=%d):quadrotor disconnected,reset accecpt socket!\n", kThread, 1013);
  return -1;
}

}  // namespace

int app_link_start() { return base::start_thread(MavlinkRecvThread, nullptr); }

void app_timers_create() {
  mavlink_timer_create(&mavlink_context.normal_timer, MavlinkTimeoutNormal);
  mavlink_timer_create(&mavlink_context.disconnect_timer, MavlinkTimeoutDisconn);
  mavlink_timer_create(&mavlink_context.app_heartbeat_timer, app_heartbeat_tick);
  std::printf("init heart beat timer ok!\n");
}

void app_session_reset() {
  if (binding_enabled()) clear_mac_bind();
  app_session_end();
}

int app_server_open() {
  const int old = mavlink_context.listen_socket.exchange(0, kRelaxed);
  if (old != 0) close(old);
  base::Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd.open()) return -1;
  set_option(fd.get(), SOL_SOCKET, SO_REUSEADDR, 1);
  if (!base::bind_any(fd.get(), kAppPort)) return -1;
  if (listen(fd.get(), kBacklog) != 0) return -1;
  mavlink_context.listen_socket.store(fd.release(), kRelaxed);
  return 0;
}

int app_session_accept() {
  MavlinkContext& context = mavlink_context;
  sockaddr_in app{};
  socklen_t size = sizeof(app);
  const int connection = accept4(context.listen_socket.load(kRelaxed),
                                 reinterpret_cast<sockaddr*>(&app), &size, SOCK_CLOEXEC);
  if (connection < 0) {
    std::printf("accept fail !\n");
    return -1;
  }
  context.KRConnFd.store(connection, std::memory_order_release);
  if (binding_enabled()) {
    set_mac_bind(connection);
    bind_macaddr_from_table();
  }
  std::printf("%s(line=%d):MavlinkContext.KRConnFd = %d\n", kThread, 946, connection);
  make_prompt(connection);
  context.link_state.store(kAccepted, kRelaxed);
  note_address(app);
  set_buffers_and_tos(connection);
  mavlink_timer_set(&context.normal_timer, kNormalMs);
  mavlink_timer_set(&context.app_heartbeat_timer, kHeartbeatMs);
  context.send_enabled.store(1, kRelaxed);
  context.session_flag.store(1, kRelaxed);
  return 0;
}

int app_session_serve() {
  static uint8_t bytes[65536];  // application thread only
  const ssize_t received = receive(bytes, sizeof(bytes));
  if (received < 0) return -1;
  mavlink_frame_parse_all(MAVLINK_CHANNEL_APP, {bytes, static_cast<size_t>(received)},
                          app_link_route);
  return 0;
}

void app_link_route(const MavlinkMessage* message) {
  if ((message->sysid & 0x0F) == kPeerNibble) {
    peer_udp_send(message);
    return;
  }
  if (message->msgid == kHeartbeat.id) {
    uint32_t state = kAccepted;  // a session that has just been cut stays cut
    mavlink_context.link_state.compare_exchange_strong(state, kConfirmed, kRelaxed);
  }
  common_dispatch(message);
}

// Default scheduling. Owns the listening socket and publishes KRConnFd, which whoever exchanges it
// with 0 closes once this thread has left it; shares parser channel 0 with the peer thread. Never
// ends.
void* MavlinkRecvThread(void*) {
  base::detach_self();
  MavlinkContext& context = mavlink_context;
  context.link_state.store(0, kRelaxed);
  context.throttle_flag.store(0, kRelaxed);
  context.byte_2.store(2, kRelaxed);
  context.byte_100.store(100, kRelaxed);
  app_timers_create();
  for (;;) {
    app_session_reset();
    if (app_server_open() != 0 || app_session_accept() != 0) {
      base::sleep_s(1);
      continue;
    }
    while (context.link_state.load(kRelaxed) != 0 && app_session_serve() == 0) {
    }
  }
  return nullptr;
}

}  // namespace flightlink
