// The memory order of plain shared words: single words that several threads read and write, with no
// order relied upon between them.
#pragma once

#include <atomic>

namespace base {

inline constexpr auto kRelaxed = std::memory_order_relaxed;

}  // namespace base
