#include "groundstation/shell/program.h"

#include <fmt/format.h>

#include "groundstation/link/endpoint.h"
#include "groundstation/shell/shell.h"
#include "groundstation/usage/help.h"
#include "groundstation/usage/values.h"

namespace groundstation {
namespace {

constexpr const char* kAbout =
    "Ground station for the camera module. Takes photos, records, sets and shows every setting and "
    "receives the live video, over the camera's own MAVLink link (UDP).";

constexpr const char* kMore = R"(
Examples:
  groundstation status --watch
  groundstation position 47.6205 -122.3493 120.5
  groundstation photo
  groundstation photo --mode PW --sequence 3
  groundstation set white_balance Cloudy && groundstation get white_balance iso
  groundstation record start && sleep 10 && groundstation record stop
  groundstation live --seconds 10 -o live.h264
  groundstation live -o - | ffplay -f h264 -
  groundstation firmware send image.bin
  printf 'mode video\nrecord start\nrecord stop\n' | groundstation shell

Network:
  The camera sends to one fixed address, 192.168.31.111, UDP ports 8888
  (messages) and 8856 (live video). This machine needs that address in the
  camera's network; one ground station at a time can hold the link.

Refusals:
  The camera refuses without a word. It is not ready while its encoder delivers
  no live video, while a recording command, a mode switch, a photo or a setting
  is under way, or while the camera service on the board does not answer; a
  command then ends with a sentence that says what to check.

Exit status:
  0    done
  1    the camera refused or failed, or a file could not be written
  2    wrong usage
  3    no camera, or no answer in time
  4    not now: the camera's status says that it would refuse; nothing was sent
  130  interrupted

JSON:
  With --json one object comes a line. Each has "command" and "ok" and, after a
  failure, "error" and "exit_code"; docs/ground_station.md describes them.
)";

std::string endpoint_trouble(const std::string& text) {
  return parse_endpoint(text, kPeerPort).has_value()
             ? std::string()
             : fmt::format("{} is not ADDRESS or ADDRESS:PORT (IPv4)", text);
}

CLI::Option* takes_endpoint(CLI::Option* option) {
  return option->type_name("ADDRESS")->check(endpoint_trouble)->capture_default_str();
}

}  // namespace

void build_program(CLI::App& app, ProgramOptions* options, Action* action) {
  app.name(kProgramName);
  app.description(kAbout);
  app.formatter(std::make_shared<HelpFormatter>());
  app.fallthrough();
  app.require_subcommand(1);
  app.get_help_ptr()->description("Help of this command");
  app.set_version_flag("--version", "groundstation " HOUSE_VERSION, "Print the version");
  takes_endpoint(
      app.add_option("--camera", options->camera, "The camera's address; port 8888 if not given")
          ->envname("GROUNDSTATION_CAMERA"));
  takes_endpoint(
      app.add_option("--bind,--local", options->local, "Own address; port 8888 if not given"));
  takes_whole(
      app.add_option("--link-level", options->link_level,
                     "Level that our heartbeats carry; at 10 the camera streams with 1024 kbit/s"),
      0, 15)
      ->capture_default_str();
  takes_seconds(app.add_option("--timeout", options->timeout_s,
                               "How long to wait for the camera (by command, 5 to 20)"),
                false);
  app.add_flag("--json", options->json, "Print results as JSON");
  app.add_option("--trace", options->trace,
                 "Record the link, media channel and live video of this command as a pcap file")
      ->type_name(kFileValue);
  add_camera_commands(app, action);
  add_shell_command(app, action);
  // Behind the commands, which would have it, too.
  app.set_help_all_flag("--help-all", "Help of every command");
  app.footer(kMore);  // last: commands that are registered later would take it over
}

}  // namespace groundstation
