// libclockshim.so, for LD_PRELOAD: a settimeofday that succeeds and leaves the clock as it is.
//
// Each call appends the line "<seconds> <microseconds>\n" to the file named by the environment
// variable CLOCKSHIM_LOG. Returns 0; -1 with errno set when the file is not named, cannot be opened
// or cannot be written, -1 with EINVAL for a null time. Safe from any thread: a line is one append.
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

extern "C" int settimeofday(const struct timeval* time, const struct timezone* /*zone*/) noexcept {
  const char* path = std::getenv("CLOCKSHIM_LOG");
  if (path == nullptr || time == nullptr) {
    errno = EINVAL;
    return -1;
  }
  char line[64];
  const int length =
      std::snprintf(line, sizeof line, "%lld %lld\n", static_cast<long long>(time->tv_sec),
                    static_cast<long long>(time->tv_usec));
  const int log = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (log < 0) return -1;
  const ssize_t written = ::write(log, line, static_cast<size_t>(length));
  ::close(log);
  return written == length ? 0 : -1;
}
