#include "groundstation/commands/live_run.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/live/live_file.h"
#include "groundstation/live/player.h"
#include "groundstation/live/recorder.h"
#include "groundstation/terminal/interrupts.h"
#include "groundstation/terminal/progress_line.h"
#include "groundstation/terminal/rate.h"

namespace groundstation {
namespace {

constexpr const char* kLive = "live";
constexpr double kFirstPictureTimeoutS = 10;
constexpr uint64_t kSwitchOffUs = 2'500'000;
constexpr uint64_t kIdleUs = 300'000;  // after such a pause a picture is complete
constexpr uint64_t kLastPictureUs = 1'000'000;
constexpr uint64_t kTurnUs = 100'000;
constexpr uint64_t kSecondUs = 1'000'000;

uint64_t interval_us(const LiveRequest& request) {
  return base::saturate<uint64_t>(request.interval_s * 1e6);
}

double milliseconds(uint64_t us) { return static_cast<double>(us) / 1e3; }
double mbit(double bytes) { return bytes * 8 / 1e6; }

// The receiver, the recorder, where its pictures go, and what is told of it.
class LiveRun {
 public:
  LiveRun(Session& session, const LiveRequest& request)
      : session_(session),
        request_(request),
        recorder_([this](auto bytes, bool key) { return take_picture(bytes, key); }),
        rate_(std::max(kSecondUs, interval_us(request))),
        line_(session.out, request.quiet,
              request.interval_s > 0 ? interval_us(request) : kSecondUs) {}

  ExitCode run();

 private:
  Failure prepare();
  Failure receive(uint64_t first_picture_deadline);
  Failure nothing_to_show();
  void finish_last_picture();
  void switch_off();
  ExitCode summary();
  void pump(uint64_t until_us);
  bool take_picture(std::span<const uint8_t> bytes, bool key);
  [[nodiscard]] bool ends(uint64_t now, uint64_t first_picture_deadline) const;
  void show(uint64_t now);
  [[nodiscard]] std::string progress_text(uint64_t now) const;
  [[nodiscard]] std::string summary_text(uint64_t now) const;
  [[nodiscard]] nlohmann::json fields(uint64_t now) const;
  [[nodiscard]] double seconds(uint64_t now) const;
  ExitCode fail(ExitCode code, std::string_view sentence) {
    return session_.out.fail(kLive, code, sentence, fields(base::monotonic_us()));
  }

