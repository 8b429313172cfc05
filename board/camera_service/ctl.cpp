#include "camera_service/ctl.h"

#include <fmt/core.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/descriptor.h"
#include "camera_service/say.h"

namespace camera_service {
namespace {

constexpr int kUnreachable = 2;

int report(const std::string& path, const char* what) {
  fmt::print(stderr, "camera_service: {}: {}\n", path, what);
  return kUnreachable;
}

}  // namespace

int run_ctl(const std::string& path, const std::string& line) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return report(path, std::strerror(ENAMETOOLONG));
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const base::Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd.open()) return report(path, std::strerror(errno));
  if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    return report(path, std::strerror(errno));
  const std::string request = line + "\n";
  if (::send(fd.get(), request.data(), request.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(request.size()))
    return report(path, std::strerror(errno));

  std::string pending;
  std::array<char, 65536> buffer;
  while (true) {
    const ssize_t got = ::recv(fd.get(), buffer.data(), buffer.size(), 0);
    if (got <= 0) return report(path, "the service went away");
    pending.append(buffer.data(), static_cast<size_t>(got));
    for (size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
      const std::string answer = pending.substr(0, end);
      pending.erase(0, end + 1);
      if (answer == "ok") return 0;
      if (answer.starts_with("error: ")) {
        fmt::print(stderr, "camera_service: {}\n", answer.substr(std::strlen("error: ")));
        return 1;
      }
      say("{}", answer);
    }
  }
}

}  // namespace camera_service
