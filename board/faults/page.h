// The page that libfaults.so shares with whoever arms it: a file of this size, mapped by both. Every
// word is a relaxed atomic of its own, but for `mode`, which is written last and read first.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string_view>

namespace faults {

// The environment variable that names the page's file.
inline constexpr const char* kPageVariable = "FAULTS_PAGE";

enum Kind : uint32_t {
  kOpen,
  kRead,
  kWrite,
  kFlush,
  kRename,
  kUnlink,
  kMkdir,
  kSocket,
  kSendto,
  kSend,
  kRecv,
  kMalloc,
  kThread,
  kShell,
  kKinds
};

inline constexpr std::array<std::string_view, kKinds> kKindNames{
    "open",   "read",   "write", "flush", "rename", "unlink", "mkdir",
    "socket", "sendto", "send",  "recv",  "malloc", "thread", "shell"};

inline std::optional<Kind> kind_of(std::string_view name) {
  const auto* found = std::find(kKindNames.begin(), kKindNames.end(), name);
  if (found == kKindNames.end()) return std::nullopt;
  return static_cast<Kind>(found - kKindNames.begin());
}

enum Mode : uint32_t {
  kOff,
  kFail,  // the call fails with an error
  kKill   // the process ends by SIGKILL in place of the call
};

struct Page {
  std::atomic<uint32_t> mode;
  std::atomic<uint32_t> kind;
  std::atomic<int32_t> error;  // 0: what fits the call
  std::atomic<uint32_t> call;  // which call of the kind is hit, from 1; 0: none, they are counted
  std::atomic<uint32_t> counted;  // calls of the kind since it was armed
  std::atomic<uint32_t> struck;   // 1 once the call has been hit
  // Text with a zero behind it, written before `struck`: the function, its file, and who called,
  // innermost first, as module+offset.
  std::array<char, 768> where;
};

// Calls of that kind count from here on, and number `call` of them is hit.
inline void arm(Page& page, Mode mode, Kind kind, uint32_t call, int error = 0) {
  page.mode.store(kOff);
  page.kind = kind;
  page.error = error;
  page.call = call;
  page.counted = 0;
  page.struck = 0;
  page.where[0] = '\0';
  page.mode.store(mode);
}

// No call counts or fails from here on. What was struck is forgotten.
inline void disarm(Page& page) {
  page.mode.store(kOff);
  page.struck = 0;
}

}  // namespace faults
