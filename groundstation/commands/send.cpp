// bitrate, link-quality and position: messages that the camera takes without an answer.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "base/clock.h"
#include "groundstation/commands/exchange.h"

namespace groundstation {
namespace {

constexpr double kMeetTimeoutS = 5;
// Nothing acknowledges a position, and the same one again changes nothing.
constexpr int kPositionSends = 3;
constexpr uint64_t kPositionPauseUs = 50'000;

// The camera counts good and poor reports, so each one has to arrive by itself.
constexpr uint64_t kQualityPauseUs = 20'000;

struct QualityRequest {
  LinkQuality quality;
  std::vector<int> losses;
  int times = 1;
};

struct Position {
  double latitude = 0;
  double longitude = 0;
  double altitude = 0;
};

std::string bitrate_text(int signal) {
  if (signal < 2 || signal > 100) return "the camera ignores values outside 2 to 100";
  const int rate = signal < 40 ? 512 : signal < 70 ? 1024 : 2048;
  return fmt::format("the camera streams with {} kbit/s (1024 at link level 10)", rate);
}

ExitCode send_bitrate(Session& session, int signal) {
  if (Failure failure = meet_camera(session, "bitrate", session.deadline(kMeetTimeoutS))) {
    return *failure;
  }
  session.link.send(action_message(CameraAction::kBitrate, signal));
  return session.out.done(
      "bitrate",
      fmt::format("signal {} sent: {}; it sends no acknowledgement", signal, bitrate_text(signal)),
      {{"signal", signal}});
}

ExitCode send_position(Session& session, const Position& position) {
  if (Failure failure = meet_camera(session, "position", session.deadline(kMeetTimeoutS))) {
    return *failure;
  }
  const PeerMessage place =
      position_message(position.latitude, position.longitude, position.altitude);
  const PeerMessage height = altitude_message(position.altitude);
  for (int i = 0; i < kPositionSends; i++) {
    session.link.send(place);
    session.link.send(height);
    const Wait wait = session.link.wait(base::monotonic_us() + kPositionPauseUs,
                                        [](const CameraEvent&) { return false; });
    if (wait == Wait::kInterrupted) return no_answer(session, "position", wait, "");
  }
  const int32_t latitude = wire_degrees(position.latitude);
  const int32_t longitude = wire_degrees(position.longitude);
  const long tenths = std::lround(position.altitude * 10.0);
  return session.out.done(
      "position",
      fmt::format("sent latitude {:.7f} ({}), longitude {:.7f} ({}), altitude {:.1f} m ({} tenths)",
                  position.latitude, latitude, position.longitude, longitude, position.altitude,
                  tenths),
      {{"latitude_e7", latitude}, {"longitude_e7", longitude}, {"altitude_tenths", tenths}});
}

ExitCode send_quality(Session& session, const QualityRequest& request) {
  if (Failure failure = meet_camera(session, "link-quality", session.deadline(kMeetTimeoutS))) {
    return *failure;
  }
  const PeerMessage message = link_quality_message(request.quality);
  for (int i = 0; i < request.times; i++) {
    session.link.send(message);
    const Wait wait = session.link.wait(base::monotonic_us() + kQualityPauseUs,
                                        [](const CameraEvent&) { return false; });
    if (wait == Wait::kInterrupted) return no_answer(session, "link-quality", wait, "");
  }
  return session.out.done(
      "link-quality",
      fmt::format("{} of {} frames arrived, sent {} times; the camera sends no acknowledgement",
                  request.quality.arrived, request.quality.sent, request.times),
      {{"sent", request.quality.sent},
       {"arrived", request.quality.arrived},
       {"losses", request.quality.losses},
       {"times", request.times}});
}

constexpr const char* kQualityHelp = R"(
While ARRIVED is SENT, the rate is repeated from the 6th report on, rises by half from the 11th and
by 0.7 from the 21st. Otherwise it falls by the weighted LOSSES: every 6th report below 11, at once
from there. A rate chosen with bitrate stands until "bitrate 0" or another camera action. Nothing
acknowledges the reports.
)";

void add_quality_command(CLI::App& app, Action* chosen) {
  constexpr int kMostFrames = 1 << 24;  // what a float carries exactly
  const auto [command, request] = add_command<QualityRequest>(
      app, "link-quality",
      "Report how much of the live video arrives. The camera sets the rate by it.");
  command->footer(kQualityHelp);
  const auto takes_frames = [](CLI::Option* option) {
    return takes_whole(option, -kMostFrames, kMostFrames);
  };
  takes_frames(command->add_option("SENT", request->quality.sent, "Frames that the camera sent"))
      ->required();
  takes_frames(command->add_option("ARRIVED", request->quality.arrived, "Frames that arrived"))
      ->required();
  takes_frames(command->add_option("LOSSES", request->losses,
                                   "Up to five counts; they weigh 0.8, 0.6, 0.3, 0.1 and 0.1"))
      ->expected(1, 5);
  takes_whole(command->add_option("--times", request->times, "Send it so often"), 1, 1000)
      ->capture_default_str();
  command->callback([request = request, chosen] {
    std::copy(request->losses.begin(), request->losses.end(), request->quality.losses.begin());
    *chosen = [request = *request](Session& session) { return send_quality(session, request); };
  });
}

}  // namespace

void add_send_commands(CLI::App& app, Action* chosen) {
  const auto [bitrate, signal] =
      add_command<int>(app, "bitrate",
                       "Choose the bit rate of the live video by signal strength.\n"
                       "2 to 39 gives 512 kbit/s, 40 to 69 gives 1024, 70 to 100 gives 2048.");
  takes_whole(bitrate->add_option("SIGNAL", *signal, "Signal strength, percent"), 0, 255)
      ->required();
  run_with(bitrate, signal, chosen, send_bitrate);

  add_quality_command(app, chosen);

  const auto [position, place] = add_command<Position>(
      app, "position", "Tell the camera where it is. The next photos are tagged with it.");
  takes_number(position->add_option("LATITUDE", place->latitude, "Degrees, south negative"), -90,
               90)
      ->required();
  takes_number(position->add_option("LONGITUDE", place->longitude, "Degrees, west negative"), -180,
               180)
      ->required();
  takes_number(position->add_option("ALTITUDE", place->altitude, "Metres"), -10000, 100000)
      ->required();
  run_with(position, place, chosen, send_position);
}

}  // namespace groundstation
