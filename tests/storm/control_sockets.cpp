#include "storm/control_sockets.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <array>
#include <cstring>

#include "base/descriptor.h"
#include "support/fixtures.h"

namespace storm {
namespace {

sockaddr_un address_of(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  return address;
}

base::Descriptor open_patient(int type) {
  base::Descriptor fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  const timeval limit{.tv_sec = 2, .tv_usec = 0};
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  return fd;
}

bool is_complete(const std::string& answer) {
  const size_t last = answer.rfind('\n', answer.size() < 2 ? 0 : answer.size() - 2);
  const std::string line = answer.substr(last == std::string::npos ? 0 : last + 1);
  return line == "ok\n" || (line.starts_with("error: ") && line.ends_with('\n'));
}

}  // namespace

std::string ask_service(const std::string& line) {
  const base::Descriptor fd = open_patient(SOCK_STREAM);
  const sockaddr_un address = address_of("/tmp/camera_service.ctl");
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return "";
  }
  const std::string request = line + "\n";
  if (send(fd.get(), request.data(), request.size(), MSG_NOSIGNAL) < 0) return "";
  std::string answer;
  std::array<char, 65536> buffer;
  while (!is_complete(answer)) {
    const ssize_t got = recv(fd.get(), buffer.data(), buffer.size(), 0);
    if (got <= 0) return "";
    answer.append(buffer.data(), static_cast<size_t>(got));
  }
  return answer;
}

void tell_encoder(const std::string& line) {
  const base::Descriptor fd = open_patient(SOCK_DGRAM);
  const sockaddr_un address = address_of(support::RunningMaintask::kFifoControl);
  const std::string request = line + "\n";
  sendto(fd.get(), request.data(), request.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace storm
