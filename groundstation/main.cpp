// groundstation: speaks to the camera as its peer on the Wi-Fi network does.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "groundstation/commands/registry.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/shell/shell.h"
#include "groundstation/terminal/interrupts.h"

namespace {

using groundstation::ExitCode;

constexpr const char* kAbout =
    "Ground station for the camera module: takes photos, records, sets and shows every setting\n"
    "and receives the live video, over the camera's own MAVLink link (UDP).\n";

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
  printf 'mode video\nrecord start\nlive --seconds 5 -o a.h264\nrecord stop\n' | groundstation shell

The camera sends to one fixed address, 192.168.31.111, UDP ports 8888 (messages) and 8856 (live
video). This machine needs that address in the camera's network; one ground station at a time can
hold the link.

The camera refuses without a word. It is not ready while its encoder delivers no live video, while
a recording command, a mode switch, a photo or a setting is under way, or while the camera service
on the board does not answer; a command then ends with a sentence that says what to check.

Exit status: 0 done; 1 the camera refused or failed, or a file could not be written; 2 wrong usage;
3 no camera or no answer in time; 4 not now: the camera's status says that it would refuse; 130
interrupted. With --json one object comes per result, with "ok", "command" and, after a failure,
"error" and "exit_code".
)";

struct Options {
  std::string camera = "192.168.31.1";
  std::string local = "0.0.0.0";
  int link_level = 0;
  double timeout_s = 0;
  bool json = false;
  std::string trace;  // empty: none
};

const CLI::Validator kEndpoint(
    [](std::string& text) {
      return groundstation::parse_endpoint(text, groundstation::kPeerPort).has_value()
                 ? std::string()
                 : fmt::format("{} is not ADDRESS or ADDRESS:PORT (IPv4)", text);
    },
    "ADDRESS[:PORT]");

void add_options(CLI::App& app, Options* options) {
  app.fallthrough();
  app.require_subcommand(1);
  app.set_help_all_flag("--help-all", "Help of every command");
  app.set_version_flag("--version", "groundstation " HOUSE_VERSION, "Print the version");
  app.add_option("--camera", options->camera, "The camera's address; port 8888 if not given")
      ->envname("GROUNDSTATION_CAMERA")
      ->check(kEndpoint)
      ->capture_default_str();
  app.add_option("--bind,--local", options->local, "Own address; port 8888 if not given")
      ->check(kEndpoint)
      ->capture_default_str();
  app.add_option("--link-level", options->link_level,
                 "Level that our heartbeats carry; at 10 the camera streams with 1024 kbit/s")
      ->check(CLI::Range(0, 15))
      ->capture_default_str();
  app.add_option("--timeout", options->timeout_s,
                 "Seconds to wait for the camera (default: by command, 5 to 20)")
      ->check(CLI::PositiveNumber);
  app.add_flag("--json", options->json, "Print results as JSON");
  app.add_option("--trace", options->trace,
                 "Record the link, media channel and live video of this command as a pcap file");
}

// `needs_link`: false for a command that works beside another ground station, which has the link.
ExitCode run(const Options& options, const groundstation::Action& action, bool needs_link) {
  groundstation::Output out(options.json);
  groundstation::LinkOptions link_options{};
  link_options.camera =
      groundstation::parse_endpoint(options.camera, groundstation::kPeerPort).value();
  link_options.local =
      groundstation::parse_endpoint(options.local, groundstation::kPeerPort).value();
  link_options.link_level = static_cast<uint8_t>(options.link_level);
  groundstation::Trace trace;
  if (!options.trace.empty()) {
    if (const std::string trouble = trace.open(options.trace, false); !trouble.empty()) {
      return out.fail("groundstation", ExitCode::kRefused, "--trace: " + trouble);
    }
    link_options.trace = &trace;
  }
  groundstation::catch_interrupts();
  groundstation::CameraLink link(link_options);
  if (const std::string trouble = needs_link ? link.open() : ""; !trouble.empty()) {
    return out.fail("groundstation", ExitCode::kNoCamera, trouble);
  }
  groundstation::Session session{link, out, options.timeout_s};
  const ExitCode code = action(session);
  if (trace.trouble().empty()) return code;
  fmt::print(stderr, "groundstation: --trace: {}\n", trace.trouble());
  return code == ExitCode::kDone ? ExitCode::kRefused : code;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  groundstation::Action action;
  CLI::App app(kAbout, "groundstation");
  add_options(app, &options);
  groundstation::add_camera_commands(app, &action);
  groundstation::add_shell_command(app, &action);
  app.footer(kMore);  // last: commands that are registered later would take it over
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::kUsage);
  }
  return static_cast<int>(run(options, action, groundstation::needs_link(app)));
}
