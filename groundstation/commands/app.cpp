// app: the application that speaks with the camera by TCP.
#include <fmt/format.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/registry.h"
#include "groundstation/flightside/app_frames.h"
#include "groundstation/link/endpoint.h"

namespace groundstation {
namespace {

constexpr const char* kAppName = "app";
constexpr uint16_t kAppPort = 8866;
constexpr double kAppConnectS = 10;
constexpr uint64_t kAppRetryUs = 200'000;
constexpr uint64_t kAppTurnUs = 20'000;
constexpr uint64_t kAppHeartbeatUs = 1'000'000;

constexpr const char* kAppHelp = R"(
The first heartbeat confirms the session: from then on the camera keeps it and passes stick data on;
without one (--silent) it ends the session after 10 to 12 s. Frames of the flight controller arrive
here. Frames of the system ids 5, 21 and 37 (low nibble 5) go on to the camera's UDP peer unchanged;
others are the camera's own. One application is served at a time; others wait.

  groundstation app --seconds 10
  groundstation app --send 56 --send 67:00000001
  groundstation app --send 30:01020304@5 --seconds 2

Nothing acknowledges a frame.
)";

struct AppRequest {
  uint16_t port = kAppPort;
  double seconds = 0;
  uint8_t system = kOwnSystemId;
  bool silent = false;
  bool heartbeats = false;
  std::vector<std::string> sends;
  std::vector<AppFrame> frames;
};

class AppRun {
 public:
  AppRun(Session& session, const AppRequest& request) : session_(session), request_(request) {
    camera_ = session.link.options().camera;
    camera_.sin_port = htons(request.port);
  }

  ExitCode run();

 private:
  enum class End { kTime, kInterrupted, kClosed };

  Wait pass(uint64_t until_us, int fd = -1) {
    return session_.link.wait(
        until_us, [](const CameraEvent&) { return false; }, fd);
  }
  Wait connect(uint64_t deadline_us);
  void send(const AppFrame& frame);
  void send_due(uint64_t now);
  bool receive();
  void show(const flightlink::MavlinkMessage& frame);
  End serve();
  [[nodiscard]] nlohmann::json fields() const;

  Session& session_;
  const AppRequest& request_;
  sockaddr_in camera_{};
  base::Descriptor socket_;
  AppStream stream_;
  std::string reason_;
  uint8_t sequence_ = 0;
  bool served_ = false;
  bool failed_ = false;  // a send
  bool all_sent_ = false;
  uint64_t begin_us_ = 0;
  uint64_t end_us_ = 0;
  uint64_t next_heartbeat_us_ = 0;
  std::map<int, int> received_;
  bool heartbeat_shown_ = false;
};

// Until the connection stands. The camera opens its port anew after each session, so it may take a
// few attempts.
Wait AppRun::connect(uint64_t deadline_us) {
  while (base::monotonic_us() < deadline_us) {
    socket_.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    int result =
        ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&camera_), sizeof camera_);
    int error = result == 0 ? 0 : errno;
    while (error == EINPROGRESS || error == EALREADY) {
      const uint64_t now = base::monotonic_us();
      if (now >= deadline_us) break;
      if (pass(now + kAppTurnUs) == Wait::kInterrupted) return Wait::kInterrupted;
      result =
          ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&camera_), sizeof camera_);
      error = result == 0 || errno == EISCONN ? 0 : errno;
    }
    if (error == 0) {
      const int one = 1;
      ::setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      return Wait::kMatched;
    }
    reason_ = std::strerror(error == EALREADY ? ETIMEDOUT : error);
    if (pass(base::monotonic_us() + kAppRetryUs) == Wait::kInterrupted) return Wait::kInterrupted;
  }
  return Wait::kTimeout;
}

void AppRun::send(const AppFrame& frame) {
  const std::vector<uint8_t> bytes = app_frame_bytes(frame, sequence_++);
  // A frame is far smaller than the socket's buffer: it leaves whole, or the camera reads nothing.
  const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (sent == static_cast<ssize_t>(bytes.size())) return;
  failed_ = true;
  reason_ = sent < 0 ? std::strerror(errno) : "it reads nothing any more";
}

void AppRun::send_due(uint64_t now) {
  if (!request_.silent && now >= next_heartbeat_us_) {
    next_heartbeat_us_ = now + kAppHeartbeatUs;
    send({heartbeat_message(false, session_.link.options().link_level), request_.system});
  }
  if (!served_ || all_sent_) return;
  for (const AppFrame& frame : request_.frames) send(frame);
  all_sent_ = true;
}

