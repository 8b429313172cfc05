#include "supervisor/live_tracks.h"

namespace supervisor {

LiveFifoState live_fifo{};

}  // namespace supervisor
