// groundstation: speaks to the camera as its peer on the Wi-Fi network does.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "groundstation/link/endpoint.h"
#include "groundstation/shell/program.h"
#include "groundstation/terminal/interrupts.h"
#include "groundstation/usage/errors.h"
#include "groundstation/usage/help.h"

namespace {

using groundstation::ExitCode;
using groundstation::kProgramName;

// `needs_link`: false for a command that works beside another ground station, which has the link.
ExitCode run(const groundstation::ProgramOptions& options, const std::string& command,
             const groundstation::Action& action, bool needs_link) {
  groundstation::Output out(options.json);
  out.set_command(command);
  groundstation::LinkOptions link_options{};
  link_options.camera =
      groundstation::parse_endpoint(options.camera, groundstation::kPeerPort).value();
  link_options.local =
      groundstation::parse_endpoint(options.local, groundstation::kPeerPort).value();
  link_options.link_level = static_cast<uint8_t>(options.link_level);
  groundstation::Trace trace;
  if (!options.trace.empty()) {
    if (const std::string trouble = trace.open(options.trace, false); !trouble.empty()) {
      return out.fail(command, ExitCode::kRefused, "--trace: " + trouble);
    }
    link_options.trace = &trace;
  }
  groundstation::catch_interrupts();
  groundstation::CameraLink link(link_options);
  if (const std::string trouble = needs_link ? link.open() : ""; !trouble.empty()) {
    return out.fail(command, ExitCode::kNoCamera, trouble);
  }
  groundstation::Session session{link, out, options.timeout_s};
  const ExitCode code = action(session);
  if (trace.trouble().empty()) return code;
  fmt::print(stderr, "groundstation: --trace: {}\n", trace.trouble());
  return code == ExitCode::kDone ? ExitCode::kRefused : code;
}

// The words may be wrong before the one that asks for JSON, so all of them are looked at.
bool wants_json(int argc, char** argv) {
  return std::any_of(argv + 1, argv + argc,
                     [](const char* word) { return std::string_view(word) == "--json"; });
}

// The help or the version that was asked for, or what is wrong.
ExitCode not_run(const CLI::App& app, const CLI::ParseError& error, bool json) {
  if (error.get_exit_code() == 0) {
    app.exit(error);
    return ExitCode::kDone;
  }
  const groundstation::UsageError wrong = groundstation::usage_error(app, error);
  const groundstation::Output out(json);
  if (wrong.nothing_given && !json) {
    fmt::print(stderr, "{}",
               groundstation::short_help(groundstation::command_table(app), kProgramName));
    return ExitCode::kUsage;
  }
  return groundstation::tell_usage_error(out, wrong, kProgramName);
}

}  // namespace

int main(int argc, char** argv) {
  groundstation::ProgramOptions options;
  groundstation::Action action;
  CLI::App app;
  build_program(app, &options, &action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return static_cast<int>(not_run(app, error, wants_json(argc, argv)));
  }
  const std::string command = groundstation::command_path(groundstation::given_command(app));
  return static_cast<int>(run(options, command, action, groundstation::needs_link(app)));
}
