// telemetry: plays flight data for the camera's logs.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/messages/telemetry_file.h"

namespace groundstation {
namespace {

constexpr double kTelemetryMeetS = 5;

struct TelemetryRequest {
  std::string path;
  double rate = 10;
  int times = 1;
};

constexpr const char* kFormatHelp = R"(
FILE is text with one message per line:
  105,TIME,F1,...,F13,VALUE   for the gimbal's log; VALUE 0 to 65535
  107,TIME,F1,...,F13,VALUE   for the flight controller's log; VALUE has 32 bits
                              and a sign
  90[,TIME]                   flight data that the camera does not log
TIME is any number from 0, F1 to F13 are decimal numbers. Empty lines and lines that begin with #
are skipped. Nothing acknowledges the messages; the lines in the logs on the camera's card show them.
)";

ExitCode play(Session& session, const TelemetryRequest& request) {
  errno = 0;
  std::ifstream input(request.path);
  if (!input) {
    return session.out.fail("telemetry", ExitCode::kRefused,
                            fmt::format("{}: {}", request.path, std::strerror(errno)));
  }
  const TelemetryFile file = read_telemetry(input);
  if (!file.error.empty()) {
    return session.out.fail("telemetry", ExitCode::kRefused,
                            fmt::format("{}, {}", request.path, file.error));
  }
  if (Failure failure = meet_camera(session, "telemetry", session.deadline(kTelemetryMeetS))) {
    return *failure;
  }
  const auto gap_us = base::saturate<uint64_t>(1e6 / request.rate);
  uint64_t next_us = base::monotonic_us();
  size_t sent = 0;
  for (int round = 0; round < request.times; round++) {
    for (const Telemetry& message : file.messages) {
      session.link.send(telemetry_message(message));
      sent++;
      next_us += gap_us;
      const Wait wait = session.link.wait(next_us, [](const CameraEvent&) { return false; });
      if (wait == Wait::kInterrupted) return no_answer(session, "telemetry", wait, "");
    }
  }
  return session.out.done("telemetry",
                          fmt::format("{} messages sent; nothing acknowledges them", sent),
                          {{"messages", sent}});
}

}  // namespace

void add_telemetry_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = add_command<TelemetryRequest>(
      app, "telemetry", "Play flight data from a file into the camera's logs.");
  command->add_option("FILE", request->path, "The messages, as below")->required();
  takes_number(command->add_option("--rate", request->rate, "Messages per second"), 0.1, 10000)
      ->capture_default_str();
  takes_whole(command->add_option("--times", request->times, "Play the file so often"), 1, 1000000)
      ->capture_default_str();
  command->footer(kFormatHelp);
  run_with(command, request, chosen, play);
}

}  // namespace groundstation
