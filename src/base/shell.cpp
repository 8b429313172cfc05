#include "base/shell.h"

#include <cstdio>
#include <cstdlib>

#include "base/clock.h"

namespace base {

int run_shell(const char* command) { return std::system(command); }

void run_shell_quiet(const char* command) {
  std::FILE* pipe = popen(command, "r");
  if (pipe == nullptr) {
    std::perror("poen failed!");
  } else {
    pclose(pipe);
  }
  sleep_ms(10);
}

int read_shell_line(const char* command, char* line, size_t size) {
  std::FILE* pipe = popen(command, "r");
  if (pipe == nullptr) return -1;
  const bool read = std::fgets(line, static_cast<int>(size), pipe) != nullptr;
  pclose(pipe);
  return read ? 1 : 0;
}

}  // namespace base
