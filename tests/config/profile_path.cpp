#include "config/profile_path.h"

#include <fcntl.h>

#include <cstdarg>
#include <cstring>

namespace config_test {
namespace {

const char* profile_path = "/there/is/no/profile.conf";

}  // namespace

void set_profile_path(const char* path) { profile_path = path; }

}  // namespace config_test

extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  const bool profile = std::strcmp(path, "/korvan.conf") == 0;
  return __real_open(profile ? config_test::profile_path : path, flags, mode);
}

}  // extern "C"
