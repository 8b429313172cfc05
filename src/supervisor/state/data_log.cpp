#include "supervisor/state/data_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/shell.h"
#include "base/text.h"

namespace supervisor {
namespace {

using base::kRelaxed;
constexpr mode_t kLogMode = 0644;

struct Log {
  const char* id_path;
  std::atomic<int32_t> fd;    // 0: not open
  base::Mutex lock;           // one write, or the close
  bool cut GUARDED_BY(lock);  // the file behind fd is closed already
};

Log flyctl{"/tmp/SD0/FlyctlID", {}, {}, false};
Log gimbal{"/tmp/SD0/GimbalID", {}, {}, false};
Log vboard{"/tmp/SD0/VBoardID", {}, {}, false};

std::atomic<int32_t> suspended;

Log& log_of(int32_t kind) {
  if (kind == kLogFlightController) return flyctl;
  return kind == kLogGimbal ? gimbal : vboard;
}

void log_path(int32_t kind, uint32_t number, char (&path)[200]) {
  const auto shown = static_cast<int32_t>(number);
  if (kind == kLogFlightController) {
    base::format_text(path, "/tmp/SD0/FlyctlDataLog%d.txt", shown);
  } else if (kind == kLogGimbal) {
    base::format_text(path, "/tmp/SD0/GimbalDataLog%d.txt", shown);
  } else {
    base::format_text(path, "/tmp/SD0/VBoardDataLog%d.txt", shown);
  }
}

// Closes what was open.
void put_descriptor(Log& log, int32_t fd) REQUIRES(log.lock) {
  const int32_t before = log.fd.exchange(fd, kRelaxed);
  if (before != 0 && !log.cut) close(before);
  log.cut = false;
}

void close_log(Log& log) {
  const base::Lock lock(log.lock);
  put_descriptor(log, 0);
}

// False when nothing was read.
bool read_id(const char* path, int32_t* number) {
  char command[100];
  base::format_text(command, "/bin/cat %s", path);
  char line[100];
  if (base::read_shell_line(command, line, sizeof(line)) != 1) return false;
  const size_t length = std::strlen(line);
  if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
  *number = base::saturate<int32_t>(static_cast<double>(std::strtol(line, nullptr, 10)));
  return true;
}

bool has_bytes(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 && status.st_size > 0;
}

uint32_t number_behind(const Log& log, int32_t stored) {
  // A stored number below 0 is taken for none by the video board's log only. The other two count on
  // from it, and from the -1 of "nothing read" to 0.
  if (&log == &vboard && stored < 0) return 0;
  return static_cast<uint32_t>(stored) + 1;
}

}  // namespace

int32_t id_file_read(const char* path) {
  int32_t number = -1;
  return path != nullptr && read_id(path, &number) ? number : -1;
}

int32_t id_file_write(const char* path, int32_t number) {
  if (path == nullptr) return -1;
  char command[100];
  base::format_text(command, "echo '%d' > %s", number, path);
  base::run_shell(command);
  return 0;
}

uint32_t data_log_next_number(int32_t kind) {
  const Log& log = log_of(kind);
  return number_behind(log, id_file_read(log.id_path));
}

int32_t data_log_open(int32_t kind) {
  if (access("/tmp/SD0/KRVMEDIA", F_OK) != 0 || data_log_suspended()) return -1;
  Log& log = log_of(kind);
  close_log(log);
  int32_t stored = -1;
  // A number that is there and cannot be read now would give log 0 once more, over the old one. The
  // next line tries again.
  if (!read_id(log.id_path, &stored) && has_bytes(log.id_path)) return -1;
  const uint32_t number = number_behind(log, stored);
  char path[200];
  log_path(kind, number, path);
  // Neither truncated nor appended to: an existing file is overwritten in place.
  const int fd = open(path, O_WRONLY | O_CREAT | O_SYNC | O_CLOEXEC | O_NOFOLLOW, kLogMode);
  if (fd < 0) return -1;
  id_file_write(log.id_path, static_cast<int32_t>(number));
  const base::Lock lock(log.lock);
  put_descriptor(log, fd);  // another thread may have opened it meanwhile
  return 0;
}

int32_t data_log_write(int32_t kind, const void* buffer, int32_t length) {
  if (buffer == nullptr || length <= 0) return -1;
  Log& log = log_of(kind);
  if (log.fd.load(kRelaxed) == 0) data_log_open(kind);
  // Deliberate: the video board's log is written only while the flight controller's is open.
  const Log& tested = &log == &vboard ? flyctl : log;
  if (tested.fd.load(kRelaxed) == 0) return -1;
  const base::Lock lock(log.lock);
  const int32_t fd = log.fd.load(kRelaxed);
  if (fd == 0) return 0;
  const bool written = !log.cut && write(fd, buffer, static_cast<size_t>(length)) > 0;
  if (!written) put_descriptor(log, 0);
  return 0;
}

int32_t data_log_close(int32_t kind) {
  if (kind == kLogGimbal) {
    close_log(gimbal);
    return 0;
  }
  if (kind == kLogFlightController) close_log(flyctl);
  close_log(vboard);
  return 0;
}

int32_t data_log_close_all() {
  data_log_close(kLogGimbal);
  data_log_close(kLogFlightController);
  data_log_close(kLogVideoBoard);
  return 0;
}

void data_log_cut(int32_t kind) {
  Log& log = log_of(kind);
  const base::Lock lock(log.lock);
  const int32_t fd = log.fd.load(kRelaxed);
  if (fd == 0 || log.cut) return;
  close(fd);
  log.cut = true;
}

bool data_log_is_open(int32_t kind) { return log_of(kind).fd.load(kRelaxed) != 0; }

void data_log_suspend(int32_t on) { suspended.store(on, kRelaxed); }

bool data_log_suspended() { return suspended.load(kRelaxed) == 1; }

}  // namespace supervisor
