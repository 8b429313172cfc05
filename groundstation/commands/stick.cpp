// stick: datagrams for the flight controller's serial line.
#include <fmt/format.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/registry.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/messages/hex_text.h"

namespace groundstation {
namespace {

constexpr const char* kStickName = "stick";
constexpr uint16_t kStickPort = 8867;

constexpr const char* kStickHelp = R"(
The camera writes each datagram to the flight controller's line as it is, while an application's
session is confirmed (groundstation app, in another terminal); otherwise it drops it. Nothing
acknowledges a datagram.

  groundstation stick fe0200010046 --rate 50 --times 250
)";

struct StickRequest {
  uint16_t port = kStickPort;
  std::vector<std::string> texts;
  std::vector<std::vector<uint8_t>> datagrams;
  double rate = 50;
  uint32_t times = 1;
};

ExitCode run_stick(Session& session, const StickRequest& request) {
  sockaddr_in to = session.link.options().camera;
  to.sin_port = htons(request.port);
  const base::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto period = base::saturate<uint64_t>(1e6 / request.rate);
  uint64_t next = base::monotonic_us();
  uint64_t sent = 0;
  uint64_t bytes = 0;
  bool interrupted = false;
  for (uint32_t round = 0; round < request.times && !interrupted; round++) {
    for (const std::vector<uint8_t>& datagram : request.datagrams) {
      const ssize_t result = ::sendto(socket.get(), datagram.data(), datagram.size(), 0,
                                      reinterpret_cast<const sockaddr*>(&to), sizeof to);
      if (result < 0) {
        return session.out.fail(
            kStickName, ExitCode::kNoCamera,
            fmt::format(
                "cannot send to {}: {}. Check that this machine is in the camera's network.",
                endpoint_text(to), std::strerror(errno)));
      }
      sent++;
      bytes += datagram.size();
      next += period;
      if (session.link.wait(next, [](const CameraEvent&) { return false; }) == Wait::kInterrupted) {
        interrupted = true;
        break;
      }
    }
  }
  const nlohmann::json fields{{"datagrams", sent}, {"bytes", bytes}};
  if (interrupted) {
    return session.out.fail(kStickName, ExitCode::kInterrupted,
                            fmt::format("interrupted after {} datagrams", sent), fields);
  }
  return session.out.done(
      kStickName,
      fmt::format("{} datagrams, {} bytes sent; the camera passes them on while "
                  "an application's session is confirmed",
                  sent, bytes),
      fields);
}

}  // namespace

void add_stick_command(CLI::App& app, Action* chosen) {
  constexpr size_t kMostBytes = 65507;
  const auto [command, request] = flight_side_command<StickRequest>(
      app, "stick", "Send stick data to the flight controller. The camera passes it on.",
      kStickHelp);
  command->add_option("HEX", request->texts, "A datagram each, in hexadecimal digits")->required();
  add_port(command, "--port", &request->port, "UDP port of the camera's stick socket");
  takes_number(command->add_option("--rate", request->rate, "Datagrams a second"), 0.1, 1000)
      ->capture_default_str();
  takes_whole(command->add_option("--times", request->times, "Send all of them so often"), 1,
              1'000'000)
      ->capture_default_str();
  command->callback([request = request, chosen] {
    request->datagrams.clear();
    for (const std::string& text : request->texts) {
      auto bytes = parse_hex(text);
      if (!bytes.has_value() || bytes->empty() || bytes->size() > kMostBytes) {
        throw CLI::ValidationError("HEX", fmt::format("{} is no datagram in hexadecimal", text));
      }
      request->datagrams.push_back(std::move(*bytes));
    }
    *chosen = [request = *request](Session& session) { return run_stick(session, request); };
  });
}

}  // namespace groundstation
