#include "flightlink/frame/biased_mutex.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "base/clock.h"

namespace flightlink {
namespace {

bool barrier_on_all_threads() {
  return syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0) == 0;
}

bool barrier_available() {
  static const bool available =
      syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
  return available;
}

}  // namespace

void BiasedMutex::lock() {
  mutex_.lock();
  const void* owner = owner_.load(std::memory_order_relaxed);
  if (owner == nullptr) {
    if (barrier_available()) owner_.store(self(), std::memory_order_relaxed);
    return;
  }
  if (owner == self() || withdrawn_.load(std::memory_order_relaxed)) return;
  withdrawn_.store(true, std::memory_order_release);
  (void)barrier_on_all_threads();
  // A sleep and not a yield: the owner may be of lower priority, and then it has to get the
  // processor.
  while (inside_.load(std::memory_order_acquire)) base::sleep_us(50);
}

}  // namespace flightlink
