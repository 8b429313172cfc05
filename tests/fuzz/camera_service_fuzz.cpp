// Any bytes from the camera service, with the effects of its answers: each line of the input is one
// read, cut into objects. In between the application asks for something:
//
//   !AB   action A with the value of byte B (kActions)
//   =TEXT a line of the card's settings file, which the next load reads
//
// At every moment what leaves is whole; the time that one read costs is bounded; and once the
// connection is lost nothing waits for an answer any more.
#include <algorithm>
#include <fstream>
#include <string>

#include "camera/client.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/cutting.h"
#include "camera/service_state.h"
#include "camera/set_commands.h"
#include "camera/settings_file.h"
#include "camera/settings_table.h"
#include "camera/status_record.h"
#include "camera/watch.h"
#include "fake_base/fake_base.h"
#include "fuzz/aircraft.h"
#include "supervisor/state/camera_flags.h"

namespace {

using namespace camera;  // NOLINT

constexpr const char* kSettingsFile = "/pref/cam.conf";
constexpr size_t kReadSize = 4096;
constexpr uint64_t kObjectUs = 5000000;
constexpr uint64_t kMinuteUs = 61000000;

void time_lapse(int32_t value) {
  cam_timelapse_control({.cmd = value % 4, .interval = value / 4, .parameters = {3, {1, 2, 3, 4}}});
}

void reconnect(int32_t) {
  fuzz::disconnect_camera();
  cam_connection_lost();
  fuzz::connect_camera();
}

void overdue(int32_t) {
  fake_base::advance_us(kMinuteUs);
  if (cam_overdue_answer(base::monotonic_us()) != nullptr) reconnect(0);
}

void tick(int32_t) {
  cam_record_tick({});
  cam_status_report({});
}

void photo_flags(int32_t value) {
  supervisor::set_photo_mode(value % 5);
  supervisor::set_photo_sequence(value);
  supervisor::set_record_ack_via_uart(value % 2);
}

void settle(int32_t value) {
  for (const Setting setting : {kResolution, kAeMode, kCameraMode, kShutter, kLowLight}) {
    request(setting, value % 11);
    confirm(setting, value % 11);
  }
}

template <auto Send>
void plain(int32_t) {
  Send();
}

template <auto Send>
void with(int32_t value) {
  Send(value);
}

using Action = void (*)(int32_t value);
constexpr Action kActions[] = {
    plain<cam_photo_request>,
    plain<cam_record_request>,
    plain<cam_start_record>,
    plain<cam_stop_record>,
    plain<cam_take_photo>,
    plain<cam_query_sd>,
    plain<cam_format_sd>,
    plain<cam_request_default_setting>,
    plain<cam_stop_timelapse>,
    plain<cam_stop_preview>,
    with<cam_switch_mode>,
    with<cam_query_space>,
    with<cam_set_stream_bitrate>,
    with<cam_request_resolution>,
    with<cam_set_resolution>,
    with<cam_set_color_style>,
    with<cam_set_video_quality>,
    with<cam_set_white_balance>,
    with<cam_set_iso>,
    with<cam_set_exposure>,
    with<cam_apply_ae_mode>,
    with<cam_set_shutter>,
    with<cam_request_low_light>,
    with<cam_set_max_agc>,
    with<cam_set_timelapse_interval>,
    time_lapse,
    reconnect,
    overdue,
    tick,
    photo_flags,
    settle,
};

void act(std::span<const uint8_t> line) {
  fuzz::Input input(line.data(), line.size());
  const uint8_t action = input.byte();
  // Letters name the first ones, so that a text can be read.
  kActions[(action >= 'A' ? action - 'A' : action) % std::size(kActions)](
      static_cast<int8_t>(input.byte()));
}

// One read: terminated, in a block of its own size.
void say(std::span<const uint8_t> line) {
  const std::string read(fuzz::text_of(line.first(std::min(line.size(), kReadSize))));
  const uint64_t begin = base::monotonic_us();
  cam_handle_message(&cam_json_context, read.c_str(), read.size());
  const auto objects = static_cast<uint64_t>(std::count(read.begin(), read.end(), '}'));
  fuzz::check(base::monotonic_us() - begin <= (objects + 1) * kObjectUs, "a read takes long");
  fuzz::check(cam_get_op_state() <= kCamOpHighest, "operation code");
}

void load_settings(const std::string& text) {
  if (text.empty()) return;
  std::ofstream(kSettingsFile) << text;
  cam_conf_load(&cam_conf_owner);
  std::remove(kSettingsFile);
}

void check_nothing_waits() {
  fuzz::check(supervisor::get_record_cmd_pending() == 0, "a recording waits");
  fuzz::check(supervisor::get_mode_switch_pending() == 0, "a mode switch waits");
  fuzz::check(supervisor::get_setting_pending() == 0, "a setting waits");
  fuzz::check(supervisor::get_photo_pending() == 0, "a photo waits");
  fuzz::check(supervisor::get_sd_query_pending() == 0, "a query waits");
  fuzz::check(cam_get_op_state() == kCamOpIdle, "an operation is in flight");
  fuzz::check(camera_state.pending_photo_after_switch == 0, "a photo waits for its mode");
  fuzz::check(camera_state.pending_record_after_switch == 0, "a recording waits for its mode");
  for (const Setting setting : kMarkedSettings) {
    fuzz::check(unanswered(setting) == 0, "a setting is unanswered");
  }
  fake_base::advance_us(kMinuteUs);
  fuzz::check(cam_overdue_answer(base::monotonic_us()) == nullptr, "an answer is overdue");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  fuzz::reset_aircraft();
  fuzz::Input input(bytes, size);
  std::string settings;
  while (!input.empty()) {
    const auto line = input.until('\n');
    if (line.empty()) continue;
    if (line[0] == '!') {
      act(line.subspan(1));
    } else if (line[0] == '=') {
      settings += std::string(fuzz::text_of(line.subspan(1))) + "\n";
    } else {
      say(line);
    }
  }
  load_settings(settings);
  fuzz::disconnect_camera();
  cam_connection_lost();
  check_nothing_waits();
  return 0;
}
