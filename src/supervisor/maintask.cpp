// maintask: the main process of the camera module. Takes no arguments and never returns: it ends
// through a signal. A start operation that fails leaves its service absent, and start-up goes on.
#include <fcntl.h>
#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "camera/cam_client.h"
#include "config/korvanprofile.h"
#include "flightlink/peer_link.h"
#include "flightlink/reliable_udp.h"
#include "media/live_video.h"
#include "media/transfer.h"
#include "supervisor/indicator.h"
#include "supervisor/live_fifo.h"
#include "supervisor/signal_handlers.h"
#include "supervisor/switches.h"

namespace {

// A descriptor of 0 means "not open" in every record: nothing that this process opens may be 0, 1
// or 2.
void fill_standard_descriptors() {
  for (int fd = 0; fd <= 2; fd++) {
    if (fcntl(fd, F_GETFD) == -1) (void)open("/dev/null", O_RDWR);
  }
}

// Inherited by every thread; the acknowledged sender lets it through while it waits.
void block_alarm() {
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
}

}  // namespace

int main() {
  fill_standard_descriptors();
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  block_alarm();

  std::atexit(supervisor::live_fifo_cleanup);
  supervisor::install_crash_handler();
  supervisor::install_exit_handler();
  config::CclInit();
  flightlink::peer_link_start();
  media::live_video_init();
  flightlink::reliable_udp_init();
  media::transfer_start();
  camera::cam_json_init();
  supervisor::read_marker_files();
  supervisor::indicator_start();
  supervisor::live_fifo_run();
}
