#include "groundstation/live/live_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "groundstation/terminal/interrupts.h"

namespace groundstation {
namespace {

// Opened without a wait for a pipe's reader; every write waits by itself.
constexpr int kExisting = O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

}  // namespace

LiveFile::~LiveFile() {
  if (made_ && written_ == 0) ::unlink(path_.c_str());
}

std::string LiveFile::open(const std::string& path, bool replace) {
  path_ = path;
  if (path == "-") {
    path_ = "standard output";
    file_.reset(::dup(STDOUT_FILENO));
    if (!file_.open()) return fmt::format("cannot write {}: {}", path_, std::strerror(errno));
    if (::isatty(file_.get()) == 1) {
      return "-o - writes the video itself, which is no text for a terminal: send standard output "
             "to "
             "a file or a program";
    }
  } else {
    file_.reset(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_CREAT | O_EXCL, 0666));
    made_ = file_.open();
    if (!made_ && errno == EEXIST) file_.reset(::open(path.c_str(), kExisting));
  }
  if (!file_.open()) {
    return errno == ENXIO ? fmt::format("nobody reads the pipe {}", path)
                          : fmt::format("cannot write {}: {}", path, std::strerror(errno));
  }
  struct stat status {};
  regular_ = ::fstat(file_.get(), &status) == 0 && S_ISREG(status.st_mode);
  if (path != "-" && regular_ && !made_ && !replace) {
    file_.reset();
    return fmt::format("{} exists already (--force replaces it)", path);
  }
  return "";
}

bool LiveFile::write(std::span<const uint8_t> bytes) {
  const bool done = regular_ ? write_regular(bytes) : write_stream(bytes);
  if (done) written_ += bytes.size();
  return done;
}

bool LiveFile::write_regular(std::span<const uint8_t> bytes) {
  if (written_ == 0 && !made_ && path_ != "standard output" && ::ftruncate(file_.get(), 0) != 0) {
    error_ = errno;
    return false;
  }
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t part = ::write(file_.get(), bytes.data() + done, bytes.size() - done);
    if (part > 0) {
      done += static_cast<size_t>(part);
      continue;
    }
    error_ = part < 0 ? errno : ENOSPC;
    // Half a picture would be of no use.
    const off_t end = ::lseek(file_.get(), 0, SEEK_CUR);
    if (end >= static_cast<off_t>(done) &&
        ::ftruncate(file_.get(), end - static_cast<off_t>(done)) != 0)
      error_ = errno;
    return false;
  }
  return true;
}

// A pipe that says that it has room takes so much without a wait.
bool LiveFile::write_stream(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    pollfd waits[] = {{file_.get(), POLLOUT, 0}, {interrupt_fd(), POLLIN, 0}};
    ::poll(waits, 2, -1);
    if (waits[1].revents != 0) return false;
    const ssize_t part =
        ::write(file_.get(), bytes.data(), std::min<size_t>(bytes.size(), PIPE_BUF));
    if (part < 0 && (errno == EAGAIN || errno == EINTR)) continue;
    if (part <= 0) {
      error_ = part < 0 ? errno : ENOSPC;
      return false;
    }
    bytes = bytes.subspan(static_cast<size_t>(part));
  }
  return true;
}

std::string LiveFile::trouble() const {
  if (error_ == 0) return "";
  if (error_ == EPIPE) return fmt::format("nobody reads {} any more", path_);
  return fmt::format("cannot write {}: {}", path_, std::strerror(error_));
}

std::string LiveFile::close() {
  if (!file_.open() || ::close(file_.release()) == 0) return "";
  error_ = errno;
  return trouble();
}

}  // namespace groundstation
