// replay: a recorded ground side once more, at its pace, against a camera.
#include "groundstation/link/replay.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/clock.h"
#include "groundstation/commands/registry.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/terminal/interrupts.h"
#include "groundstation/terminal/progress_line.h"

namespace groundstation {
namespace {

constexpr const char* kReplay = "replay";
constexpr uint64_t kReplayTurnUs = 100'000;
constexpr uint64_t kLastAnswersUs = 1'000'000;

struct ReplayRequest {
  std::string file;
  std::string recorded_camera;  // empty: as the file tells
  bool quiet = false;
};

class ReplayRun {
 public:
  ReplayRun(Session& session, const ReplayRequest& request)
      : session_(session), request_(request), line_(session.out, request.quiet) {}

  ExitCode run();

 private:
  [[nodiscard]] bool is_link(const RecordedRoad& road) const {
    return road.to_port == ntohs(recording_.camera.sin_port);
  }
  [[nodiscard]] sockaddr_in target(const RecordedRoad& road) const;
  std::string open_roads();
  void describe() const;
  void send(const RecordedDatagram& datagram);
  bool receive_until(uint64_t until_us);
  void take_all(const base::Descriptor& socket);
  ExitCode told(bool whole);

  Session& session_;
  const ReplayRequest& request_;
  ProgressLine line_;
  Recording recording_;
  std::vector<base::Descriptor> sockets_;  // one per road
  uint64_t begin_us_ = 0;
  uint64_t sent_ = 0;
  uint64_t received_ = 0;
  uint64_t latest_us_ = 0;  // most that a datagram left behind its time
};

// The link's port is the one that this camera has; the others are the camera's own.
sockaddr_in ReplayRun::target(const RecordedRoad& road) const {
  sockaddr_in to = session_.link.options().camera;
  if (!is_link(road)) to.sin_port = htons(road.to_port);
  return to;
}

std::string ReplayRun::open_roads() {
  for (const RecordedRoad& road : recording_.roads) {
    sockaddr_in own = session_.link.options().local;
    if (!is_link(road)) own.sin_port = 0;
    base::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.open() ||
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
      const int error = errno;
      return fmt::format(
          "cannot bind {}: {}{}", endpoint_text(own), std::strerror(error),
          error == EADDRINUSE ? " (another ground station holds the link: end it)" : "");
    }
    sockets_.push_back(std::move(socket));
  }
  return "";
}

void ReplayRun::describe() const {
  const Output& out = session_.out;
  for (const RecordedRoad& road : recording_.roads) {
    out.note(fmt::format("{} datagrams to {}", road.datagrams, endpoint_text(target(road))));
  }
  if (recording_.left_out > 0) {
    out.note(fmt::format("{} packets are left out: TCP, or datagrams in several parts",
                         recording_.left_out));
  }
}

void ReplayRun::send(const RecordedDatagram& datagram) {
  const sockaddr_in to = target(recording_.roads[datagram.road]);
  const int socket = sockets_[datagram.road].get();
  const uint64_t late = base::monotonic_us() - begin_us_ - datagram.after_us;
  latest_us_ = std::max(latest_us_, late);
  // An earlier refusal may be reported here, once; the second attempt then sends.
  for (int attempt = 0; attempt < 2; attempt++) {
    if (::sendto(socket, datagram.bytes.data(), datagram.bytes.size(), 0,
                 reinterpret_cast<const sockaddr*>(&to), sizeof to) >= 0) {
      sent_++;
      return;
    }
  }
}

void ReplayRun::take_all(const base::Descriptor& socket) {
  uint8_t bytes[2048];  // what is longer is cut, and counts all the same
  while (::recv(socket.get(), bytes, sizeof bytes, 0) >= 0) received_++;
}

// Counts what the camera sends. False: a signal came.
bool ReplayRun::receive_until(uint64_t until_us) {
  while (true) {
    const uint64_t now = base::monotonic_us();
    if (line_.due(now)) {
      line_.show(fmt::format("{:6.1f} of {:.1f} s  {} of {} datagrams sent  {} received",
                             static_cast<double>(now - begin_us_) / 1e6,
                             static_cast<double>(recording_.datagrams.back().after_us) / 1e6, sent_,
                             recording_.datagrams.size(), received_),
                 now);
    }
    if (interrupted() != 0) return false;
    if (now >= until_us) return true;
    std::vector<pollfd> inputs{{interrupt_fd(), POLLIN, 0}};
    for (const base::Descriptor& socket : sockets_) inputs.push_back({socket.get(), POLLIN, 0});
    const timespec wait{0, static_cast<long>(std::min(until_us - now, kReplayTurnUs) * 1000)};
    ::ppoll(inputs.data(), inputs.size(), &wait, nullptr);
    for (const base::Descriptor& socket : sockets_) take_all(socket);
  }
}

ExitCode ReplayRun::told(bool whole) {
  const Output& out = session_.out;
  const double seconds = static_cast<double>(base::monotonic_us() - begin_us_) / 1e6;
  const nlohmann::json fields{
      {"file", request_.file},
      {"sent", sent_},
      {"datagrams", recording_.datagrams.size()},
      {"received", received_},
      {"left_out", recording_.left_out},
      {"seconds", seconds},
      {"recorded_seconds", static_cast<double>(recording_.datagrams.back().after_us) / 1e6},
      {"latest_ms", static_cast<double>(latest_us_) / 1e3}};
  line_.clear();
  const std::string text = fmt::format(
      "{} of {} datagrams sent in {:.1f} s, at most {:.1f} ms late; the camera sent {}", sent_,
      recording_.datagrams.size(), seconds, static_cast<double>(latest_us_) / 1e3, received_);
  if (!whole) return out.fail(kReplay, ExitCode::kInterrupted, "interrupted: " + text, fields);
  if (received_ > 0) return out.done(kReplay, text, fields);
  return out.fail(kReplay, ExitCode::kNoCamera,
                  fmt::format("{}: is there a camera at {}?", text,
                              endpoint_text(session_.link.options().camera)),
                  fields);
}

ExitCode ReplayRun::run() {
  const Output& out = session_.out;
  std::optional<sockaddr_in> camera;
  if (!request_.recorded_camera.empty()) {
    camera = parse_endpoint(request_.recorded_camera, kPeerPort);
  }
  std::string trouble =
      read_recording(request_.file, camera, session_.link.options().camera, &recording_);
  if (!trouble.empty()) return out.fail(kReplay, ExitCode::kRefused, trouble);
  trouble = open_roads();
  if (!trouble.empty()) return out.fail(kReplay, ExitCode::kNoCamera, trouble);
  describe();
  begin_us_ = base::monotonic_us();
  for (const RecordedDatagram& datagram : recording_.datagrams) {
    if (!receive_until(begin_us_ + datagram.after_us)) return told(false);
    send(datagram);
  }
  const bool whole = receive_until(base::monotonic_us() + kLastAnswersUs);
  return told(whole || sent_ == recording_.datagrams.size());
}

}  // namespace

void add_replay_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = add_command<ReplayRequest>(
      app, kReplay,
      "Send a recorded ground side once more, at its pace.\n"
      "Every UDP datagram to the camera in a pcap file (of record-trace, --trace or tcpdump),\n"
      "whatever it does there: recordings, formats and deletions are repeated too.");
  command->add_option("FILE", request->file, "File to read")->required();
  command
      ->add_option("--recorded-camera", request->recorded_camera,
                   "The camera's address in the file (if not given, as the file tells)")
      ->check([](const std::string& text) {
        return parse_endpoint(text, kPeerPort).has_value()
                   ? std::string()
                   : fmt::format("{} is not ADDRESS or ADDRESS:PORT (IPv4)", text);
      });
  command->add_flag("-q,--quiet", request->quiet, "No progress");
  run_with(command, request, chosen, [](Session& session, const ReplayRequest& given) {
    return ReplayRun(session, given).run();
  });
}

}  // namespace groundstation
