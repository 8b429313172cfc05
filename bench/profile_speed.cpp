// Reading a profile of 10000 lines: ccl_parse against std::ifstream and std::map of the same lines,
// processor time and memory of the result.
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <string>

#include "config/ccl.h"
#include "report.h"

namespace {

constexpr int kLines = 10000;
constexpr int kRuns = 30;

using Profile = std::map<std::string, std::string>;

std::string write_profile() {
  char path[] = "/tmp/profile_speed.XXXXXX";
  const int fd = mkstemp(path);
  if (fd >= 0) close(fd);
  std::ofstream file(path);
  for (int i = 0; i < kLines; i++) {
    // In no order, as in a file that people edit.
    file << "Setting" << (i * 7919) % kLines << " = value of number " << i << "\n";
  }
  return path;
}

config::CclHandle parse_ours(const std::string& path) {
  config::CclHandle handle{};
  handle.comment_character = '#';
  handle.separator_character = '=';
  handle.string_character = '"';
  (void)config::ccl_parse(&handle, path.c_str());
  return handle;
}

Profile parse_reference(const std::string& path) {
  Profile profile;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    const size_t separator = line.find(" = ");
    profile.emplace(line.substr(0, separator), line.substr(separator + 3));
  }
  return profile;
}

double cpu_ms() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

size_t allocated() { return mallinfo2().uordblks; }

}  // namespace

int main() {
  const std::string path = write_profile();
  double ours = 1e9;
  double reference = 1e9;
  size_t our_bytes = 0;
  size_t reference_bytes = 0;
  for (int run = 0; run < kRuns; run++) {
    size_t before = allocated();
    double began = cpu_ms();
    config::CclHandle handle = parse_ours(path);
    ours = std::min(ours, cpu_ms() - began);
    our_bytes = allocated() - before;
    config::ccl_release(&handle);

    before = allocated();
    began = cpu_ms();
    const Profile profile = parse_reference(path);
    reference = std::min(reference, cpu_ms() - began);
    reference_bytes = allocated() - before;
  }
  unlink(path.c_str());
  const std::string name = "profile of " + std::to_string(kLines) + " lines";
  bench::show({.name = name,
               .unit = "ms",
               .ours = ours,
               .reference_name = "ifstream and map",
               .reference = reference,
               .goal = bench::at_most(1.5)});
  bench::show({.name = name + ", its memory",
               .unit = "KB",
               .ours = static_cast<double>(our_bytes) / 1e3,
               .reference_name = "map",
               .reference = static_cast<double>(reference_bytes) / 1e3,
               .goal = bench::at_most(2)});
}
