#include "groundstation/commands/registry.h"

#include <algorithm>
#include <array>

#include "base/bytes.h"
#include "base/clock.h"

namespace groundstation {

uint64_t Session::deadline(double default_s) const {
  const double seconds = timeout_s > 0 ? timeout_s : default_s;
  return base::monotonic_us() + base::saturate<uint64_t>(seconds * 1e6);
}

bool needs_link(const CLI::App& app) {
  constexpr std::array kOwnRoads{"media",   "app",  "stick",  "ack",
                                 "factory", "help", "replay", "record-trace"};
  return std::none_of(kOwnRoads.begin(), kOwnRoads.end(),
                      [&](const char* name) { return app.got_subcommand(name); });
}

void add_camera_commands(CLI::App& app, Action* chosen) {
  add_status_command(app, chosen);
  add_photo_command(app, chosen);
  add_record_commands(app, chosen);
  add_send_commands(app, chosen);
  add_live_command(app, chosen);
  add_telemetry_command(app, chosen);
  add_media_commands(app, chosen);
  add_record_trace_command(app, chosen);
  add_replay_command(app, chosen);
  add_setting_commands(app, chosen);
  add_timelapse_command(app, chosen);
  add_params_command(app, chosen);
  add_clock_command(app, chosen);
  add_firmware_commands(app, chosen);
  add_app_command(app, chosen);
  add_stick_command(app, chosen);
  add_ack_command(app, chosen);
  add_factory_command(app, chosen);
  add_help_command(app, chosen);
}

}  // namespace groundstation
