#include "flightlink/wire/link_status.h"

#include <cstring>

#include "flightlink/wire/link_timer.h"

namespace flightlink {

LinkStatus link_status{};

void link_status_init() {
  std::memset(link_status.client_block, 0, sizeof(link_status.client_block));
  link_status.initialised.store(1, std::memory_order_relaxed);
}

void link_status_deinit() { link_status.initialised.store(0, std::memory_order_relaxed); }

int32_t get_link_status() { return link_status.status.load(std::memory_order_relaxed); }

void set_link_status(int32_t status) {
  link_status.status.store(status, std::memory_order_relaxed);
}

void clear_link_status() {
  if (link_status.initialised.load(std::memory_order_relaxed) == 0) {
    set_link_status(0);
    return;
  }
  if (mutex_lock_retry(&link_status.mutex, 0) != 1) return;  // it tries for ever
  set_link_status(0);
  link_status.mutex.unlock();
}

int32_t get_stream_on() { return link_status.stream_on.load(std::memory_order_relaxed); }

void set_stream_on(int32_t on) { link_status.stream_on.store(on, std::memory_order_relaxed); }

}  // namespace flightlink
