#include "media/remux/job.h"

namespace media {

RemuxJob remux_job{};

void remux_report(uint32_t state) {
  remux_job.state.store(state, std::memory_order_relaxed);
  remux_job.on_state(state);
}

}  // namespace media
