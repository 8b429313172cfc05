#include "camera/client.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/relaxed.h"
#include "base/thread.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/cutting.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "camera/status_record.h"
#include "camera/watch.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/turns.h"

namespace camera {
namespace {

constexpr uint16_t kServicePort = 7878;
constexpr int kPollMs = 2000;
constexpr time_t kSendTimeoutS = 2;
constexpr size_t kReadSize = 4096;
constexpr int kManySilent = 10;
using base::kRelaxed;

bool connect_to_service(const base::Descriptor& connection) {
  // A service that does not read must not hold the senders: a send that cannot go on for that long
  // has failed, and the connection is made anew.
  timeval timeout{};
  timeout.tv_sec = kSendTimeoutS;
  setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
  sockaddr_in service{};
  service.sin_family = AF_INET;
  service.sin_port = htons(kServicePort);
  service.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return connect(connection.get(), reinterpret_cast<const sockaddr*>(&service), sizeof(service)) ==
         0;
}

// Returns when the connection has ended: whether it has brought anything.
bool serve(CamJsonContext& context, int connection) {
  static char text[kReadSize + 1];  // receive thread only; a full read is still a terminated text
  bool heard = false;
  while (context.ConnState.load(kRelaxed) == kCamConnected) {
    supervisor::turned();
    pollfd readable{connection, POLLIN, 0};
    const int ready = poll(&readable, 1, kPollMs);
    if (ready < 0) break;
    // Answers that came while this thread was busy with others are not late: they are handled
    // first, and judged by the time before that.
    const uint64_t now = base::monotonic_us();
    if (ready > 0) {
      const ssize_t received = recv(connection, text, kReadSize, 0);
      if (received < 1) break;
      heard = true;
      text[received] = '\0';
      cam_handle_message(&context, text, static_cast<size_t>(received));
    }
    const char* overdue = cam_overdue_answer(now);
    if (overdue != nullptr) {
      std::printf("%s(line=%d):no answer for %d s: %s!\n", "cam_json_thread", 160, kAnswerLimitS,
                  overdue);
      break;
    }
  }
  return heard;
}

// A service that takes connections only to close them must not keep this thread, which other work
// has to wait for, from ever pausing. `silent` counts the connections in a row that brought
// nothing.
void pause_after_silence(int silent) {
  if (silent >= kManySilent) {
    base::sleep_s(2);
  } else if (silent > 0) {
    base::sleep_ms(1);
  }
}

}  // namespace

int cam_json_init() {
  std::signal(SIGPIPE, SIG_IGN);
  CamJsonContext& context = cam_json_context;
  cam_json_reset();
  cam_settings_init();
  flightlink::mavlink_timer_create(&context.RecordTickTimer, cam_record_tick);
  flightlink::mavlink_timer_create(&context.StatusTimer, cam_status_report);
  return base::start_worker(cam_json_thread, &context, 2, &context.RecvThread);
}

void cam_connection_lost() {
  supervisor::set_record_cmd_pending(0);
  supervisor::set_mode_switch_pending(0);
  supervisor::set_setting_pending(0);
  supervisor::set_photo_pending(0);
  supervisor::set_sd_query_pending(0);
  // A service that was started anew does not know the time.
  supervisor::set_clock_set_ok(0);
  camera_state.pending_photo_after_switch.store(0, kRelaxed);
  camera_state.pending_record_after_switch.store(0, kRelaxed);
  // A time-lapse ends here: its operation code is cleared, so no slice follows.
  camera_state.TimelapseState.store(kTimelapseIdle, kRelaxed);
  camera_state.TimelapseStopSent.store(0, kRelaxed);
  base::set_waiting(cam_json_context.SessionRequest, 0);
  forget_unanswered();
  cam_clear_op_state();
}

// SCHED_RR 2. Owns the connection; publishes its descriptor under SendLock. Handles every reply and
// notification, with their sleeps. Ends only when a socket cannot be created.
void* cam_json_thread(void* argument) {
  auto& context = *static_cast<CamJsonContext*>(argument);
  base::detach_self();
  base::name_self("cam_json_thread");
  supervisor::turn_as(supervisor::kCameraClient);
  cam_json_withdraw();
  for (int silent = 0;;) {
    supervisor::turned();
    base::Descriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connection.open()) return nullptr;
    if (!connect_to_service(connection)) {
      base::sleep_s(2);
      continue;
    }
    cam_start_session(connection.get());
    silent = serve(context, connection.get()) ? 0 : std::min(silent + 1, kManySilent);
    // Withdrawn before it is closed: no sender can still hold the number.
    cam_json_withdraw();
    cam_connection_lost();
    connection.reset();
    pause_after_silence(silent);
  }
}

}  // namespace camera
