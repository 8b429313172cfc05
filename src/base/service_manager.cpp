#include "base/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "base/descriptor.h"

namespace base {

uint64_t watchdog_limit_us() {
  const char* limit = std::getenv("WATCHDOG_USEC");
  const char* pid = std::getenv("WATCHDOG_PID");
  if (limit == nullptr || (pid != nullptr && std::strtol(pid, nullptr, 10) != getpid())) return 0;
  return std::strtoull(limit, nullptr, 10);
}

void tell_service_manager(const char* text) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un manager{};
  if (path == nullptr || std::strlen(path) >= sizeof(manager.sun_path)) return;
  manager.sun_family = AF_UNIX;
  std::memcpy(manager.sun_path, path, std::strlen(path));
  if (path[0] == '@') manager.sun_path[0] = '\0';  // a name that is in no file system
  const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket.open()) return;
  (void)sendto(socket.get(), text, std::strlen(text), MSG_DONTWAIT | MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr*>(&manager),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path)));
}

}  // namespace base
