#include "supervisor/fifo/tracks.h"

namespace supervisor {

LiveFifoState live_fifo{};

}  // namespace supervisor
