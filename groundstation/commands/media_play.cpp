// media play: a video from some time on, as H.264, with keys to pause, resume and seek.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/media.h"
#include "groundstation/media/file.h"
#include "groundstation/media/playback.h"
#include "groundstation/terminal/key_input.h"
#include "groundstation/terminal/progress_line.h"

namespace groundstation {
namespace {

constexpr double kPlayPatienceS = 10;
constexpr uint64_t kKeyTurnUs = 50'000;
constexpr uint64_t kAskAgainUs = 1'000'000;
constexpr uint64_t kPlaySilenceUs = 2'000'000;
constexpr double kSeekStepS = 10;
constexpr uint64_t kProbeAgainUs = 300'000;

class PlayRun {
 public:
  PlayRun(MediaSession& media, const MediaRequest& request)
      : media_(media),
        request_(request),
        keys_(request.keys),
        stream_([this](auto bytes) {
          const bool written = file_.write(written_, bytes);
          written_ += bytes.size();
          return written;
        }),
        line_(media.session.out, request.quiet) {}

  ExitCode run();

 private:
  ExitCode receive();
  void ask_how_it_ended(uint64_t give_up);
  bool take(const MediaEvent& event);
  void take_notice(const MediaNotice& notice);
  void read_key(uint64_t now);
  void take_key(char key);
  void pause(bool on);
  void seek(double seconds);
  void send(MediaOperation operation, double seconds = 0);
  void show_progress(uint64_t now);
  [[nodiscard]] double position_s() const;
  ExitCode summary();

