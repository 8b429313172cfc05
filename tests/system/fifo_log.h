// What the FIFO library's log says about the entries and readers that it made.
#pragma once

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/fixtures.h"

namespace support {

// One video entry.
struct AddedVideo {
  unsigned long long number;  // one more than the entry's before it
  size_t size;
  unsigned long long position;  // in bytes of video since the ring's beginning
};

// The last video entry whose line in the log holds the text.
inline std::optional<AddedVideo> last_added_video(const std::string& log, std::string_view text) {
  size_t end = log.size();
  while (end > 0) {
    const size_t at = log.rfind(" added video ", end - 1);
    if (at == std::string::npos) return {};
    const std::string line = log.substr(at, log.find('\n', at) - at);
    AddedVideo found{};
    if (line.find(text) != std::string::npos &&
        std::sscanf(line.c_str(), " added video %llu type=%*u size=%zu time=%*u position=%llu",
                    &found.number, &found.size, &found.position) == 3) {
      return found;
    }
    end = at;
  }
  return {};
}

// The sizes of the datagrams that an entry of the video ring (1 MiB) gives: one piece up to the
// ring's end and one from its start, each in datagrams of at most 64512 bytes.
inline std::vector<size_t> datagram_sizes(const AddedVideo& entry) {
  constexpr size_t kRing = 1048576;
  constexpr size_t kLargest = 64512;
  const size_t first = std::min<size_t>(entry.size, kRing - entry.position % kRing);
  std::vector<size_t> sizes;
  for (size_t piece : {first, entry.size - first}) {
    for (; piece > 0; piece -= std::min(piece, kLargest)) {
      sizes.push_back(std::min(piece, kLargest));
    }
  }
  return sizes;
}

}  // namespace support
