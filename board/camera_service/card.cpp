#include "camera_service/card.h"

#include <fcntl.h>
#include <sys/statvfs.h>

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "base/descriptor.h"

namespace camera_service {
namespace {

namespace fs = std::filesystem;

constexpr int64_t kLargestFillKb = int64_t{2} << 20;
constexpr const char* kAside = ".removed";

// Moves every entry of `from` but `except` into `to`.
bool move_entries(const fs::path& from, const fs::path& to, const fs::path& except) {
  std::error_code error;
  fs::create_directories(to, error);
  for (fs::directory_iterator entry(from, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path() != except) fs::rename(entry->path(), to / entry->path().filename(), error);
    if (error) return false;
  }
  return !error;
}

}  // namespace

uint64_t free_bytes(const std::string& path) {
  struct statvfs info {};
  if (::statvfs(path.c_str(), &info) != 0) return 0;
  return static_cast<uint64_t>(info.f_bavail) * info.f_frsize;
}

Card::Card(const std::string& root) : root_(fs::absolute(root).lexically_normal().string()) {
  while (root_.size() > 1 && root_.back() == '/') root_.pop_back();
  const fs::path relative = fs::path(root_).relative_path();
  if (std::distance(relative.begin(), relative.end()) < 2)
    throw std::invalid_argument("the card must be at least two folders below /: " + root_);
}

bool Card::make_folders() const {
  for (const char* folder : {"PIC", "VIDEO", "THUMB"}) {
    std::error_code error;
    fs::create_directories(fs::path(root_) / "KRVMEDIA" / folder, error);
    if (error) return false;
  }
  return true;
}

bool Card::prepare() {
  const bool left_out =
      fs::exists(root_ + "/" + kAside) || (!fs::exists(root_) && fs::exists(root_ + kAside));
  if (left_out) [[maybe_unused]]
    const bool back = put_in();
  if (!present_ && !fs::is_directory(root_)) return true;  // nobody has put one in
  present_ = make_folders();
  return present_;
}

int64_t Card::total_kb() const {
  struct statvfs info {};
  if (!present_ || ::statvfs(root_.c_str(), &info) != 0) return 0;
  return static_cast<int64_t>(info.f_blocks * info.f_frsize / 1024);
}

int64_t Card::free_kb() const {
  if (!present_) return 0;
  return pretended_free_kb_.value_or(static_cast<int64_t>(free_bytes(root_) / 1024));
}

bool Card::format() {
  std::error_code error;
  for (fs::directory_iterator entry(root_, error), end; !error && entry != end;
       entry.increment(error)) {
    fs::remove_all(entry->path(), error);
    if (error) break;
  }
  pretended_free_kb_.reset();
  formatted_ = !error && make_folders();
  return formatted_;
}

bool Card::take_out() {
  if (!present_) return false;
  std::error_code error;
  fs::rename(root_, root_ + kAside, error);
  if (error) {
    const fs::path aside = fs::path(root_) / kAside;
    if (!move_entries(root_, aside, aside)) return false;
  }
  present_ = false;
  return true;
}

bool Card::put_in() {
  if (present_) return false;
  std::error_code error;
  const fs::path aside = fs::path(root_) / kAside;
  if (fs::exists(aside)) {
    if (!move_entries(aside, root_, {})) return false;
    fs::remove(aside, error);
  } else if (fs::exists(root_ + kAside)) {
    fs::rename(root_ + kAside, root_, error);
    if (error) return false;
  }
  present_ = make_folders();
  return present_;
}

bool Card::fill(int64_t kb) {
  if (!present_) return false;
  unfill();
  // Again when a recording has taken some of the space meanwhile.
  constexpr int kTries = 3;
  for (int tries = 0; tries < kTries; tries++) {
    const int64_t fill_kb = free_kb() - kb;
    if (fill_kb <= 0) return true;
    if (fill_kb > kLargestFillKb) {
      pretended_free_kb_ = kb;
      return true;
    }
    const base::Descriptor file(
        ::open((root_ + "/.fill").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!file.open()) return false;
    if (::posix_fallocate(file.get(), 0, fill_kb * 1024) == 0) return true;
  }
  return false;
}

void Card::unfill() {
  pretended_free_kb_.reset();
  ::unlink((root_ + "/.fill").c_str());
}

}  // namespace camera_service
