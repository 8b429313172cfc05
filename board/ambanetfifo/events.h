// The event loop, on the thread of the caller of AmbaNetFifo_ExecEventProcess.
#pragma once

namespace ambanetfifo {

// Makes entries and delivers events until the loop is stopped or the library released. Returns at
// once when init has not been called, or a loop runs already.
void run_event_loop();

}  // namespace ambanetfifo
