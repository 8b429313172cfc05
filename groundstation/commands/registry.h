// The command line: one add_* operation per group of commands. Each registers its subcommands; when
// one of them was given, it leaves an action, which runs on a link that is open if needs_link says so.
// The program and every line of the interactive shell use the same registration.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "groundstation/link/camera_link.h"
#include "groundstation/terminal/output.h"
#include "groundstation/usage/values.h"

namespace groundstation {

// What an action works with. Times are monotonic microseconds.
struct Session {
  CameraLink& link;
  Output& out;
  double timeout_s;  // 0: the command's own default

  // When the whole command has to be through, from now on.
  [[nodiscard]] uint64_t deadline(double default_s) const;
};

// The heading of the help under which the commands about settings stand.
inline constexpr const char* kSettingsGroup = "Settings";
// The same for firmware, the application and what else stands around the camera.
inline constexpr const char* kFlightSideGroup = "Flight side and factory";

// A command and what its options fill.
template <typename Request>
using Command = std::pair<CLI::App*, std::shared_ptr<Request>>;

template <typename Request>
Command<Request> add_command(CLI::App& app, const char* name, const char* about) {
  return {app.add_subcommand(name, about), std::make_shared<Request>()};
}

// One about settings.
template <typename Request>
Command<Request> setting_command(CLI::App& app, const char* name, const char* about) {
  Command<Request> made = add_command<Request>(app, name, about);
  made.first->group(kSettingsGroup);
  return made;
}

// One of the flight side, with more in its help.
template <typename Request>
Command<Request> flight_side_command(CLI::App& app, const char* name, const char* about,
                                     const std::string& more) {
  Command<Request> made = add_command<Request>(app, name, about);
  made.first->group(kFlightSideGroup);
  made.first->footer(more);
  return made;
}

// An option that takes a port, with its default in the help.
inline void add_port(CLI::App* command, const char* name, uint16_t* port, const char* about) {
  takes_whole(command->add_option(name, *port, about), 1, 65535)->capture_default_str();
}

// --seconds of a command that otherwise runs until Ctrl-C.
inline void add_seconds(CLI::App* command, double* seconds) {
  takes_seconds(command->add_option("--seconds", *seconds, "End after so long (0: at Ctrl-C)"),
                true);
}

using Action = std::function<ExitCode(Session&)>;

// When the command was given, the action is `run` with what its options say then.
template <typename Request, typename Run>
void run_with(CLI::App* command, const std::shared_ptr<Request>& request, Action* chosen, Run run) {
  command->callback([request, chosen, run] {
    *chosen = [request = *request, run](Session& session) { return run(session, request); };
  });
}

// Whether the command that was given speaks on the camera link, which the program then opens before
// it runs the action. The others (media, app, stick, ack, factory, help) need none or another: their
// link stays closed, and they may run beside another ground station, which has it. In a line of the
// shell the link is open already, whatever the command needs.
[[nodiscard]] bool needs_link(const CLI::App& app);

// Registers every command but the shell; `chosen` outlives the application.
void add_camera_commands(CLI::App& app, Action* chosen);

void add_status_command(CLI::App& app, Action* chosen);
void add_photo_command(CLI::App& app, Action* chosen);
void add_record_commands(CLI::App& app, Action* chosen);  // record, mode
void add_send_commands(CLI::App& app, Action* chosen);    // bitrate, link-quality, position
void add_live_command(CLI::App& app, Action* chosen);
void add_setting_commands(CLI::App& app, Action* chosen);  // set, get, defaults, format
void add_timelapse_command(CLI::App& app, Action* chosen);
void add_params_command(CLI::App& app, Action* chosen);
void add_clock_command(CLI::App& app, Action* chosen);
void add_telemetry_command(CLI::App& app, Action* chosen);
// media; needs the camera's addresses only, not an open link.
void add_media_commands(CLI::App& app, Action* chosen);
// These two open what they need.
void add_record_trace_command(CLI::App& app, Action* chosen);
void add_replay_command(CLI::App& app, Action* chosen);
void add_firmware_commands(CLI::App& app, Action* chosen);
// These four speak on roads of their own, so they need no open link either.
void add_app_command(CLI::App& app, Action* chosen);
void add_stick_command(CLI::App& app, Action* chosen);
void add_ack_command(CLI::App& app, Action* chosen);
void add_factory_command(CLI::App& app, Action* chosen);
void add_help_command(CLI::App& app, Action* chosen);

}  // namespace groundstation
