#include "groundstation/shell/history.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "base/descriptor.h"

namespace groundstation {
namespace {

// Only the user reads it.
constexpr mode_t kMode = 0600;

bool append(const std::string& path, const std::string& text, int flags) {
  const base::Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, kMode));
  return file.open() &&
         ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

std::string history_path() {
  std::string state = variable("XDG_STATE_HOME");
  // One that is no whole path does not count.
  if (!state.starts_with('/')) {
    const std::string home = variable("HOME");
    if (!home.starts_with('/')) return "";
    state = home + "/.local/state";
  }
  return state + "/groundstation/history";
}

HistoryFile::HistoryFile(std::string path) : path_(std::move(path)) {
  if (path_.empty()) return;
  std::ifstream file(path_);
  size_t read = 0;
  for (std::string line; std::getline(file, line); read++) {
    lines_.push_back(line);
    if (lines_.size() > kMostLines) lines_.pop_front();
  }
  file.close();
  if (read > 2 * kMostLines) rewrite();
}

// In one step, so that a session that reads meanwhile finds the old file or the new one.
void HistoryFile::rewrite() const {
  std::string text;
  for (const std::string& line : lines_) text += line + "\n";
  const std::string fresh = path_ + ".new";
  std::error_code error;
  if (append(fresh, text, O_TRUNC)) std::filesystem::rename(fresh, path_, error);
}

void HistoryFile::add(const std::string& line) {
  if (line.empty() || (!lines_.empty() && lines_.back() == line)) return;
  lines_.push_back(line);
  if (lines_.size() > kMostLines) lines_.pop_front();
  if (path_.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
  append(path_, line + "\n", O_APPEND);
}

}  // namespace groundstation
