// The ports that the programs offer. Safe from any thread.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

namespace base {

// Binds an IPv4 socket to that port on every address of the board. Returns whether it is bound;
// otherwise errno says why. Options that matter to it are set before.
[[nodiscard]] inline bool bind_any(int fd, uint16_t port) {
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_port = htons(port);
  local.sin_addr.s_addr = htonl(INADDR_ANY);
  return bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == 0;
}

}  // namespace base
