// maintask: the main process of the camera module. Takes no arguments and never returns: it ends
// through a signal.
#include "supervisor/fifo/reader.h"
#include "supervisor/startup.h"

int main() {
  supervisor::prepare_process();
  supervisor::start_services();
  supervisor::live_fifo_run();
}
