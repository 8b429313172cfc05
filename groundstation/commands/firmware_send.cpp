// firmware send: announces an image, starts the transfer and sends what the camera asks for.
#include <fmt/format.h>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/firmware.h"
#include "groundstation/firmware/image.h"
#include "groundstation/firmware/send.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/terminal/progress_line.h"

namespace groundstation {
namespace {

constexpr const char* kSendName = "firmware send";
constexpr uint8_t kFirmwareSystemId = kBoardApplication << 4 | 8;
constexpr double kFirmwarePatienceS = 10;
// What the camera's card takes while nothing is heard from it.
constexpr double kCardBytesPerS = 4e6;
constexpr uint64_t kFirmwareTurnUs = 20'000;

using Phase = FirmwareSend::Phase;

class FirmwareSendRun {
 public:
  FirmwareSendRun(Session& session, const FirmwareSendRequest& request, const FirmwareImage& image)
      : session_(session),
        image_(image),
        quiet_(request.quiet),
        md5_(md5_text(image.bytes)),
        send_(image.bytes, md5_, {request.resume, request.drop_every}) {}

  ExitCode run();

 private:
  Wait turn();
  void show(ProgressLine* line, uint64_t now) const;
  [[nodiscard]] bool too_long(uint64_t now) const;
  [[nodiscard]] ExitCode told() const;
  [[nodiscard]] ExitCode stopped() const;
  [[nodiscard]] nlohmann::json fields() const;
  ExitCode fail(ExitCode code, std::string_view sentence) const {
    return session_.out.fail(kSendName, code, sentence, fields());
  }
  [[nodiscard]] double patience_s() const {
    if (session_.timeout_s > 0) return session_.timeout_s;
    const bool sending = send_.phase() == Phase::kSending;
    return kFirmwarePatienceS +
           (sending ? static_cast<double>(image_.bytes.size()) / kCardBytesPerS : 0);
  }

