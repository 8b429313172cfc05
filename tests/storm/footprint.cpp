#include "storm/footprint.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace storm {

namespace fs = std::filesystem;

namespace {

std::string kind_of(const std::string& target) {
  const size_t bracket = target.find(":[");
  const bool numbered = target.starts_with("socket:") || target.starts_with("pipe:");
  return numbered && bracket != target.npos ? target.substr(0, bracket) : target;
}

bool is_data_log(const std::string& target) {
  return target.starts_with("/tmp/SD0/") && target.find("DataLog") != target.npos;
}

// Programs, and what the board itself writes to.
constexpr std::string_view kPlaces[] = {"/tmp",
                                        "/pref",
                                        "/run",
                                        "/etc",
                                        "/korvan.conf",
                                        "/sbin",
                                        "/usr/local/share/script",
                                        "/usr/local/ath6kl"};
// The card; this test's own files; logs of the stand-ins; what the program is meant to write.
constexpr std::string_view kPassedOver[] = {
    "/tmp/SD0",          "/tmp/storm",      "/tmp/fifo.",       "/tmp/camera_service.",
    "/tmp/gpio.log",     "/tmp/clock.",     "/tmp/factory.log", "/tmp/sent_image",
    "/tmp/preload",      "/pref/cam.conf",  "/tmp/macset.txt",  "/run/netns",
    "/run/xtables.lock", "/tmp/live_video", "/tmp/house_test."};

bool passed_over(const std::string& path) {
  for (const std::string_view start : kPassedOver) {
    if (path.starts_with(start)) return true;
  }
  return false;
}

void add_file(FileMap& files, const std::string& path) {
  struct stat status {};
  if (passed_over(path) || lstat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return;
  files[path] = std::to_string(status.st_size) + " bytes of " +
                std::to_string(status.st_mtim.tv_sec) + "." +
                std::to_string(status.st_mtim.tv_nsec);
}

}  // namespace

std::optional<Footprint> footprint_of(pid_t pid) {
  const std::string proc = "/proc/" + std::to_string(pid);
  std::error_code error;
  Footprint result;
  for (const auto& task [[maybe_unused]] : fs::directory_iterator(proc + "/task", error)) {
    result.threads++;
  }
  for (const auto& entry : fs::directory_iterator(proc + "/fd", error)) {
    std::error_code gone;
    const std::string target = fs::read_symlink(entry.path(), gone).string();
    if (!gone && !is_data_log(target)) result.descriptors[kind_of(target)]++;
  }
  std::ifstream status(proc + "/status");
  for (std::string word; status >> word;) {
    if (word == "RssAnon:") status >> result.anonymous_kb;
  }
  if (result.threads == 0) return std::nullopt;
  return result;
}

std::string difference(const Footprint& before, const Footprint& now) {
  std::string words;
  if (before.threads != now.threads) {
    words = std::to_string(before.threads) + " threads, now " + std::to_string(now.threads) + "; ";
  }
  std::map<std::string, int> change = now.descriptors;
  for (const auto& [kind, count] : before.descriptors) change[kind] -= count;
  for (const auto& [kind, count] : change) {
    if (count == 0) continue;
    words += (count > 0 ? "+" : "") + std::to_string(count) + " descriptor of " + kind + "; ";
  }
  return words;
}

FileMap files_outside_the_card() {
  FileMap files;
  for (const std::string_view place : kPlaces) {
    std::error_code error;
    add_file(files, std::string(place));
    fs::recursive_directory_iterator entry(place, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
      const std::string path = entry->path().string();
      if (passed_over(path)) entry.disable_recursion_pending();
      add_file(files, path);
    }
  }
  return files;
}

std::string changed_file(const FileMap& before, const FileMap& now) {
  for (const auto& [path, state] : now) {
    const auto old = before.find(path);
    if (old == before.end()) return path + " is new, " + state;
    if (old->second != state) return path + " was " + old->second + ", is " + state;
  }
  for (const auto& [path, state] : before) {
    if (!now.contains(path)) return path + " is gone";
  }
  return "";
}

}  // namespace storm
