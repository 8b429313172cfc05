// ack: receives acknowledged datagrams, answers them and shows what they carry.
#include <fmt/format.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/registry.h"
#include "groundstation/flightside/ack_frames.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/media/file.h"
#include "groundstation/messages/hex_text.h"

namespace groundstation {
namespace {

constexpr const char* kAckName = "ack";
constexpr uint16_t kAckPort = 8866;

constexpr const char* kAckHelp = R"(
The camera sends a datagram up to five times, until it is answered. This command answers each one to
UDP port 8866 of the camera; a repeated one is answered again and counted once. A damaged one gets no
answer. To try the repetitions, answer late (--delay) or lose some (--drop-every).

Nothing in the camera's media channel sends such datagrams; what does chooses their port.
)";

struct AckRequest {
  uint16_t port = kAckPort;
  uint16_t answer_port = kAckPort;
  double seconds = 0;
  uint32_t count = 0;
  uint32_t drop_every = 0;
  double delay_ms = 0;
  std::string output;
  bool force = false;
  bool quiet = false;
};

class AckRun {
 public:
  AckRun(Session& session, const AckRequest& request) : session_(session), request_(request) {}
  ExitCode run();

 private:
  [[nodiscard]] std::string open();
  [[nodiscard]] bool receive();
  [[nodiscard]] bool take(const AckFrame& frame);
  void answer(uint32_t stamp);
  [[nodiscard]] bool saves() const { return !request_.output.empty(); }
  ExitCode fail(ExitCode code, std::string_view sentence) const {
    return session_.out.fail(kAckName, code, sentence, fields());
  }
  [[nodiscard]] nlohmann::json fields() const {
    return {{"datagrams", datagrams_}, {"bytes", bytes_},     {"repeated", repeated_},
            {"damaged", damaged_},     {"dropped", dropped_}, {"answered", answered_}};
  }

  Session& session_;
  const AckRequest& request_;
  base::Descriptor socket_;
  MediaFile file_;
  sockaddr_in camera_{};
  std::optional<uint32_t> last_stamp_;
  bool interrupted_ = false;
  uint64_t arrived_ = 0;
  uint64_t datagrams_ = 0;
  uint64_t bytes_ = 0;
  uint64_t repeated_ = 0;
  uint64_t damaged_ = 0;
  uint64_t dropped_ = 0;
  uint64_t answered_ = 0;
};

std::string AckRun::open() {
  camera_ = session_.link.options().camera;
  camera_.sin_port = htons(request_.answer_port);
  sockaddr_in local = session_.link.options().local;
  local.sin_port = htons(request_.port);
  socket_.reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
    return fmt::format("cannot bind {}: {}", endpoint_text(local), std::strerror(errno));
  }
  return "";
}

void AckRun::answer(uint32_t stamp) {
  const auto bytes = ack_answer(stamp);
  if (::sendto(socket_.get(), bytes.data(), bytes.size(), 0,
               reinterpret_cast<const sockaddr*>(&camera_), sizeof camera_) > 0) {
    answered_++;
  }
}

// False when the file cannot be written.
bool AckRun::take(const AckFrame& frame) {
  if (request_.drop_every != 0 && ++arrived_ % request_.drop_every == 0) {
    dropped_++;
    return true;
  }
  // One datagram is in flight at a time, so a repeated one is the last one once more.
  const bool repeated = last_stamp_ == frame.stamp;
  last_stamp_ = frame.stamp;
  if (repeated) {
    repeated_++;
  } else {
    datagrams_++;
    bytes_ += frame.payload.size();
    if (saves() && !file_.write(bytes_ - frame.payload.size(), frame.payload)) return false;
  }
  if (!request_.quiet) {
    session_.out.event(fmt::format("stamp {}, {} bytes{}: {}", frame.stamp, frame.payload.size(),
                                   repeated ? ", repeated" : "", ack_payload_text(frame.payload)),
                       {{"event", "datagram"},
                        {"stamp", frame.stamp},
                        {"repeated", repeated},
                        {"payload", hex_text(frame.payload, frame.payload.size())}});
  }
  if (request_.delay_ms > 0) {
    const uint64_t until =
        base::monotonic_us() + base::saturate<uint64_t>(request_.delay_ms * 1000);
    interrupted_ |=
        session_.link.wait(until, [](const CameraEvent&) { return false; }) == Wait::kInterrupted;
  }
  answer(frame.stamp);
  return true;
}

