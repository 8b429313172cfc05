// How long a test may wait. A wait that ends as soon as its condition holds costs nothing by being
// long, so limits are generous; under a sanitizer, where programs run several times slower, they
// are longer still.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace support {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int kSlowdown = 3;
inline constexpr bool kSanitized = true;
#else
inline constexpr int kSlowdown = 1;
inline constexpr bool kSanitized = false;
#endif

// Waits until the condition holds, looking at it every 5 ms. Returns whether it held in time (the
// limit is stretched under a sanitizer).
inline bool poll_until(const std::function<bool()>& condition, milliseconds limit) {
  const Time end = Clock::now() + limit * kSlowdown;
  while (!condition()) {
    if (Clock::now() >= end) return condition();
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

// Waits for the first item from number `from` on that is wanted, among what another thread appends
// under the mutex and announces.
template <typename Item>
std::optional<Item> wait_for_item(std::mutex& mutex, std::condition_variable& announced,
                                  const std::vector<Item>& items,
                                  const std::function<bool(const Item&)>& wanted,
                                  milliseconds limit, size_t from) {
  const Time end = Clock::now() + limit * kSlowdown;
  std::unique_lock lock(mutex);
  for (size_t next = from;; next++) {
    if (!announced.wait_until(lock, end, [&] { return next < items.size(); })) return std::nullopt;
    if (wanted(items[next])) return items[next];
  }
}

// Lets that much time pass, for showing that nothing happens in it.
inline void let_pass(milliseconds time) { std::this_thread::sleep_for(time); }

}  // namespace support
