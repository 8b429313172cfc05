// live: receives the camera's live video, writes it and shows how well it arrives.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "base/bytes.h"
#include "base/clock.h"
#include "base/descriptor.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/live/receiver.h"
#include "groundstation/live/recorder.h"
#include "groundstation/terminal/interrupts.h"

namespace groundstation {
namespace {

constexpr double kFirstPictureTimeoutS = 10;
constexpr uint64_t kSwitchOffUs = 2'500'000;
constexpr uint64_t kIdleUs = 300'000;  // after such a pause a picture is complete
constexpr uint64_t kLastPictureUs = 1'000'000;
constexpr uint64_t kTerminalPeriodUs = 200'000;
constexpr uint64_t kLogPeriodUs = 1'000'000;

struct LiveRequest {
  double seconds = 0;  // 0: until interrupted
  std::string file;    // empty: only the figures; "-": standard output
  uint16_t port = kLivePort;
  bool quiet = false;
};

double mbit_per_s(uint64_t bytes, uint64_t us) {
  return us == 0 ? 0 : static_cast<double>(bytes) * 8.0 / static_cast<double>(us);
}

// One run of the command: the receiver, the recorder, the file, and the line that shows progress.
class LiveRun {
 public:
  LiveRun(Session& session, const LiveRequest& request)
      : session_(session),
        request_(request),
        recorder_([this](std::span<const uint8_t> bytes) { return write(bytes); }) {}

  ExitCode run();

 private:
  Failure prepare();
  Failure receive(uint64_t first_picture_deadline);
  void finish_last_picture();
  void switch_off();
  ExitCode summary();
  Wait pump(uint64_t until_us);
  bool write(std::span<const uint8_t> bytes);
  void show_progress(uint64_t now);
  [[nodiscard]] std::string progress_text(uint64_t now);
  [[nodiscard]] uint64_t end_us() const;