  Session& session_;
  const LiveRequest& request_;
  LiveReceiver receiver_;
  LiveRecorder recorder_;
  LiveFile file_;
  LivePlayer player_;
  Rate rate_;
  ProgressLine line_;
  bool player_gone_ = false;
  uint64_t end_ = 0;
  bool ends_stalled_ = false;
  uint64_t told_us_ = 0;
};

Failure LiveRun::prepare() {
  sockaddr_in local = session_.link.options().local;
  local.sin_port = htons(request_.port);
  std::string trouble = receiver_.open(local, session_.link.options().camera.sin_addr);
  if (!trouble.empty()) return session_.out.fail(kLive, ExitCode::kNoCamera, trouble);
  if (!request_.file.empty()) trouble = file_.open(request_.file, request_.force);
  if (trouble.empty() && request_.play) trouble = player_.start();
  if (trouble.empty()) return std::nullopt;
  return session_.out.fail(kLive, ExitCode::kRefused, trouble);
}

bool LiveRun::take_picture(std::span<const uint8_t> bytes, bool key) {
  if (player_.running() && !player_gone_) player_gone_ = !player_.show(bytes, key);
  return !file_.is_open() || file_.write(bytes);
}

// Runs the link and hands over what the receiver has.
void LiveRun::pump(uint64_t until_us) {
  session_.link.wait(
      until_us, [](const CameraEvent&) { return false; }, receiver_.wake_fd());
  Trace* trace = session_.link.options().trace;
  for (const LiveDatagram& datagram : receiver_.take()) {
    if (trace != nullptr) {
      trace->add(datagram.at_us, datagram.from, session_.link.own_address(request_.port),
                 datagram.bytes);
    }
    recorder_.feed(datagram.at_us, datagram.bytes);
  }
}

bool LiveRun::ends(uint64_t now, uint64_t first_picture_deadline) const {
  if (interrupted() != 0 || player_gone_ || recorder_.failed()) return true;
  if (!recorder_.started()) return now >= first_picture_deadline;
  return request_.seconds > 0 && seconds(now) >= request_.seconds;
}

Failure LiveRun::receive(uint64_t first_picture_deadline) {
  const CameraState& state = session_.link.state();
  uint64_t next_switch = 0;
  told_us_ = base::monotonic_us();
  for (uint64_t now = told_us_; !ends(now, first_picture_deadline); now = base::monotonic_us()) {
    // The camera's heartbeat tells whether the switch has arrived.
    if (now >= next_switch && (next_switch == 0 || !state.heartbeat->stream_on)) {
      session_.link.send(stream_switch_message(true));
      next_switch = now + kResendUs;
    }
    uint64_t until = now + kTurnUs;
    if (recorder_.started() && request_.seconds > 0) {
      until = std::min(until,
                       recorder_.started_us() + base::saturate<uint64_t>(request_.seconds * 1e6));
    }
    pump(until);
    show(base::monotonic_us());
  }
  end_ = base::monotonic_us();
  ends_stalled_ = recorder_.stalled_at(end_);
  return recorder_.started() ? std::nullopt : nothing_to_show();
}

// Why no picture came.
Failure LiveRun::nothing_to_show() {
  line_.clear();
  const uint64_t datagrams = recorder_.figures().datagrams;
  if (interrupted() != 0) return fail(ExitCode::kInterrupted, "interrupted before a picture came");
  if (datagrams == 0) {
    return no_answer(session_, kLive, Wait::kTimeout,
                     fmt::format("no live video came on UDP port {}", request_.port));
  }
  return fail(ExitCode::kNoCamera,
              fmt::format("{} datagrams came, but no key picture in time", datagrams));
}

// The picture that is arriving is taken to its end: until the next one begins, or a pause shows
// that it is complete. One that is still incomplete then is left out.
void LiveRun::finish_last_picture() {
  const uint64_t give_up = end_ + kLastPictureUs;
  const uint64_t written = recorder_.pictures_written();
  const uint64_t last = recorder_.last_datagram_us();
  clear_interrupt();
  while (base::monotonic_us() < give_up && interrupted() == 0 && !recorder_.failed()) {
    pump(base::monotonic_us() + kIdleUs / 6);
    if (recorder_.pictures_written() > written) break;
    if (base::monotonic_us() > recorder_.last_datagram_us() + kIdleUs) {
      recorder_.flush();
      break;
    }
  }
  // A pause that has ended after all is one like others.
  if (recorder_.last_datagram_us() != last) ends_stalled_ = false;
}

void LiveRun::switch_off() {
  const int signal = interrupted();
  clear_interrupt();
  CameraLink& link = session_.link;
  link.want_live_video(false);
  const auto off = [&](const CameraEvent& event) {
    const auto* beat = std::get_if<CameraHeartbeat>(&event);
    return beat != nullptr && !beat->stream_on;
  };
  const Wait wait =
      exchange(link, stream_switch_message(false), off, base::monotonic_us() + kSwitchOffUs);
  if (wait != Wait::kMatched && signal == 0 && !ends_stalled_) {
    session_.out.note("the camera has not confirmed that live video is off");
  }
}

double LiveRun::seconds(uint64_t now) const {
  if (!recorder_.started() || now < recorder_.started_us()) return 0;
  return static_cast<double>(now - recorder_.started_us()) / 1e6;
}

std::string LiveRun::progress_text(uint64_t now) const {
  const LiveFigures figures = recorder_.figures_at(now);
  const bool stalled = recorder_.stalled_at(now);
  return fmt::format("{:6.1f} s  {:6.2f} Mbit/s  {} pictures  {} gaps  {} stalls{}  {} datagrams",
                     seconds(now), mbit(rate_.per_second()), figures.pictures, figures.gaps,
                     figures.stalls,
                     stalled                 ? "  (no data)"
                     : recorder_.started()   ? ""
                     : figures.datagrams > 0 ? "  (waiting for a key picture)"
                                             : "  (waiting for the camera)",
                     figures.datagrams);
}

nlohmann::json LiveRun::fields(uint64_t now) const {
  const LiveFigures figures = recorder_.figures_at(now);
  return {{"file", request_.file},
          {"seconds", seconds(now)},
          {"pictures", recorder_.pictures_written()},
          {"mbit_per_s", mbit(rate_.per_second())},
          {"datagrams", figures.datagrams},
          {"bytes", figures.bytes},
          {"bytes_written", figures.bytes_written},
          {"gaps", figures.gaps},
          {"missing_pictures", figures.missing},
          {"stalls", figures.stalls},
          {"longest_pause_ms", milliseconds(figures.longest_pause_us)},
          {"stalled", recorder_.stalled_at(now)},
          {"not_shown", player_.skipped()},
          {"dropped", receiver_.dropped()}};
}

void LiveRun::show(uint64_t now) {
  rate_.note(now, recorder_.figures().bytes);
  if (line_.due(now)) line_.show(progress_text(now), now);
  if (!session_.out.json() || request_.interval_s <= 0) return;
  if (now < told_us_ + interval_us(request_)) return;
  told_us_ += interval_us(request_);
  nlohmann::json figures = fields(now);
  figures["command"] = kLive;
  figures["event"] = "figures";
  // Not so while it stands still, or has not begun.
  figures["ok"] = recorder_.started() && !recorder_.stalled_at(now);
  session_.out.event("", figures);
}

std::string LiveRun::summary_text(uint64_t now) const {
  const LiveFigures figures = recorder_.figures_at(now);
  return fmt::format(
      "live video: {:.1f} s, {} pictures, {:.2f} Mbit/s, {} datagrams, {} bytes{}; {} gaps ({} "
      "pictures missing), {} stalls (longest pause {:.0f} ms), {} datagrams dropped here{}",
      seconds(now), recorder_.pictures_written(),
      seconds(now) > 0 ? mbit(static_cast<double>(figures.bytes_written)) / seconds(now) : 0,
      figures.datagrams, figures.bytes_written,
      request_.file.empty() ? "" : fmt::format(" in {}", request_.file), figures.gaps,
      figures.missing, figures.stalls, milliseconds(figures.longest_pause_us), receiver_.dropped(),
      player_.skipped() > 0 ? fmt::format(", {} pictures not shown since {} is too slow",
                                          player_.skipped(), player_.name())
                            : "");
}

ExitCode LiveRun::summary() {
  nlohmann::json told = fields(end_);
  const double length = seconds(end_);
  const double bytes = static_cast<double>(recorder_.figures().bytes_written);
  told["mbit_per_s"] = length > 0 ? mbit(bytes) / length : 0;
  told["stalled"] = ends_stalled_;
  const Output& out = session_.out;
  const int player_status = player_.finish();
  std::string trouble = file_.trouble();
  if (trouble.empty()) trouble = file_.close();
  if (trouble.empty() && player_gone_ && player_status != 0) {
    trouble = fmt::format("{} ended with status {}: is there a display to show the video on?",
                          player_.name(), player_status);
  }
  if (!trouble.empty() || ends_stalled_) out.note(summary_text(end_));
  if (!trouble.empty()) return out.fail(kLive, ExitCode::kRefused, trouble, told);
  if (!ends_stalled_) return out.done(kLive, summary_text(end_), told);
  const double still_s = static_cast<double>(end_ - recorder_.last_datagram_us()) / 1e6;
  return out.fail(kLive, ExitCode::kNoCamera,
                  fmt::format("no live video came in the last {:.1f} s: the camera, its encoder or "
                              "the link has stopped. What came before is kept.",
                              still_s),
                  told);
}

ExitCode LiveRun::run() {
  const uint64_t deadline = session_.deadline(kFirstPictureTimeoutS);
  if (Failure failure = meet_camera(session_, kLive, deadline)) return *failure;
  if (Failure failure = prepare()) return *failure;
  session_.link.want_live_video(true);
  const Failure failure = receive(deadline);
  if (!failure) finish_last_picture();
  line_.clear();
  switch_off();
  return failure ? *failure : summary();
}

}  // namespace

ExitCode run_live(Session& session, const LiveRequest& request) {
  // Standard output carries the video then, so everything else goes to the other stream.
  if (request.file == "-") session.out.set_stream(stderr);
  const ExitCode code = LiveRun(session, request).run();
  session.out.set_stream(stdout);
  return code;
}

}  // namespace groundstation
