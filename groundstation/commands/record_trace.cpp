// record-trace: what goes over the link, as a capture file.
#include <fmt/format.h>

#include <algorithm>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/registry.h"
#include "groundstation/link/packet_socket.h"
#include "groundstation/link/pcap.h"
#include "groundstation/terminal/progress_line.h"

namespace groundstation {
namespace {

constexpr const char* kRecordTrace = "record-trace";
constexpr uint64_t kTraceTurnUs = 200'000;

struct TraceRequest {
  std::string file;
  double seconds = 0;  // 0: until interrupted
  bool force = false;
  bool quiet = false;
};

class TraceRun {
 public:
  TraceRun(Session& session, const TraceRequest& request)
      : session_(session), request_(request), line_(session.out, request.quiet) {}

  ExitCode run();

 private:
  std::string listen_beside();
  std::string hold_the_link();
  Wait turn(uint64_t until_us);
  ExitCode told(uint64_t us);

  Session& session_;
  const TraceRequest& request_;
  ProgressLine line_;
  PacketSocket packets_;  // open: we listen beside other programs
  PcapWriter file_;
  std::optional<Trace> trace_;
  std::optional<CameraLink> own_link_;  // otherwise we hold the link
  uint64_t from_camera_ = 0;
};

// Whoever speaks with the camera on this machine is recorded; nothing is sent.
std::string TraceRun::listen_beside() { return file_.open(request_.file, request_.force); }

std::string TraceRun::hold_the_link() {
  LinkOptions options = session_.link.options();
  trace_.emplace();
  if (std::string trouble = trace_->open(request_.file, request_.force); !trouble.empty()) {
    return trouble;
  }
  options.trace = &*trace_;
  own_link_.emplace(options);
  own_link_->watch_frames([this](const flightlink::MavlinkMessage&) {
    from_camera_++;
    return false;
  });
  if (!request_.quiet && !session_.out.json()) {
    fmt::print(stderr,
               "only root (CAP_NET_RAW) may listen beside other programs: this command holds the "
               "link itself meanwhile\n");
  }
  return own_link_->open();
}

// Runs a link, whichever is open, and takes what has been heard.
Wait TraceRun::turn(uint64_t until_us) {
  const auto nothing = [](const CameraEvent&) { return false; };
  if (own_link_.has_value()) return own_link_->wait(until_us, nothing);
  const Wait wait = session_.link.wait(until_us, nothing, packets_.fd());
  while (true) {
    const PacketSocket::Packet packet = packets_.next();
    if (packet.bytes.data() == nullptr) return wait;
    file_.packet(packet.at_us, packet.bytes);
    if (packet.from_address) from_camera_++;
  }
}

ExitCode TraceRun::told(uint64_t us) {
  const Output& out = session_.out;
  const uint64_t count = trace_.has_value() ? trace_->datagrams() : file_.packets();
  const std::string& trouble = trace_.has_value() ? trace_->trouble() : file_.trouble();
  const double seconds = static_cast<double>(us) / 1e6;
  const nlohmann::json fields{{"file", request_.file},
                              {"packets", count},
                              {"from_camera", from_camera_},
                              {"seconds", seconds},
                              {"beside_others", !own_link_.has_value()}};
  line_.clear();
  if (!trouble.empty()) return out.fail(kRecordTrace, ExitCode::kRefused, trouble, fields);
  const std::string text = fmt::format("{}: {} packets in {:.1f} s", request_.file, count, seconds);
  if (from_camera_ > 0) return out.done(kRecordTrace, text, fields);
  return out.fail(kRecordTrace, ExitCode::kNoCamera,
                  fmt::format("{}, none of them from the camera: is this machine in its network, "
                              "and does a ground station speak with it?",
                              text),
                  fields);
}

ExitCode TraceRun::run() {
  const bool beside = packets_.open(session_.link.options().camera.sin_addr);
  const std::string trouble = beside ? listen_beside() : hold_the_link();
  if (!trouble.empty()) {
    const bool file = !own_link_.has_value();
    return session_.out.fail(kRecordTrace, file ? ExitCode::kRefused : ExitCode::kNoCamera,
                             trouble);
  }
  const uint64_t begin = base::monotonic_us();
  const uint64_t end =
      request_.seconds > 0 ? begin + base::saturate<uint64_t>(request_.seconds * 1e6) : UINT64_MAX;
  const auto failed = [&] {
    return !(trace_.has_value() ? trace_->trouble() : file_.trouble()).empty();
  };
  for (uint64_t now = begin; now < end && !failed(); now = base::monotonic_us()) {
    if (turn(std::min(end, now + kTraceTurnUs)) == Wait::kInterrupted) break;
    if (!line_.due(now)) continue;
    line_.show(
        fmt::format("{:6.1f} s  {} packets  {} from the camera",
                    static_cast<double>(now - begin) / 1e6,
                    trace_.has_value() ? trace_->datagrams() : file_.packets(), from_camera_),
        now);
  }
  return told(base::monotonic_us() - begin);
}

}  // namespace

void add_record_trace_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = add_command<TraceRequest>(
      app, kRecordTrace,
      "Record the link as a pcap file for Wireshark, until Ctrl-C.\n"
      "It holds what this machine and the camera say to each other. As root it listens beside "
      "other programs, the live video and the media\n"
      "channel included, and sends nothing itself; otherwise it holds the link meanwhile and\n"
      "records that. What a single command exchanges: --trace FILE in front of it.");
  command->add_option("FILE", request->file, "File to write")->required();
  add_seconds(command, &request->seconds);
  command->add_flag("-f,--force", request->force, "Replace a file that is here");
  command->add_flag("-q,--quiet", request->quiet, "No progress");
  run_with(command, request, chosen, [](Session& session, const TraceRequest& given) {
    return TraceRun(session, given).run();
  });
}

}  // namespace groundstation