  MediaSession& media_;
  const MediaRequest& request_;
  KeyInput keys_;
  MediaFile file_;
  uint64_t written_ = 0;
  PlaybackStream stream_;
  MediaSize size_;
  bool started_ = false;
  bool complete_ = false;
  bool answers_ = true;  // when asked why nothing comes any more
  bool quit_ = false;
  bool paused_ = false;
  uint64_t last_us_ = 0;
  std::optional<uint8_t> sequence_;  // of the newest notice of the playback
  ProgressLine line_;
  uint64_t next_key_us_ = 0;
  double seek_s_ = 0;        // where the camera said it plays from
  uint64_t seek_bytes_ = 0;  // received by then
};

void PlayRun::send(MediaOperation operation, double seconds) {
  media_.link.send(media_request(MediaKind::kVideo, request_.name, operation,
                                 base::saturate<uint64_t>(seconds * 1000)));
  last_us_ = base::monotonic_us();
}

// Playback is not paced and carries no time, so the share of the file that has come must do.
double PlayRun::position_s() const {
  const double duration = static_cast<double>(size_.seconds.value_or(0));
  const double share = static_cast<double>(stream_.figures().bytes_written - seek_bytes_) /
                       static_cast<double>(std::max<uint64_t>(size_.bytes, 1));
  return std::min(seek_s_ + share * duration, duration);
}

void PlayRun::take_notice(const MediaNotice& notice) {
  sequence_ = notice.sequence;
  if (notice.is("TRANSCOMPLETE", request_.name)) complete_ = started_;
  const auto time = notice.field("TIME");
  if (!time.has_value() || !media_number(*time).has_value()) return;
  started_ = true;
  seek_s_ = static_cast<double>(*media_number(*time)) / 1000;
  seek_bytes_ = stream_.figures().bytes_written;
}

// False when the file cannot be written.
bool PlayRun::take(const MediaEvent& event) {
  last_us_ = base::monotonic_us();
  if (const auto* notice = std::get_if<MediaNotice>(&event)) take_notice(*notice);
  const auto* data = std::get_if<MediaData>(&event);
  if (data == nullptr || data->channel != kMediaPlayChannel) return true;
  started_ = true;
  return stream_.feed(data->bytes);
}

void PlayRun::pause(bool on) {
  paused_ = on;
  send(on ? MediaOperation::kPause : MediaOperation::kResume);
  line_.clear();
  media_.session.out.note(on ? "pause" : "play");
}

void PlayRun::seek(double seconds) {
  const double to = std::max(seconds, 0.0);
  send(MediaOperation::kSeek, to);
  line_.clear();
  media_.session.out.note(fmt::format("seek to {:.1f} s", to));
}

void PlayRun::take_key(char key) {
  const std::map<char, std::function<void()>> actions{
      {' ', [&] { pause(!paused_); }},
      {'p', [&] { pause(true); }},
      {'r', [&] { pause(false); }},
      {'-', [&] { seek(position_s() - kSeekStepS); }},
      {'+', [&] { seek(position_s() + kSeekStepS); }},
      {'q', [&] { quit_ = true; }},
  };
  if (key >= '0' && key <= '9') {
    seek(static_cast<double>(size_.seconds.value_or(0)) * (key - '0') / 10);
  } else if (const auto action = actions.find(key); action != actions.end()) {
    action->second();
  }
}

void PlayRun::read_key(uint64_t now) {
  next_key_us_ = now + kKeyTurnUs;
  if (const char key = keys_.read(); key != 0) take_key(key);
}

void PlayRun::show_progress(uint64_t now) {
  if (!line_.due(now)) return;
  const PlaybackFigures& figures = stream_.figures();
  line_.show(
      fmt::format("{:6.1f} s  {} pictures  {:.1f} MB{}", position_s(), figures.pictures,
                  static_cast<double>(figures.bytes_written) / 1e6, paused_ ? "  (paused)" : ""),
      now);
}

ExitCode PlayRun::receive() {
  uint64_t asked_us = 0;
  const uint64_t begin = base::monotonic_us();
  const double patience_s =
      media_.session.timeout_s > 0 ? media_.session.timeout_s : kPlayPatienceS;
  const uint64_t give_up = begin + base::saturate<uint64_t>(patience_s * 1e6);
  while (!complete_ && !quit_) {
    const uint64_t now = base::monotonic_us();
    if (!started_ && now >= give_up) return ExitCode::kNoCamera;
    if (!started_ && now >= asked_us + kAskAgainUs) {
      send(MediaOperation::kPlay, request_.from_s);
      asked_us = now;
    }
    MediaEvent event;
    const Wait wait = media_.link.next(now + kKeyTurnUs, &event);
    if (wait == Wait::kInterrupted) quit_ = true;
    if (wait == Wait::kMatched && !take(event)) return ExitCode::kRefused;
    if (now >= next_key_us_) read_key(now);
    if (started_ && !paused_ && now > last_us_ + kPlaySilenceUs) {
      ask_how_it_ended(now + base::saturate<uint64_t>(patience_s * 1e6));
      break;
    }
    show_progress(now);
  }
  return ExitCode::kDone;
}

// The notice of the end comes once and may be lost. The answer to a size query of a name that no
// file has comes when the playback is over, and its number tells whether one notice lies between.
void PlayRun::ask_how_it_ended(uint64_t give_up) {
  const auto query = media_request(MediaKind::kPhoto, "?", MediaOperation::kSize);
  answers_ = false;
  for (int sent = 1; base::monotonic_us() < give_up && !quit_ && !answers_; sent++) {
    media_.link.send(query);
    const uint64_t until = base::monotonic_us() + kProbeAgainUs;
    MediaEvent event;
    for (Wait wait = Wait::kMatched; wait == Wait::kMatched && !answers_;) {
      wait = media_.link.next(until, &event);
      if (wait == Wait::kInterrupted) quit_ = true;
      const auto* notice = wait == Wait::kMatched ? std::get_if<MediaNotice>(&event) : nullptr;
      if (notice == nullptr) continue;
      answers_ = true;
      const bool one_between = sequence_.has_value() && sent == 1 &&
                               static_cast<uint8_t>(notice->sequence - *sequence_) == 2;
      complete_ =
          notice->is("TRANSCOMPLETE", request_.name) || (notice->text == "NOTEXIST" && one_between);
    }
  }
}

ExitCode PlayRun::summary() {
  const PlaybackFigures& figures = stream_.figures();
  const std::vector<MissingByte>& missing = stream_.missing();
  nlohmann::json places = nlohmann::json::array();
  for (const MissingByte& byte : missing) {
    places.push_back({{"picture", byte.picture}, {"at", byte.at}});
  }
  std::string text = fmt::format(
      "{}: {} pictures, {} bytes{}{}", request_.name, figures.pictures, figures.bytes_written,
      request_.output.empty() ? "" : fmt::format(" in {}", request_.output),
      quit_ && !complete_ ? ", ended here" : "");
  if (figures.stray > 0) text += fmt::format("; {} pieces without a beginning", figures.stray);
  if (!missing.empty()) {
    text += fmt::format("; {} of the pictures lack their last byte, which the camera never sends",
                        missing.size());
  }
  const nlohmann::json fields{{"name", request_.name},          {"file", request_.output},
                              {"pictures", figures.pictures},   {"bytes", figures.bytes_written},
                              {"datagrams", figures.datagrams}, {"stray", figures.stray},
                              {"complete", complete_},          {"missing_last_bytes", places}};
  const Output& out = media_.session.out;
  if (complete_ || quit_) return out.done(media_.command, text, fields);
  out.note(text);
  return out.fail(media_.command, ExitCode::kNoCamera,
                  fmt::format("{}; what came before is in {}",
                              answers_ ? "the playback broke off before its end: the camera could "
                                         "not read on, or somebody else asked it for something"
                                       : "the camera has stopped sending during the playback",
                              request_.output),
                  fields);
}

ExitCode PlayRun::run() {
  const Output& out = media_.session.out;
  const MediaResult result = media_size(media_, MediaKind::kVideo, request_.name, &size_);
  if (result != MediaResult::kDone) return media_failed(media_, result, request_.name, "");
  if (const std::string trouble = file_.open(request_.output, request_.force); !trouble.empty()) {
    return out.fail(media_.command, ExitCode::kRefused, trouble);
  }
  const ExitCode code = receive();
  if (!complete_ && answers_) {
    std::string cancelled;
    (void)media_.client.cancel(&cancelled);
  }
  stream_.finish();
  line_.clear();
  if (code == ExitCode::kNoCamera) {
    return out.fail(media_.command, code,
                    fmt::format("nothing of {} came: the camera plays H.264 only", request_.name));
  }
  std::string trouble = code == ExitCode::kDone ? file_.finish() : file_.trouble();
  if (!trouble.empty()) return out.fail(media_.command, ExitCode::kRefused, trouble);
  return summary();
}

}  // namespace

void add_media_play_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                            Action* chosen) {
  CLI::App* play = media.add_subcommand(
      "play",
      "Play a video from the card into a file, as H.264 (Annex B), as fast as the link takes it.\n"
      "Keys: space pauses and resumes (also p and r), + and - seek by 10 s, 0 to 9 seek to tenths\n"
      "of the video, q ends. The camera never sends the last byte of a picture over 8181 bytes;\n"
      "--json tells which. Ctrl-C ends it in order.");
  play->add_option("NAME", request->name, "Video on the card")->required();
  takes_seconds(play->add_option("--from", request->from_s,
                                 "Where to begin: playback begins at the key picture there"),
                true);
  play->add_option("-o,--output", request->output, "File to write")->required();
  play->add_flag("-f,--force", request->force, "Replace a file that is here");
  play->add_flag("--keys", request->keys, "Read keys though standard input is no terminal");
  play->add_flag("-q,--quiet", request->quiet, "No progress");
  play->callback([request, chosen] {
    if (known_media_kind(request->name) != MediaKind::kVideo) {
      throw CLI::ValidationError("NAME", "only videos (MP4) can be played");
    }
    *chosen =
        media_action("media play", request->port, kPlayPatienceS,
                     [request](MediaSession& session) { return PlayRun(session, *request).run(); });
  });
}

}  // namespace groundstation
