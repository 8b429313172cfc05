// Start-up, shared by the programs of the camera module. Main thread only.
#pragma once

namespace supervisor {

// First thing of every program: makes standard output line-buffered, fills missing descriptors 0 to
// 2 from /dev/null and blocks SIGALRM in this and all later threads.
void prepare_process();

// Starts every service of the main task in its order; what is left is to become the FIFO reader
// (live_fifo_run). A start operation that fails leaves its service absent, and start-up goes on.
void start_services();

}  // namespace supervisor
