#include "base/shell.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "base/clock.h"

namespace base {
namespace {

// Memory or processes may be short for a moment.
constexpr int kStartTries = 5;
constexpr uint64_t kStartPauseMs = 20;

// Calls `start` until it says that it has started something; errno is the last try's otherwise.
template <typename Start>
bool started(const Start& start) {
  for (int tries = 1;; tries++) {
    if (start()) return true;
    if (tries == kStartTries) return false;
    const int error = errno;
    sleep_ms(kStartPauseMs);
    errno = error;
  }
}

std::FILE* open_pipe(const char* command) {
  std::FILE* pipe = nullptr;
  started([&] { return (pipe = popen(command, "r")) != nullptr; });
  return pipe;
}

}  // namespace

// Not system(): that one has the whole process ignore SIGINT and SIGQUIT for as long as the command
// runs, and an exit signal would be lost.
int run_shell(const char* command) {
  posix_spawnattr_t attributes;
  if (posix_spawnattr_init(&attributes) != 0) return -1;
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  char shell[] = "sh";
  char option[] = "-c";
  // Only read, though the interface does not say so: a copy would be memory that may be short.
  char* const arguments[] = {shell, option, const_cast<char*>(command), nullptr};
  pid_t child = 0;
  const bool runs = started([&] {
    return posix_spawn(&child, "/bin/sh", nullptr, &attributes, arguments, environ) == 0;
  });
  posix_spawnattr_destroy(&attributes);
  if (!runs) return -1;
  int status = 0;
  while (waitpid(child, &status, 0) == -1) {
    if (errno != EINTR) return -1;
  }
  return status;
}

void run_shell_quiet(const char* command) {
  std::FILE* pipe = open_pipe(command);
  if (pipe == nullptr) {
    std::perror("poen failed!");
  } else {
    pclose(pipe);
  }
  sleep_ms(10);
}

int read_shell_line(const char* command, char* line, size_t size) {
  std::FILE* pipe = open_pipe(command);
  if (pipe == nullptr) return -1;
  const bool read = std::fgets(line, static_cast<int>(size), pipe) != nullptr;
  pclose(pipe);
  return read ? 1 : 0;
}

int read_shell_lines(const char* command, const std::function<bool(const char* line)>& take) {
  std::FILE* pipe = open_pipe(command);
  if (pipe == nullptr) return -1;
  char line[50];
  while (std::fgets(line, sizeof(line), pipe) != nullptr) {
    line[std::strcspn(line, "\n")] = '\0';
    if (!take(line)) break;
  }
  pclose(pipe);
  return 0;
}

}  // namespace base
