#include "flightlink/links/stick_link.h"

#include <arpa/inet.h>
#include <poll.h>
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
#include "flightlink/links/serial_link.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

using base::kRelaxed;
constexpr const char* kThread = "MavlinkRecvStickThread";
constexpr uint16_t kStickPort = 8867;
constexpr int kPollMs = 2000;
constexpr uint32_t kConfirmed = 2;

int fail(const char* text) {
  std::printf("%s\n", text);
  return -1;
}

}  // namespace

int stick_link_start() { return base::start_thread(MavlinkRecvStickThread, nullptr); }

int stick_socket_open() {
  base::Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd.open()) return fail("socket fail!");
  std::printf("%s(%d):stick socket socket create ok ! !\n", kThread, 1043);
  const int one = 1;
  if (setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one)) != 0) {
    return fail("setsockopt fail!");
  }
  if (!base::bind_any(fd.get(), kStickPort)) {
    return fail("bind fail!");
  }
  std::printf("%s(%d):stick socket bind ok !\n", kThread, 1063);
  mavlink_context.stick_socket.store(fd.release(), kRelaxed);
  return 0;
}

int stick_socket_serve() {
  static uint8_t datagram[65536];  // stick thread only
  const int socket = mavlink_context.stick_socket.load(kRelaxed);
  pollfd readable{socket, POLLIN, 0};
  const int ready = poll(&readable, 1, kPollMs);
  if (ready < 0) {
    const int error = errno;
    std::printf("%s(line=%d):select failed!,exit\n", kThread, 1072);
    errno = error;
    std::perror("select failed!");
    return error == EINTR ? 0 : -1;
  }
  if (ready == 0) return 0;
  const ssize_t received = recv(socket, datagram, sizeof(datagram), 0);
  if (received < 1 || mavlink_context.link_state.load(kRelaxed) != kConfirmed) return 0;
  const base::Lock lock(serial_link.write_mutex);
  serial_write(datagram, static_cast<size_t>(received));
  return 0;
}

void stick_socket_close() {
  const int socket = mavlink_context.stick_socket.exchange(0, kRelaxed);
  if (socket != 0) close(socket);
}

// Default scheduling. Owns the stick socket; writes to the serial line under its write mutex. Never
// ends.
void* MavlinkRecvStickThread(void*) {
  base::detach_self();
  for (;;) {
    if (stick_socket_open() != 0) {
      base::sleep_s(1);
      continue;
    }
    while (stick_socket_serve() == 0) {
    }
    stick_socket_close();
  }
  return nullptr;
}

}  // namespace flightlink
