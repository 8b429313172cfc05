// Sockets, threads (timers, which are threads here, with them) and shell commands.
#include <pthread.h>
#include <spawn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

#include "faults/strike.h"

namespace {

using faults::Next;
using faults::strikes;

bool socket_fails(const char* function, int fitting) {
  return strikes(faults::kSocket, function, nullptr, fitting);
}
bool sendto_fails() { return strikes(faults::kSendto, "sendto", nullptr, ENETUNREACH); }
bool send_fails() { return strikes(faults::kSend, "send", nullptr, EPIPE); }
bool recv_fails(const char* function) { return strikes(faults::kRecv, function, nullptr, ENOMEM); }

using Start = void*(void*);

constinit Next<int(int, int, int)> next_socket("socket");
constinit Next<int(int, const sockaddr*, socklen_t)> next_bind("bind");
constinit Next<int(int, const sockaddr*, socklen_t)> next_connect("connect");
constinit Next<int(int, int)> next_listen("listen");
constinit Next<int(int, sockaddr*, socklen_t*, int)> next_accept4("accept4");
constinit Next<int(int, int, int, const void*, socklen_t)> next_setsockopt("setsockopt");
constinit Next<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)> next_sendto(
    "sendto");
constinit Next<ssize_t(int, const void*, size_t, int)> next_send("send");
constinit Next<ssize_t(int, void*, size_t, int)> next_recv("recv");
constinit Next<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)> next_recvfrom("recvfrom");
constinit Next<int(pthread_t*, const pthread_attr_t*, Start*, void*)> next_pthread_create(
    "pthread_create", "GLIBC_2.34");
constinit Next<int(clockid_t, sigevent*, timer_t*)> next_timer_create("timer_create", "GLIBC_2.34");
constinit Next<int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                   char* const*, char* const*)>
    next_posix_spawn("posix_spawn", "GLIBC_2.15");
constinit Next<std::FILE*(const char*, const char*)> next_popen("popen");

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  return socket_fails("socket", EMFILE) ? -1 : next_socket(domain, type, protocol);
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
  return socket_fails("bind", EADDRINUSE) ? -1 : next_bind(fd, address, size);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  return socket_fails("connect", ENETUNREACH) ? -1 : next_connect(fd, address, size);
}

int listen(int fd, int backlog) noexcept {
  return socket_fails("listen", EADDRINUSE) ? -1 : next_listen(fd, backlog);
}

int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
  return socket_fails("accept4", EMFILE) ? -1 : next_accept4(fd, address, size, flags);
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t size) noexcept {
  return socket_fails("setsockopt", ENOBUFS) ? -1 : next_setsockopt(fd, level, name, value, size);
}

ssize_t sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* address,
               socklen_t address_size) {
  return sendto_fails() ? -1 : next_sendto(fd, bytes, size, flags, address, address_size);
}

ssize_t send(int fd, const void* bytes, size_t size, int flags) {
  return send_fails() ? -1 : next_send(fd, bytes, size, flags);
}

ssize_t recv(int fd, void* bytes, size_t size, int flags) {
  return recv_fails("recv") ? -1 : next_recv(fd, bytes, size, flags);
}

ssize_t recvfrom(int fd, void* bytes, size_t size, int flags, sockaddr* address,
                 socklen_t* address_size) {
  if (recv_fails("recvfrom")) return -1;
  return next_recvfrom(fd, bytes, size, flags, address, address_size);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, Start* body,
                   void* argument) noexcept {
  if (strikes(faults::kThread, "pthread_create", nullptr, EAGAIN)) return errno;
  return next_pthread_create(thread, attributes, body, argument);
}

int timer_create(clockid_t clock, sigevent* event, timer_t* timer) noexcept {
  if (strikes(faults::kThread, "timer_create", nullptr, EAGAIN)) return -1;
  return next_timer_create(clock, event, timer);
}

int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* arguments,
                char* const* environment) {
  if (strikes(faults::kShell, "posix_spawn", arguments[2], ENOMEM)) return errno;
  return next_posix_spawn(child, path, actions, attributes, arguments, environment);
}

std::FILE* popen(const char* command, const char* mode) {
  if (strikes(faults::kShell, "popen", command, ENOMEM)) return nullptr;
  return next_popen(command, mode);
}

}  // extern "C"
