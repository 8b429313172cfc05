#include "supervisor/state/turns.h"

#include <algorithm>
#include <array>
#include <atomic>

#include "base/clock.h"
#include "base/relaxed.h"
#include "base/service_manager.h"

namespace supervisor {
namespace {

using base::kRelaxed;
constexpr uint64_t kPauseUs = 1000000;

// Since the last telling.
std::array<std::atomic<bool>, kMainThreads> came_round{};
thread_local std::atomic<bool>* own = nullptr;

// FIFO reader's thread only.
struct Telling {
  uint64_t next_us = 0;
  bool started = false;
};
Telling telling;

}  // namespace

void turn_as(MainThread thread) { own = &came_round.at(thread); }

void turned() {
  if (own != nullptr) own->store(true, kRelaxed);
}

void turned_and_tell() {
  turned();
  const uint64_t now = base::monotonic_us();
  if (now < telling.next_us) return;
  if (!std::ranges::all_of(came_round, [](const auto& came) { return came.load(kRelaxed); }))
    return;
  for (auto& came : came_round) came.store(false, kRelaxed);
  telling.next_us = now + kPauseUs;
  if (!telling.started) base::tell_service_manager("READY=1");
  telling.started = true;
  if (base::watchdog_limit_us() != 0) base::tell_service_manager("WATCHDOG=1");
}

void turns_reset() {
  for (auto& came : came_round) came.store(false, kRelaxed);
  own = nullptr;
  telling = {};
}

}  // namespace supervisor