bool AckRun::receive() {
  std::array<uint8_t, 65536> bytes;
  sockaddr_in from{};
  socklen_t from_length = sizeof from;
  const ssize_t length = ::recvfrom(socket_.get(), bytes.data(), bytes.size(), 0,
                                    reinterpret_cast<sockaddr*>(&from), &from_length);
  if (length <= 0 || from.sin_addr.s_addr != camera_.sin_addr.s_addr) return true;
  std::string trouble;
  const auto frame = parse_ack_frame({bytes.data(), static_cast<size_t>(length)}, &trouble);
  if (frame.has_value()) return take(*frame);
  damaged_++;
  session_.out.event(
      fmt::format("{} bytes that are no acknowledged datagram: it {}", length, trouble),
      {{"event", "damaged"}, {"bytes", length}, {"trouble", trouble}});
  return true;
}

ExitCode AckRun::run() {
  if (const std::string trouble = open(); !trouble.empty()) {
    return fail(ExitCode::kNoCamera, trouble);
  }
  std::string trouble = saves() ? file_.open(request_.output, request_.force) : "";
  if (!trouble.empty()) return fail(ExitCode::kRefused, trouble);
  const uint64_t end = request_.seconds > 0
                           ? base::monotonic_us() + base::saturate<uint64_t>(request_.seconds * 1e6)
                           : UINT64_MAX;
  bool written = true;
  while (written && !interrupted_ && (request_.count == 0 || datagrams_ < request_.count)) {
    const Wait wait = session_.link.wait(
        end, [](const CameraEvent&) { return false; }, socket_.get());
    interrupted_ |= wait == Wait::kInterrupted;
    if (wait != Wait::kExtra) break;
    written = receive();
  }
  // What has come is kept, also after an interrupt.
  if (saves()) trouble = written ? file_.finish() : file_.trouble();
  if (!trouble.empty()) return fail(ExitCode::kRefused, trouble);
  if (datagrams_ < request_.count) {
    return fail(interrupted_ ? ExitCode::kInterrupted : ExitCode::kNoCamera,
                fmt::format("{} of {} datagrams have come", datagrams_, request_.count));
  }
  return session_.out.done(
      kAckName,
      fmt::format("{} datagrams, {} bytes; {} repeated, {} damaged{}", datagrams_, bytes_,
                  repeated_, damaged_,
                  dropped_ > 0 ? fmt::format(", {} lost on purpose", dropped_) : ""),
      fields());
}

}  // namespace

void add_ack_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = flight_side_command<AckRequest>(
      app, "ack", "Receive and answer the camera's acknowledged datagrams (C0XF).", kAckHelp);
  add_port(command, "--port", &request->port, "Own UDP port that they come to");
  add_port(command, "--answer-port", &request->answer_port, "UDP port of the camera for answers");
  add_seconds(command, &request->seconds);
  takes_whole(command->add_option("--count", request->count, "End after so many datagrams"), 0,
              1'000'000'000);
  takes_whole(command->add_option("--drop-every", request->drop_every, "Lose every N-th one"), 2,
              1'000'000);
  takes_number(command->add_option("--delay", request->delay_ms, "Milliseconds before each answer"),
               0, 60000);
  command->add_option("-o,--output", request->output,
                      "Write the payloads there, one behind the other");
  command->add_flag("-f,--force", request->force, "Replace a file that is there");
  command->add_flag("-q,--quiet", request->quiet, "Only the summary");
  run_with(command, request, chosen,
           [](Session& session, const AckRequest& with) { return AckRun(session, with).run(); });
}

}  // namespace groundstation