  Session& session_;
  const FirmwareImage& image_;
  bool quiet_;
  std::string md5_;
  FirmwareSend send_;
  uint64_t begin_us_ = base::monotonic_us();
};

// Sends what is due and handles what comes for a short while.
Wait FirmwareSendRun::turn() {
  const uint64_t now = base::monotonic_us();
  if (const auto message = send_.due(now)) session_.link.send(*message, kFirmwareSystemId);
  return session_.link.wait(now + kFirmwareTurnUs, [](const CameraEvent&) { return false; });
}

ExitCode FirmwareSendRun::run() {
  session_.link.watch_frames([this](const flightlink::MavlinkMessage& frame) {
    if (frame.sysid != kSystemApplication) return false;
    const auto report = firmware_report_of(frame);
    if (!report.has_value()) return false;
    send_.take(*report, base::monotonic_us(), [this](const PeerMessage& message) {
      session_.link.send(message, kFirmwareSystemId);
    });
    return send_.ended();
  });
  Wait wait = Wait::kTimeout;
  {
    ProgressLine line(session_.out, quiet_);
    while (wait != Wait::kInterrupted && !send_.ended() && !too_long(base::monotonic_us())) {
      wait = turn();
      show(&line, base::monotonic_us());
    }
  }
  session_.link.watch_frames({});
  if (wait == Wait::kInterrupted) {
    return fail(ExitCode::kInterrupted, send_.phase() == Phase::kSending
                                            ? "interrupted; --resume goes on with this file"
                                            : "interrupted");
  }
  return send_.ended() ? told() : stopped();
}

bool FirmwareSendRun::too_long(uint64_t now) const {
  const uint64_t since = send_.stands_since_us();
  return since != 0 && now > since + base::saturate<uint64_t>(patience_s() * 1e6);
}

void FirmwareSendRun::show(ProgressLine* line, uint64_t now) const {
  if (send_.phase() != Phase::kSending || !line->due(now)) return;
  const double mb = static_cast<double>(image_.bytes.size()) / 1e6;
  const double done = static_cast<double>(send_.covered()) / static_cast<double>(send_.count());
  std::string text = fmt::format("{}  {:.1f} of {:.1f} MB  {} chunks sent again",
                                 bar_text(send_.covered(), send_.count()), done * mb, mb,
                                 send_.sent() - send_.covered());
  if (now > send_.stands_since_us() + 1'000'000) text += "  (the camera checks the image)";
  line->show(text, now);
}

nlohmann::json FirmwareSendRun::fields() const {
  return {{"bytes", image_.bytes.size()},
          {"md5", md5_},
          {"chunks", send_.count()},
          {"chunks_sent", send_.sent()},
          {"chunks_dropped", send_.dropped()},
          {"seconds", static_cast<double>(base::monotonic_us() - begin_us_) / 1e6}};
}

// The camera's own last word.
ExitCode FirmwareSendRun::told() const {
  const Output& out = session_.out;
  const double seconds = static_cast<double>(base::monotonic_us() - begin_us_) / 1e6;
  const size_t size = image_.bytes.size();
  if (send_.phase() == Phase::kDone && send_.sent() == 0) {
    return out.done(kSendName,
                    "the camera has completed its transfer already, without any chunk of this "
                    "file: whether that was the same image is not known",
                    fields());
  }
  switch (send_.phase()) {
    case Phase::kDone:
      return out.done(
          kSendName,
          fmt::format(
              "the camera has the image: {} bytes, MD5 {}, {:.1f} s, {:.0f} kB/s; {} chunks "
              "for {}{}. It is in place within a second.",
              size, md5_, seconds, static_cast<double>(size) / 1e3 / seconds, send_.sent(),
              send_.count(),
              send_.dropped() > 0 ? fmt::format(", {} lost on purpose", send_.dropped()) : ""),
          fields());
    case Phase::kNoRoom:
      return fail(
          ExitCode::kRefused,
          fmt::format("the camera refuses an image of {} bytes: it has no memory for it", size));
    case Phase::kBusy:
      return fail(ExitCode::kRefused,
                  "the camera has had a transfer since it was started, and takes one per start. "
                  "If that one was interrupted, go on with --resume and the same file; otherwise "
                  "start the camera anew.");
    case Phase::kForgotten:
      return fail(ExitCode::kRefused,
                  "the camera knows of no announcement: it was started anew meanwhile, or its "
                  "transfer has failed. Send the image again.");
    default:
      return fail(ExitCode::kRefused,
                  fmt::format("the camera received the image but its MD5 is not {}; the image was "
                              "not put in place. Start the camera anew and send it again.",
                              md5_));
  }
}

// Nothing went on for too long.
ExitCode FirmwareSendRun::stopped() const {
  const bool heard = send_.silent_since_us() > send_.stands_since_us();
  if (send_.phase() == Phase::kSending && heard) {
    return fail(ExitCode::kRefused,
                "the camera says that the transfer is under way, but asks for nothing and gives "
                "no verdict: its card is full, or refuses the image. Make room and start the "
                "camera anew.");
  }
  const std::string where = endpoint_text(session_.link.options().camera);
  if (!session_.link.state().heartbeat.has_value()) {
    return fail(ExitCode::kNoCamera, fmt::format("no camera: no heartbeat from {}. Check that "
                                                 "this machine is in the camera's network.",
                                                 where));
  }
  if (send_.phase() == Phase::kAnnouncing) {
    return fail(ExitCode::kNoCamera,
                fmt::format("the camera at {} does not answer the announcement. While its card "
                            "holds images of other boards (gimbalfw, flyctrolfw, repeatorfw) it "
                            "takes none of its own; see firmware serve.",
                            where));
  }
  return fail(ExitCode::kNoCamera,
              fmt::format("the camera at {} has stopped asking for chunks", where));
}

}  // namespace

ExitCode send_firmware(Session& session, const FirmwareSendRequest& request) {
  FirmwareImage image;
  if (const std::string trouble = load_firmware(request.file, &image); !trouble.empty()) {
    return session.out.fail(kSendName, ExitCode::kRefused, trouble);
  }
  if (image.filled > 0) {
    session.out.note(fmt::format(
        "{} zero bytes are added: the announcement cannot carry the size exactly", image.filled));
  }
  return FirmwareSendRun(session, request, image).run();
}

}  // namespace groundstation
