#include "groundstation/media/file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace groundstation {
namespace {

constexpr const char* kTemporaryEnd = ".XXXXXX.part";
constexpr int kTemporaryEndFixed = 5;  // ".part"

std::string file_trouble(const std::string& path, int error) {
  return fmt::format("cannot write {}: {}", path, std::strerror(error));
}

// Whether something is there, and whether it is what a download may replace: neither a device nor a
// pipe nor a folder.
bool path_is_taken(const std::string& path, bool* replaceable) {
  struct stat status {};
  const bool taken = ::lstat(path.c_str(), &status) == 0;
  *replaceable = S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
  return taken;
}

}  // namespace

MediaFile::~MediaFile() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

std::string MediaFile::open(const std::string& path, bool replace) {
  path_ = path;
  replace_ = replace;
  bool replaceable = false;
  if (path_is_taken(path, &replaceable)) {
    if (!replaceable) return fmt::format("{} is no ordinary file: name another one", path);
    if (!replace) return fmt::format("{} exists already (--force replaces it)", path);
  }
  std::string name = path + kTemporaryEnd;
  file_.reset(::mkostemps(name.data(), kTemporaryEndFixed, O_CLOEXEC));
  if (!file_.open()) return file_trouble(path, errno);
  temporary_ = name;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(file_.get(), 0666 & ~mask);
  return "";
}

std::string MediaFile::finish() {
  if (::fsync(file_.get()) != 0) return file_trouble(path_, errno);
  const unsigned flags = replace_ ? 0 : RENAME_NOREPLACE;
  int result = ::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, path_.c_str(), flags);
  // A file system that knows no flags: a link does not replace anything either.
  if (result != 0 && errno == EINVAL) {
    result = ::link(temporary_.c_str(), path_.c_str());
    if (result == 0) ::unlink(temporary_.c_str());
  }
  if (result != 0) return file_trouble(path_, errno);
  temporary_.clear();
  return "";
}

bool MediaFile::write(uint64_t at, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written =
        ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(at));
    if (written <= 0) {
      error_ = written < 0 ? errno : ENOSPC;
      return false;
    }
    at += static_cast<uint64_t>(written);
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return true;
}

bool MediaFile::read(uint64_t at, std::span<uint8_t> bytes) {
  const ssize_t size = ::pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(at));
  if (size >= 0 && static_cast<size_t>(size) == bytes.size()) return true;
  error_ = size < 0 ? errno : EIO;
  return false;
}

std::string MediaFile::trouble() const { return file_trouble(path_, error_); }

std::string media_output_path(const std::string& output, const std::string& name) {
  if (output.empty()) return name;
  std::error_code error;
  if (!std::filesystem::is_directory(output, error)) return output;
  return (std::filesystem::path(output) / name).string();
}

}  // namespace groundstation
