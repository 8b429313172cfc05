// What a process has cost so far, from /proc.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "support/board_files.h"

namespace bench {

// User and system time of the process so far, seconds.
inline double cpu_seconds(pid_t pid) {
  const std::string stat = support::read_file("/proc/" + std::to_string(pid) + "/stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; i++) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

inline long resident_kb(pid_t pid) {
  const std::string status = support::read_file("/proc/" + std::to_string(pid) + "/status");
  const size_t at = status.find("VmRSS:");
  return at == std::string::npos ? 0 : std::strtol(status.c_str() + at + 6, nullptr, 10);
}

}  // namespace bench