// False at the end of the connection.
bool AppRun::receive() {
  std::array<uint8_t, 65536> bytes;
  const ssize_t length = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (length <= 0) {
    reason_ = length == 0 ? "it closed the connection" : std::strerror(errno);
    return false;
  }
  if (!served_) {
    served_ = true;
    begin_us_ = base::monotonic_us();
    if (request_.seconds > 0) {
      end_us_ = begin_us_ + base::saturate<uint64_t>(request_.seconds * 1e6);
    }
    session_.out.note(fmt::format("connected to {}", endpoint_text(camera_)));
  }
  stream_.feed({bytes.data(), static_cast<size_t>(length)},
               [this](const flightlink::MavlinkMessage& frame) { show(frame); });
  return true;
}

void AppRun::show(const flightlink::MavlinkMessage& frame) {
  received_[frame.msgid]++;
  const bool heartbeat = app_heartbeat_of(frame).has_value();
  // Three a second: the first one says it all.
  if (heartbeat && std::exchange(heartbeat_shown_, true) && !request_.heartbeats) return;
  session_.out.event(app_frame_text(frame), app_frame_json(frame));
}

AppRun::End AppRun::serve() {
  stream_ = {};
  next_heartbeat_us_ = 0;
  while (true) {
    const uint64_t now = base::monotonic_us();
    if (end_us_ != 0 && now >= end_us_) return End::kTime;
    send_due(now);
    if (failed_) return End::kClosed;
    uint64_t until = end_us_ == 0 ? UINT64_MAX : end_us_;
    if (!request_.silent) until = std::min(until, next_heartbeat_us_);
    const Wait wait = pass(until, socket_.get());
    if (wait == Wait::kInterrupted) return End::kInterrupted;
    if (wait == Wait::kExtra && !receive()) return End::kClosed;
  }
}

nlohmann::json AppRun::fields() const {
  nlohmann::json counts = nlohmann::json::object();
  for (const auto& [id, count] : received_) counts[std::to_string(id)] = count;
  const uint64_t us = begin_us_ == 0 ? 0 : base::monotonic_us() - begin_us_;
  return {{"received", counts},
          {"sent", all_sent_ ? request_.frames.size() : 0},
          {"seconds", static_cast<double>(us) / 1e6}};
}

ExitCode AppRun::run() {
  const uint64_t deadline = session_.deadline(kAppConnectS);
  End end = End::kClosed;
  // A connection that waits behind another one is turned away when that one ends.
  while (!served_ && end == End::kClosed) {
    failed_ = false;
    const Wait wait = connect(deadline);
    if (wait == Wait::kInterrupted)
      return session_.out.fail(kAppName, ExitCode::kInterrupted, "interrupted");
    if (wait == Wait::kTimeout) {
      return session_.out.fail(
          kAppName, ExitCode::kNoCamera,
          fmt::format("no application server at {}: {}. Check that applink runs on the board "
                      "(maintask has no such server), that no other application has the session, "
                      "and that this machine's address is not shut out.",
                      endpoint_text(camera_), reason_.empty() ? "no answer" : reason_));
    }
    end = serve();
  }
  const nlohmann::json told = fields();
  if (end == End::kClosed) {
    return session_.out.fail(kAppName, ExitCode::kRefused,
                             fmt::format("the camera ended the session after {:.1f} s: {}",
                                         told["seconds"].get<double>(), reason_),
                             told);
  }
  int frames = 0;
  for (const auto& [id, count] : received_) frames += count;
  return session_.out.done(
      kAppName,
      fmt::format("{:.1f} s, {} frames received, {} sent beside heartbeats",
                  told["seconds"].get<double>(), frames, told["sent"].get<size_t>()),
      told);
}

}  // namespace

void add_app_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = flight_side_command<AppRequest>(
      app, "app", "Be the application on TCP: show what comes, send frames.", kAppHelp);
  add_port(command, "--port", &request->port, "TCP port of the camera's application server");
  add_seconds(command, &request->seconds);
  takes_whole(command->add_option("--system", request->system, "Own system id"), 0, 255)
      ->default_str(std::to_string(request->system));
  command->add_flag("--silent", request->silent, "Send no heartbeats");
  command->add_flag("--heartbeats", request->heartbeats, "Show every heartbeat of the camera");
  command->add_option("--send", request->sends, "ID[:HEX][@SYSTEM]: a frame to send; repeatable")
      ->type_name("FRAME")
      ->expected(1)
      ->take_all();
  command->callback([request = request, chosen] {
    request->frames.clear();
    for (const std::string& text : request->sends) {
      const auto frame = parse_app_frame(text, request->system);
      if (!frame.has_value()) {
        throw CLI::ValidationError("--send",
                                   fmt::format("{} is not ID[:HEX][@SYSTEM] (0 to 255, at most "
                                               "255 bytes)",
                                               text));
      }
      request->frames.push_back(*frame);
    }
    *chosen = [request = *request](Session& session) { return AppRun(session, request).run(); };
  });
}

}  // namespace groundstation
