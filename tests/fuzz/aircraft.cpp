#include "fuzz/aircraft.h"

#include <utility>

#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "camera/status_record.h"
#include "fake_base/fake_base.h"
#include "flightlink/wire/aircraft_position.h"
#include "flightlink/wire/link_context.h"
#include "flightlink/wire/link_status.h"
#include "media/card/store.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/switches.h"

namespace fuzz {
namespace {

bool check_sent(int wire, std::span<const uint8_t> bytes) {
  if (wire == kCameraWire) {
    check_camera_text(text_of(bytes));
  } else {
    check_frame(bytes);
  }
  return true;
}

void open_link() {
  flightlink::MavlinkContext& link = flightlink::mavlink_context;
  link.peer_socket.store(kPeerWire);
  link.KRConnFd.store(kAppWire);
  link.link_state.store(2);
  link.send_enabled.store(1);
}

// As their owners do it, disarmed.
void make_timers() {
  camera::CamJsonContext& camera = camera::cam_json_context;
  for (auto* timer : {&camera.RecordTickTimer, &camera.StatusTimer, &camera.TimelapseTimer}) {
    flightlink::mavlink_timer_create(timer, camera::cam_record_tick);
  }
}

}  // namespace

void reset_aircraft() {
  fake_base::reset();
  on_send(check_sent);
  on_command({});
  supervisor::camera_flags_reset();
  supervisor::switches.reset();
  supervisor::set_video_flowing(1);
  flightlink::link_context_init();
  flightlink::link_status.reset();
  flightlink::aircraft_position_reset();
  camera::cam_settings_init();
  camera::camera_state.reset();
  camera::cam_json_reset();
  media::media_store_reset();
  open_link();
  make_timers();
  connect_camera();
}

void connect_camera() {
  camera::cam_start_session(kCameraWire);
  camera::cam_json_context.Token.store(7);
}

void disconnect_camera() { camera::cam_json_withdraw(); }

void on_command(Command command) {
  fake_base::on_command([command = std::move(command)](const std::string& text) {
    check_command(text);
    if (command) command(text);
  });
}

void on_pause(std::function<void()> pause) {
  fake_base::on_sleep([pause = std::move(pause)](uint64_t) { pause(); });
}

}  // namespace fuzz
