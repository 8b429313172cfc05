#include "flightlink/links/peer_link.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/socket.h"
#include "base/thread.h"
#include "flightlink/actions/dispatch.h"
#include "flightlink/links/heartbeats.h"
#include "flightlink/wire/link_context.h"
#include "supervisor/state/turns.h"

namespace flightlink {
namespace {

constexpr const char* kPeerAddress = "192.168.31.111";
constexpr uint16_t kPeerPort = 8888;
constexpr int kSocketBuffer = 2097152;
constexpr uint32_t kHeartbeatMs = 1000;
constexpr int kSilenceMs = 4000;
using base::kRelaxed;

}  // namespace

int peer_link_start() {
  std::signal(SIGPIPE, SIG_IGN);
  link_context_init();
  return base::start_worker(PeerUdpThread, nullptr, 2);
}

int peer_socket_open(const char* address) {
  MavlinkContext& context = mavlink_context;
  base::Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd.open()) return -1;
  const int one = 1;
  setsockopt(fd.get(), SOL_SOCKET, SO_SNDBUF, &kSocketBuffer, sizeof(kSocketBuffer));
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVBUF, &kSocketBuffer, sizeof(kSocketBuffer));
  setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
  if (!base::bind_any(fd.get(), kPeerPort)) return -1;

  const base::Lock lock(context.peer_lock);
  context.peer_address = {};
  context.peer_address.sin_family = AF_INET;
  context.peer_address.sin_port = htons(kPeerPort);
  context.peer_address.sin_addr.s_addr = inet_addr(address != nullptr ? address : kPeerAddress);
  context.peer_socket.store(fd.release(), kRelaxed);
  return 0;
}

void peer_socket_close() {
  MavlinkContext& context = mavlink_context;
  if (context.peer_socket.load(kRelaxed) == 0) return;
  mavlink_timer_set(&context.peer_heartbeat_timer, 0);
  link_indicator_set(0);
  base::sleep_s(1);
  const base::Lock lock(context.peer_lock);
  close(context.peer_socket.exchange(0, kRelaxed));
}

int peer_socket_serve() {
  static uint8_t datagram[65536];  // peer thread only
  const int socket = mavlink_context.peer_socket.load(kRelaxed);
  pollfd readable{socket, POLLIN, 0};
  if (poll(&readable, 1, kSilenceMs) < 1) return -1;
  const ssize_t received = recv(socket, datagram, sizeof(datagram), 0);
  if (received < 1) return -1;
  link_indicator_set(1);
  if (mavlink_context.peer_heartbeat_stopped.exchange(0, kRelaxed) != 0) {
    mavlink_timer_set(&mavlink_context.peer_heartbeat_timer, kHeartbeatMs);
  }
  mavlink_frame_parse_all(MAVLINK_CHANNEL_APP, {datagram, static_cast<size_t>(received)},
                          peer_dispatch);
  return 0;
}

// SCHED_RR 2. Owns the peer socket (publishes it in MavlinkContext, closes it under the peer lock)
// and shares parser channel 0 with the application link. Never ends.
void* PeerUdpThread(void*) {
  base::name_self("PeerUdpThread");
  supervisor::turn_as(supervisor::kPeerThread);
  mavlink_timer_create(&mavlink_context.peer_heartbeat_timer, peer_heartbeat_tick);
  for (;;) {
    supervisor::turned();
    peer_socket_close();
    if (peer_socket_open(nullptr) != 0) {
      base::sleep_s(1);
      continue;
    }
    mavlink_timer_set(&mavlink_context.peer_heartbeat_timer, kHeartbeatMs);
    while (peer_socket_serve() == 0) supervisor::turned();
  }
  return nullptr;
}

}  // namespace flightlink
