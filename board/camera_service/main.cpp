// camera_service: stands in for the chip vendor's camera service. See --help and "ctl help".
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include <poll.h>
#include <sys/signalfd.h>

#include "base/descriptor.h"
#include "camera_service/control.h"
#include "camera_service/ctl.h"
#include "camera_service/loop.h"
#include "camera_service/say.h"
#include "camera_service/service.h"

namespace {

using camera_service::say;

struct Options {
  uint16_t port = 7878;
  std::string card = "/tmp/SD0";
  std::string control = "/tmp/camera_service.ctl";
  std::string script;
};

// A recording that will not end must not keep the program alive.
constexpr uint64_t kEndTimeoutMs = 5000;

// SIGTERM and SIGINT as a descriptor; blocked in every thread that is started after this.
base::Descriptor end_signals() {
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return base::Descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

int serve(const Options& options) {
  const base::Descriptor signals = end_signals();
  camera_service::Loop loop;
  camera_service::Service service(loop, options.port, options.card);
  camera_service::Control control(loop, service);
  if (!service.open()) return 1;
  if (!control.open(options.control)) {
    say("cannot listen on {}: {}", options.control, std::strerror(errno));
    return 1;
  }
  if (!options.script.empty() && !camera_service::run_control_file(service, options.script))
    return 1;
  loop.watch(signals.get(), POLLIN, [&](short) {
    loop.unwatch(signals.get());
    say("ending");
    loop.after_ms(kEndTimeoutMs, [&loop] { loop.stop(); });
    service.camera().end([&loop] { loop.stop(); });
  });
  say("camera_service ready on 127.0.0.1:{}, card {}, control {}", service.server().port(),
      options.card, options.control);
  loop.run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Options options;
  CLI::App app(
      "Stands in for the camera service of the board: commands as JSON texts over TCP on the\n"
      "loopback address, real photos and videos on the card, faults on request.");
  app.set_version_flag("--version", "camera_service " HOUSE_VERSION, "Print the version");
  app.add_option("--port", options.port, "Port on 127.0.0.1; 0 takes a free one")
      ->capture_default_str();
  app.add_option("--card", options.card,
                 "Folder of the SD card, which is in if it exists; a format command ERASES it")
      ->capture_default_str();
  app.add_option("--control", options.control, "Path of the control socket")->capture_default_str();
  app.add_option("--script", options.script, "File with control commands to carry out at start")
      ->check(CLI::ExistingFile);
  CLI::App* ctl =
      app.add_subcommand("ctl", "Sends a control command to a running service: ctl help");
  ctl->add_option("--control", options.control, "Path of the control socket");
  ctl->prefix_command();
  CLI11_PARSE(app, argc, argv);

  try {
    if (!ctl->parsed()) return serve(options);
    std::string line;
    for (const std::string& word : ctl->remaining()) line += (line.empty() ? "" : " ") + word;
    return camera_service::run_ctl(options.control, line.empty() ? "help" : line);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "camera_service: %s\n", error.what());
    return 1;
  }
}
