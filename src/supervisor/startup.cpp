#include "supervisor/startup.h"

#include <fcntl.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>

#include "camera/client.h"
#include "config/korvanprofile.h"
#include "flightlink/firmware/boards.h"
#include "flightlink/links/peer_link.h"
#include "flightlink/wire/link_status.h"
#include "flightlink/wire/reliable_udp.h"
#include "media/channel/transfer.h"
#include "media/live/video_sender.h"
#include "supervisor/fifo/reader.h"
#include "supervisor/signal_handlers.h"
#include "supervisor/state/indicator.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

// A descriptor of 0 means "not open" in every record: nothing that this process opens may be 0, 1
// or 2.
void fill_standard_descriptors() {
  for (int fd = 0; fd <= 2; fd++) {
    if (fcntl(fd, F_GETFD) == -1) (void)open("/dev/null", O_RDWR);
  }
}

// Large buffers (photos, large pictures) go back to the system when they are freed. Left to itself
// the C library takes the largest one so far for a size that comes often, and keeps as much.
void give_large_buffers_back() {
  constexpr int kLarge = 128 * 1024;
  mallopt(M_MMAP_THRESHOLD, kLarge);
}

}  // namespace

void prepare_process() {
  give_large_buffers_back();
  fill_standard_descriptors();
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  flightlink::reliable_udp_block_alarm();
}

void start_services() {
  std::atexit(live_fifo_cleanup);
  install_crash_handler();
  install_exit_handler();
  config::CclInit();
  flightlink::peer_link_start();
  media::live_video_init();
  flightlink::reliable_udp_init();
  media::transfer_start();
  // Live video flows only from here on: the card has been read, which may have taken a while.
  flightlink::set_stream_on(1);
  camera::cam_json_init();
  read_marker_files();
  flightlink::firmware_init();
  indicator_start();
}

}  // namespace supervisor
