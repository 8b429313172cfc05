// What a process holds, and what lies on the board's disk outside the card.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace storm {

struct Footprint {
  int threads = 0;
  // By kind ("socket", "pipe", "anon_inode:[eventfd]") or path. The data logs on the card are left
  // out: each is opened with its first line and stays open.
  std::map<std::string, int> descriptors;
  int64_t anonymous_kb = 0;  // memory that is no file's
};

// Nothing when there is no such process.
[[nodiscard]] std::optional<Footprint> footprint_of(pid_t pid);
// Threads and descriptors of both, in words; empty when they are the same.
[[nodiscard]] std::string difference(const Footprint& before, const Footprint& now);

// Every file outside the card with its size and time of change; links are not followed.
using FileMap = std::map<std::string, std::string>;
[[nodiscard]] FileMap files_outside_the_card();
// The first file that was changed, made or removed and must not have been; empty when there is
// none. What the program is meant to write there is passed over.
[[nodiscard]] std::string changed_file(const FileMap& before, const FileMap& now);

}  // namespace storm
