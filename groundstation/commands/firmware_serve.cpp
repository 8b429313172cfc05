// firmware serve: plays a board and receives the image that the camera pushes to it.
#include <fmt/format.h>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/firmware.h"
#include "groundstation/firmware/image.h"
#include "groundstation/firmware/serve.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/media/file.h"
#include "groundstation/terminal/progress_line.h"

namespace groundstation {
namespace {

constexpr const char* kServeName = "firmware serve";
constexpr double kServePatienceS = 15;
constexpr uint64_t kServeTurnUs = 10'000;
constexpr int kVerdictSends = 5;
constexpr uint64_t kVerdictPauseUs = 100'000;

std::string board_name(uint8_t board) {
  switch (board) {
    case kBoardGimbal:
      return "gimbal";
    case kBoardFlightController:
      return "flight controller";
    case kBoardRepeater:
      return "repeater";
    default:
      return "board";
  }
}

class FirmwareServeRun {
 public:
  FirmwareServeRun(Session& session, const FirmwareServeRequest& request)
      : session_(session), request_(request), serve_(request.board, request.drop_every) {}

  ExitCode run();

 private:
  Wait receive();
  void show(ProgressLine* line, uint64_t now) const;
  [[nodiscard]] ExitCode unfinished(Wait wait) const;
  [[nodiscard]] bool send_verdict(bool good);
  [[nodiscard]] std::string save(MediaFile* file) const;
  ExitCode fail(ExitCode code, std::string_view sentence) const {
    return session_.out.fail(kServeName, code, sentence, {{"board", board_name(serve_.board())}});
  }

  Session& session_;
  const FirmwareServeRequest& request_;
  FirmwareServe serve_;
  uint64_t begin_us_ = base::monotonic_us();
};

Wait FirmwareServeRun::receive() {
  ProgressLine line(session_.out, request_.quiet);
  uint64_t noted = 0;
  const double patience = session_.timeout_s > 0 ? session_.timeout_s : kServePatienceS;
  const auto patience_us = base::saturate<uint64_t>(patience * 1e6);
  while (!serve_.complete()) {
    const uint64_t now = base::monotonic_us();
    if (now > std::max(begin_us_, serve_.heard_us()) + patience_us) return Wait::kTimeout;
    if (const auto message = serve_.due(now)) session_.link.send(*message, serve_.system());
    // Each frame may make something due, so each one ends the wait.
    const Wait wait =
        session_.link.wait(now + kServeTurnUs, [](const CameraEvent&) { return false; });
    if (wait == Wait::kInterrupted) return wait;
    if (serve_.announced() && noted == 0) {
      noted = now;
      session_.out.note(fmt::format("the camera announces {} bytes for the {}",
                                    serve_.image().size(), board_name(serve_.board())));
    }
    show(&line, now);
  }
  return Wait::kMatched;
}

void FirmwareServeRun::show(ProgressLine* line, uint64_t now) const {
  if (!serve_.announced() || !line->due(now)) return;
  const double mb = static_cast<double>(serve_.image().size()) / 1e6;
  line->show(fmt::format("{}  {:.1f} MB in all, {} chunks twice",
                         bar_text(serve_.received(), serve_.count()), mb, serve_.duplicates()),
             now);
}

bool FirmwareServeRun::send_verdict(bool good) {
  for (int i = 0; i < kVerdictSends; i++) {
    session_.link.send(serve_.verdict(good), serve_.system());
    const Wait wait = session_.link.wait(base::monotonic_us() + kVerdictPauseUs,
                                         [](const CameraEvent&) { return false; });
    if (wait == Wait::kInterrupted) return false;
  }
  return true;
}

ExitCode FirmwareServeRun::unfinished(Wait wait) const {
  if (wait == Wait::kInterrupted) return fail(ExitCode::kInterrupted, "interrupted");
  const std::string where = endpoint_text(session_.link.options().camera);
  if (serve_.announced()) {
    return fail(ExitCode::kNoCamera,
                fmt::format("the camera at {} has fallen silent; {} of {} chunks are here", where,
                            serve_.received(), serve_.count()));
  }
  if (!session_.link.state().heartbeat.has_value()) {
    return fail(ExitCode::kNoCamera, fmt::format("no camera: no heartbeat from {}. Check that "
                                                 "this machine is in the camera's network.",
                                                 where));
  }
  return fail(ExitCode::kNoCamera,
              fmt::format("the camera at {} announces no image for the {}. It pushes what its card "
                          "held when it started (gimbalfw, flyctrolfw, repeatorfw), in this order.",
                          where, board_name(serve_.board())));
}

std::string FirmwareServeRun::save(MediaFile* file) const {
  if (request_.output.empty()) return "";
  return file->write(0, serve_.image()) ? file->finish() : file->trouble();
}

ExitCode FirmwareServeRun::run() {
  MediaFile file;
  if (!request_.output.empty()) {
    const std::string trouble = file.open(request_.output, request_.force);
    if (!trouble.empty()) return fail(ExitCode::kRefused, trouble);
  }
  session_.link.watch_frames([this](const flightlink::MavlinkMessage& frame) {
    serve_.take(frame, base::monotonic_us());
    return true;
  });
  const Wait wait = receive();
  session_.link.watch_frames({});
  if (wait != Wait::kMatched) return unfinished(wait);
  const std::string md5 = md5_text(serve_.image());
  const bool good = md5 == serve_.md5();
  const std::string trouble = good ? save(&file) : "";
  const double seconds = static_cast<double>(base::monotonic_us() - begin_us_) / 1e6;
  const bool through = send_verdict(good && trouble.empty());
  if (!good) {
    return fail(ExitCode::kRefused, fmt::format("the MD5 is {}, not {} as the camera says; it was "
                                                "told that the update is given up",
                                                md5, serve_.md5()));
  }
  if (!trouble.empty()) return fail(ExitCode::kRefused, trouble);
  if (!through) return fail(ExitCode::kInterrupted, "interrupted");
  return session_.out.done(
      kServeName,
      fmt::format(
          "the {} has its image: {} bytes, MD5 {}, {:.1f} s{}{}", board_name(serve_.board()),
          serve_.image().size(), md5, seconds,
          request_.output.empty() ? "" : ", in " + request_.output,
          serve_.dropped() > 0 ? fmt::format("; {} chunks lost on purpose", serve_.dropped()) : ""),
      {{"board", board_name(serve_.board())},
       {"bytes", serve_.image().size()},
       {"md5", md5},
       {"chunks", serve_.count()},
       {"chunks_dropped", serve_.dropped()},
       {"duplicates", serve_.duplicates()},
       {"version_asked", serve_.version_asked()},
       {"seconds", seconds}});
}

}  // namespace

ExitCode serve_firmware(Session& session, const FirmwareServeRequest& request) {
  return FirmwareServeRun(session, request).run();
}

}  // namespace groundstation