  Session& session_;
  const LiveRequest& request_;
  LiveReceiver receiver_;
  LiveRecorder recorder_;
  base::File file_;
  int write_error_ = 0;
  uint64_t end_ = 0;
  uint64_t shown_us_ = 0;
  uint64_t shown_bytes_ = 0;
  bool line_open_ = false;
};

Failure LiveRun::prepare() {
  sockaddr_in local = session_.link.options().local;
  local.sin_port = htons(request_.port);
  const std::string trouble = receiver_.open(local, session_.link.options().camera.sin_addr);
  if (!trouble.empty()) return session_.out.fail("live", ExitCode::kNoCamera, trouble);
  if (request_.file.empty()) return std::nullopt;
  if (request_.file == "-") {
    file_.reset(::fdopen(::dup(STDOUT_FILENO), "wb"));
  } else {
    file_.reset(std::fopen(request_.file.c_str(), "wbe"));
  }
  if (file_ != nullptr) return std::nullopt;
  return session_.out.fail("live", ExitCode::kRefused,
                           fmt::format("cannot write {}: {}", request_.file, std::strerror(errno)));
}

bool LiveRun::write(std::span<const uint8_t> bytes) {
  if (file_ == nullptr) return true;
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size()) return true;
  write_error_ = errno;
  return false;
}

// Runs the link and hands over what the receiver has.
Wait LiveRun::pump(uint64_t until_us) {
  const Wait wait = session_.link.wait(
      until_us, [](const CameraEvent&) { return false; }, receiver_.wake_fd());
  for (const LiveDatagram& datagram : receiver_.take()) {
    recorder_.feed(datagram.at_us, datagram.bytes);
  }
  return wait;
}

uint64_t LiveRun::end_us() const {
  if (!recorder_.started() || request_.seconds <= 0) return UINT64_MAX;
  return recorder_.started_us() + base::saturate<uint64_t>(request_.seconds * 1e6);
}

Failure LiveRun::receive(uint64_t first_picture_deadline) {
  const CameraState& state = session_.link.state();
  uint64_t next_switch = 0;
  while (true) {
    uint64_t now = base::monotonic_us();
    // The camera's heartbeat tells whether the switch has arrived.
    if (now >= next_switch && (next_switch == 0 || !state.heartbeat->stream_on)) {
      session_.link.send(stream_switch_message(true));
      next_switch = now + kResendUs;
    }
    const Wait wait = pump(std::min(end_us(), now + kTerminalPeriodUs));
    now = base::monotonic_us();
    show_progress(now);
    if (recorder_.failed()) {
      return session_.out.fail(
          "live", ExitCode::kRefused,
          fmt::format("cannot write {}: {}", request_.file, std::strerror(write_error_)));
    }
    if (recorder_.started() ? now >= end_us() : now >= first_picture_deadline) break;
    if (wait == Wait::kInterrupted) break;
  }
  if (recorder_.started()) return std::nullopt;
  if (recorder_.figures().datagrams == 0) {
    const Wait wait = interrupted() != 0 ? Wait::kInterrupted : Wait::kTimeout;
    return no_answer(session_, "live", wait,
                     fmt::format("no live video came on UDP port {}", request_.port));
  }
  return session_.out.fail(
      "live", ExitCode::kNoCamera,
      fmt::format("{} datagrams came, but no key picture in time", recorder_.figures().datagrams));
}

// The picture that is arriving is taken to its end: until the next one begins, or a pause shows
// that it is complete. One that is still incomplete then is left out.
void LiveRun::finish_last_picture() {
  end_ = base::monotonic_us();
  const uint64_t give_up = end_ + kLastPictureUs;
  const uint64_t written = recorder_.pictures_written();
  clear_interrupt();
  while (base::monotonic_us() < give_up) {
    pump(base::monotonic_us() + kIdleUs / 6);
    if (recorder_.pictures_written() > written) return;
    if (base::monotonic_us() > recorder_.last_datagram_us() + kIdleUs) {
      recorder_.flush();
      return;
    }
  }
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
  if (wait != Wait::kMatched && signal == 0) {
    session_.out.note("the camera has not confirmed that live video is off");
  }
}

std::string LiveRun::progress_text(uint64_t now) {
  const LiveFigures figures = recorder_.figures();
  const double rate = mbit_per_s(figures.bytes - shown_bytes_, now - shown_us_);
  const double seconds =
      recorder_.started() ? static_cast<double>(now - recorder_.started_us()) / 1e6 : 0;
  const bool stalled = figures.datagrams > 0 && now > recorder_.last_datagram_us() + kStallUs;
  shown_bytes_ = figures.bytes;
  return fmt::format("{:6.1f} s  {:6.2f} Mbit/s  {} datagrams  {} pictures  {} gaps  {} stalls{}",
                     seconds, rate, figures.datagrams, figures.pictures, figures.gaps,
                     figures.stalls,
                     stalled                 ? "  (no data)"
                     : recorder_.started()   ? ""
                     : figures.datagrams > 0 ? "  (waiting for a key picture)"
                                             : "  (waiting for the camera)");
}

void LiveRun::show_progress(uint64_t now) {
  if (request_.quiet || session_.out.json()) return;
  std::FILE* to = session_.out.stream();
  const bool terminal = ::isatty(fileno(to)) == 1;
  if (shown_us_ == 0) shown_us_ = now;
  if (now - shown_us_ < (terminal ? kTerminalPeriodUs : kLogPeriodUs)) return;
  const std::string text = progress_text(now);
  shown_us_ = now;
  line_open_ = terminal;
  fmt::print(to, "{}{}{}", terminal ? "\r\x1b[K" : "", text, terminal ? "" : "\n");
  std::fflush(to);
}

ExitCode LiveRun::summary() {
  const LiveFigures figures = recorder_.figures();
  if (file_ != nullptr) {
    std::FILE* file = file_.release();
    const bool lost = std::ferror(file) != 0;
    if (std::fclose(file) != 0 || lost) {
      return session_.out.fail(
          "live", ExitCode::kRefused,
          fmt::format("cannot write {}: {}", request_.file, std::strerror(errno)));
    }
  }
  const uint64_t us = end_ > recorder_.started_us() ? end_ - recorder_.started_us() : 0;
  const double seconds = static_cast<double>(us) / 1e6;
  const double rate = mbit_per_s(figures.bytes_written, us);
  return session_.out.done(
      "live",
      fmt::format("live video: {:.1f} s, {} pictures, {:.2f} Mbit/s, {} datagrams, {} bytes{}; {} "
                  "gaps ({} pictures missing), {} stalls (longest pause {:.0f} ms), {} datagrams "
                  "dropped here",
                  seconds, recorder_.pictures_written(), rate, figures.datagrams,
                  figures.bytes_written,
                  request_.file.empty() ? "" : fmt::format(" in {}", request_.file), figures.gaps,
                  figures.missing, figures.stalls,
                  static_cast<double>(figures.longest_pause_us) / 1e3, receiver_.dropped()),
      {{"file", request_.file},
       {"seconds", seconds},
       {"pictures", recorder_.pictures_written()},
       {"mbit_per_s", rate},
       {"datagrams", figures.datagrams},
       {"bytes", figures.bytes},
       {"bytes_written", figures.bytes_written},
       {"gaps", figures.gaps},
       {"missing_pictures", figures.missing},
       {"stalls", figures.stalls},
       {"longest_pause_ms", static_cast<double>(figures.longest_pause_us) / 1e3},
       {"dropped", receiver_.dropped()}});
}

ExitCode LiveRun::run() {
  const uint64_t deadline = session_.deadline(kFirstPictureTimeoutS);
  if (Failure failure = meet_camera(session_, "live", deadline)) return *failure;
  if (Failure failure = prepare()) return *failure;
  session_.link.want_live_video(true);
  const Failure failure = receive(deadline);
  if (!failure) finish_last_picture();
  if (line_open_) session_.out.note("");
  switch_off();
  return failure ? *failure : summary();
}

ExitCode receive_live(Session& session, const LiveRequest& request) {
  // Standard output carries the video then, so everything else goes to the other stream.
  if (request.file == "-") session.out.set_stream(stderr);
  const ExitCode code = LiveRun(session, request).run();
  session.out.set_stream(stdout);
  return code;
}

}  // namespace

void add_live_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = add_command<LiveRequest>(
      app, "live",
      "Receive the live video and write it as H.264 (Annex B), from the first key picture on.\n"
      "Shows rate, gaps (pictures missing, by frame number) and stalls (pauses over 0.5 s).\n"
      "Ctrl-C ends it in order; the stream is switched off at the end.");
  command
      ->add_option("--seconds", request->seconds,
                   "How long, from the first key picture on (until Ctrl-C if not given)")
      ->check(CLI::PositiveNumber);
  command->add_option("-o,--output", request->file,
                      "File to write; - is standard output (not given: only the figures)");
  add_port(command, "--port", &request->port, "UDP port that the camera sends live video to");
  command->add_flag("-q,--quiet", request->quiet, "No progress, only the summary");
  run_with(command, request, chosen, receive_live);
}

}  // namespace groundstation
