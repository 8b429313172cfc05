// Files: open, read, write, flush, rename, unlink, mkdir, by descriptor and by stream. What the
// program prints on its standard output and error is not counted: nobody looks at the result.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "faults/strike.h"

namespace {

using faults::Next;
using faults::strikes;

// What a stream does after an error of its own: ferror says so.
void mark_error(std::FILE* stream) { stream->_flags |= 0x20; }

bool fails_to_open(const char* function, const char* path, bool writing) {
  return strikes(faults::kOpen, function, path, writing ? EROFS : EMFILE);
}

bool fails_to_open(const char* function, const char* path, int flags) {
  return fails_to_open(function, path, (flags & O_ACCMODE) != O_RDONLY);
}

bool fails_to_open(const char* function, const char* path, const char* mode) {
  return fails_to_open(function, path, std::strpbrk(mode, "wa+") != nullptr);
}

bool fails_to_read(const char* function) { return strikes(faults::kRead, function, nullptr, EIO); }

bool fails_to_read(const char* function, std::FILE* stream) {
  if (!fails_to_read(function)) return false;
  mark_error(stream);
  return true;
}

bool fails_to_write(const char* function, std::FILE* stream) {
  if (stream == stdout || stream == stderr) return false;
  if (!strikes(faults::kWrite, function, nullptr, ENOSPC)) return false;
  mark_error(stream);
  return true;
}

mode_t mode_of(int flags, va_list arguments) {
  const bool makes = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return makes ? va_arg(arguments, mode_t) : 0;
}

constinit Next<int(const char*, int, mode_t)> next_open("open");
constinit Next<int(int, const char*, int, mode_t)> next_openat("openat");
constinit Next<std::FILE*(const char*, const char*)> next_fopen("fopen");
constinit Next<std::FILE*(int, const char*)> next_fdopen("fdopen");
constinit Next<DIR*(const char*)> next_opendir("opendir");
constinit Next<ssize_t(int, void*, size_t)> next_read("read");
constinit Next<size_t(void*, size_t, size_t, std::FILE*)> next_fread("fread");
constinit Next<char*(char*, int, std::FILE*)> next_fgets("fgets");
constinit Next<int(std::FILE*)> next_fgetc("fgetc");
constinit Next<dirent*(DIR*)> next_readdir("readdir");
constinit Next<ssize_t(int, const void*, size_t)> next_write("write");
constinit Next<size_t(const void*, size_t, size_t, std::FILE*)> next_fwrite("fwrite");
constinit Next<int(int, std::FILE*)> next_fputc("fputc");
constinit Next<int(std::FILE*)> next_fflush("fflush");
constinit Next<int(std::FILE*)> next_fclose("fclose");
constinit Next<int(int)> next_fsync("fsync");
constinit Next<int(const char*, const char*)> next_rename("rename");
constinit Next<int(const char*)> next_unlink("unlink");
constinit Next<int(const char*)> next_remove("remove");
constinit Next<int(const char*, mode_t)> next_mkdir("mkdir");

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return fails_to_open("open", path, flags) ? -1 : next_open(path, flags, mode);
}

// The same: a file's offset has 64 bits here.
[[gnu::alias("open")]] int open64(const char* path, int flags, ...);

int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return fails_to_open("openat", path, flags) ? -1 : next_openat(folder, path, flags, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
  return fails_to_open("fopen", path, mode) ? nullptr : next_fopen(path, mode);
}

std::FILE* fopen64(const char* path, const char* mode) {
  return fails_to_open("fopen", path, mode) ? nullptr : next_fopen(path, mode);
}

std::FILE* fdopen(int fd, const char* mode) noexcept {
  if (strikes(faults::kOpen, "fdopen", nullptr, ENOMEM)) return nullptr;
  return next_fdopen(fd, mode);
}

DIR* opendir(const char* path) {
  return strikes(faults::kOpen, "opendir", path, EMFILE) ? nullptr : next_opendir(path);
}

ssize_t read(int fd, void* bytes, size_t size) {
  return fails_to_read("read") ? -1 : next_read(fd, bytes, size);
}

size_t fread(void* items, size_t size, size_t count, std::FILE* stream) {
  return fails_to_read("fread", stream) ? 0 : next_fread(items, size, count, stream);
}

char* fgets(char* line, int size, std::FILE* stream) {
  return fails_to_read("fgets", stream) ? nullptr : next_fgets(line, size, stream);
}

int fgetc(std::FILE* stream) { return fails_to_read("fgetc", stream) ? EOF : next_fgetc(stream); }

dirent* readdir(DIR* folder) { return fails_to_read("readdir") ? nullptr : next_readdir(folder); }

ssize_t write(int fd, const void* bytes, size_t size) {
  const bool counted = fd != STDOUT_FILENO && fd != STDERR_FILENO;
  if (counted && strikes(faults::kWrite, "write", nullptr, ENOSPC)) return -1;
  return next_write(fd, bytes, size);
}

size_t fwrite(const void* items, size_t size, size_t count, std::FILE* stream) {
  return fails_to_write("fwrite", stream) ? 0 : next_fwrite(items, size, count, stream);
}

int fputc(int byte, std::FILE* stream) {
  return fails_to_write("fputc", stream) ? EOF : next_fputc(byte, stream);
}

int __vfprintf_chk(std::FILE* stream, int /*flag*/, const char* format, va_list arguments) {
  return fails_to_write("fprintf", stream) ? -1 : std::vfprintf(stream, format, arguments);
}

int __fprintf_chk(std::FILE* stream, int flag, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = __vfprintf_chk(stream, flag, format, arguments);
  va_end(arguments);
  return result;
}

int fflush(std::FILE* stream) {
  const bool counted = stream != nullptr && stream != stdout && stream != stderr;
  if (counted && strikes(faults::kFlush, "fflush", nullptr, ENOSPC)) {
    mark_error(stream);
    return EOF;
  }
  return next_fflush(stream);
}

// The stream is closed all the same; what waited in it is lost.
int fclose(std::FILE* stream) {
  if (!strikes(faults::kFlush, "fclose", nullptr, ENOSPC)) return next_fclose(stream);
  const int error = errno;
  const int flags = fcntl(fileno(stream), F_GETFL);
  if ((flags & O_ACCMODE) != O_RDONLY) {
    // Written to a place that takes nothing.
    std::FILE* nowhere = next_fopen("/dev/full", "w");
    if (nowhere != nullptr) {
      dup2(fileno(nowhere), fileno(stream));
      next_fclose(nowhere);
    }
  }
  next_fclose(stream);
  errno = error;
  return EOF;
}

int fsync(int fd) { return strikes(faults::kFlush, "fsync", nullptr, EIO) ? -1 : next_fsync(fd); }

int rename(const char* from, const char* to) noexcept {
  return strikes(faults::kRename, "rename", to, EIO) ? -1 : next_rename(from, to);
}

int unlink(const char* path) noexcept {
  return strikes(faults::kUnlink, "unlink", path, EROFS) ? -1 : next_unlink(path);
}

int remove(const char* path) noexcept {
  return strikes(faults::kUnlink, "remove", path, EROFS) ? -1 : next_remove(path);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return strikes(faults::kMkdir, "mkdir", path, ENOSPC) ? -1 : next_mkdir(path, mode);
}

}  // extern "C"
