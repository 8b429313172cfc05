// The program's own account of what it does: one line per thing on standard output. A reader that
// has gone away is no reason to stop. Safe from any thread.
#pragma once

#include <fmt/core.h>

#include <cstdio>
#include <string>
#include <utility>

namespace camera_service {

template <typename... Values>
void say(fmt::format_string<Values...> format, Values&&... values) {
  std::string line = fmt::format(format, std::forward<Values>(values)...);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stdout);
}

}  // namespace camera_service
