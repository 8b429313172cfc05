// The order of the services, with stand-ins for all of them: the linker takes these in place of the
// libraries' own.
#include "supervisor/startup.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

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

namespace {

std::vector<std::string> started;

// Every service fails: a service that does not start is absent, and the others go on.
int start(const char* name) {
  started.emplace_back(name);
  return -1;
}

}  // namespace

namespace camera {
int cam_json_init() { return start("camera client"); }
}  // namespace camera

namespace config {
int CclInit() { return start("profile"); }
}  // namespace config

namespace flightlink {
int peer_link_start() { return start("peer link"); }
int reliable_udp_init() { return start("acknowledged sender"); }
void reliable_udp_block_alarm() { start("block alarm"); }
void set_stream_on(int32_t on) { start(on == 1 ? "live video on" : "?"); }
void firmware_init() { start("firmware"); }
}  // namespace flightlink

namespace media {
int32_t live_video_init() { return start("live video"); }
int32_t transfer_start() { return start("media channel"); }
}  // namespace media

namespace supervisor {

void live_fifo_cleanup() { std::fputs("clean-up at exit", stderr); }
void install_crash_handler() { start("crash handler"); }
void install_exit_handler() { start("exit handler"); }
int indicator_start() { return start("indicator"); }
void read_marker_files() { start("marker files"); }

namespace {

TEST(Startup, ServicesStartInAFixedOrderWhateverFails) {
  started.clear();
  EXPECT_EXIT(
      {
        start_services();
        std::string order;
        for (const std::string& name : started) order += name + ", ";
        std::fputs(order.c_str(), stderr);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0),
      "^crash handler, exit handler, profile, peer link, live video, acknowledged sender, "
      "media channel, live video on, camera client, marker files, firmware, indicator, "
      "clean-up at exit$");
}

TEST(Startup, TheAlarmIsBlockedFirst) {
  started.clear();
  prepare_process();
  EXPECT_EQ(started, std::vector<std::string>{"block alarm"});
}

TEST(Startup, MissingStandardDescriptorsAreFilled) {
  EXPECT_EXIT(
      {
        close(0);
        close(2);
        prepare_process();
        const bool filled = fcntl(0, F_GETFD) != -1 && fcntl(2, F_GETFD) != -1;
        std::exit(filled && open("/dev/null", O_RDONLY | O_CLOEXEC) > 2 ? 7 : 8);
      },
      ::testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace supervisor
