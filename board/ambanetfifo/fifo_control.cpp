// fifo_control SOCKET ACTION [ARGUMENT...]: sends one line to the control socket of a running
// libambanetfifo.so and prints its answer; --version prints the version. Exit status: 0 done, 1 refused,
// 2 no answer or wrong usage.
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "base/descriptor.h"

namespace {

constexpr int kRefused = 1;
constexpr int kUnusable = 2;

int fail(const char* what) {
  std::perror(what);
  return kUnusable;
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 2 && std::strcmp(arguments[1], "--version") == 0) {
    std::puts("fifo_control " HOUSE_VERSION);
    return 0;
  }
  sockaddr_un to = {};
  to.sun_family = AF_UNIX;
  if (count < 3 || std::strlen(arguments[1]) >= sizeof to.sun_path) {
    std::fprintf(stderr, "usage: fifo_control SOCKET ACTION [ARGUMENT...]\n");
    return kUnusable;
  }
  std::memcpy(to.sun_path, arguments[1], std::strlen(arguments[1]));
  std::string line;
  for (int i = 2; i < count; i++) line.append(arguments[i]).append(i + 1 < count ? " " : "\n");

  const base::Descriptor made(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_un own = {.sun_family = AF_UNIX, .sun_path = {}};
  // An address without a path: the kernel chooses one, for the answer.
  const timeval limit = {.tv_sec = 2, .tv_usec = 0};
  if (!made.open() ||
      bind(made.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own.sun_family) != 0 ||
      setsockopt(made.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) {
    return fail("fifo_control");
  }
  if (sendto(made.get(), line.data(), line.size(), 0, reinterpret_cast<const sockaddr*>(&to),
             sizeof to) < 0) {
    return fail(arguments[1]);
  }
  char answer[512];
  const ssize_t size = recv(made.get(), answer, sizeof answer, 0);
  if (size < 0) return fail("fifo_control: no answer");
  std::fwrite(answer, 1, static_cast<size_t>(size), stdout);
  return std::string_view(answer, static_cast<size_t>(size)).starts_with("ok") ? 0 : kRefused;
}
