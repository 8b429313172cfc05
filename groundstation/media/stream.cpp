// The part of MediaClient that runs downloads: one stream after the other.
#include <algorithm>
#include <limits>

#include "base/clock.h"
#include "groundstation/media/client.h"

namespace groundstation {
namespace {

constexpr uint64_t kStreamTurnUs = 20'000;
constexpr uint64_t kStreamStalledUs = 1'000'000;
constexpr uint64_t kCancelSilenceUs = 40'000;
constexpr uint64_t kCancelAgainUs = 20'000;
constexpr uint64_t kLongestRequestWaitUs = 2'000'000;
constexpr uint64_t kLeadStep = 2;  // datagrams
constexpr uint64_t kLeadSlack = 40;
constexpr uint64_t kProgressUs = 100'000;
// So many streams that proved nothing: no window of this file will ever be proved.
constexpr uint32_t kMostFruitless = 400;

}  // namespace

// One stream, from its request to its end.
struct MediaClient::Stream {
  MediaKind kind;
  const std::string& name;
  MediaDownload* download;
  uint8_t base;  // number of the frame before the start notice
  uint64_t requested_us = 0;
  uint64_t last_event_us = 0;
  uint64_t cancelled_us = 0;  // when the camera was last asked to stop; 0: not
  int requests = 0;
  uint64_t useless = 0;  // datagrams after the last one of use
  bool started = false;
  bool ended = false;
  bool not_found = false;
};

MediaResult MediaClient::download(MediaKind kind, const std::string& name, MediaDownload* download,
                                  const std::function<void()>& progress) {
  if (!last_sequence_.has_value()) {
    if (const MediaResult result = ping(); result != MediaResult::kDone) return result;
  }
  while (!download->done()) {
    if (download->failed() || download->fruitless() > kMostFruitless) return MediaResult::kRefused;
    const MediaResult result = run_stream(kind, name, download, progress);
    if (result != MediaResult::kDone) {
      link_.send(media_request(kind, name, MediaOperation::kCancel));
      return result;
    }
  }
  return MediaResult::kDone;
}

MediaResult MediaClient::run_stream(MediaKind kind, const std::string& name,
                                    MediaDownload* download,
                                    const std::function<void()>& progress) {
  Stream stream{kind, name, download, *last_sequence_};
  const MediaResult result = follow_stream(&stream, progress);
  // A second stream of the same request must not be taken for one of the next.
  if (result == MediaResult::kDone && stream.requests > 1) return settle();
  return result;
}

// Sends the request, for the first time or when the answer is overdue. False when the camera has
// been silent for too long.
bool MediaClient::ask_again(Stream* stream) {
  const uint64_t now = base::monotonic_us();
  if (stream->requests > 0) {
    uint64_t wait_us = first_wait_us();
    for (int i = 1; i < stream->requests; i++)
      wait_us = std::min(wait_us * 2, kLongestRequestWaitUs);
    if (now < stream->requested_us + wait_us) return true;
    if (now > stream->last_event_us + patience_us_) return false;
  } else {
    stream->last_event_us = now;
  }
  link_.send(media_request(stream->kind, stream->name, MediaOperation::kDownload,
                           stream->download->offset()));
  stream->requested_us = now;
  stream->requests++;
  streams_++;
  return true;
}

MediaResult MediaClient::follow_stream(Stream* stream, const std::function<void()>& progress) {
  uint64_t shown_us = 0;
  const auto on_event = [&](const MediaEvent& event) {
    const Turn turn = stream_event(stream, event);
    if (stream->last_event_us > shown_us + kProgressUs) {
      shown_us = stream->last_event_us;
      progress();
    }
    return turn;
  };
  while (true) {
    if (!stream->started && !ask_again(stream)) return MediaResult::kNoAnswer;
    const Wait wait = pump(base::monotonic_us() + kStreamTurnUs, on_event);
    if (wait == Wait::kInterrupted) return MediaResult::kInterrupted;
    if (stream->not_found) return MediaResult::kNotFound;
    if (stream->ended) return MediaResult::kDone;
    const uint64_t silence_us = base::monotonic_us() - stream->last_event_us;
    if (stream->started &&
        silence_us > (stream->cancelled_us != 0 ? kCancelSilenceUs : kStreamStalledUs)) {
      return resolve_silence(stream);
    }
  }
}

MediaClient::Turn MediaClient::stream_event(Stream* stream, const MediaEvent& event) {
  stream->last_event_us = base::monotonic_us();
  if (const auto* data = std::get_if<MediaData>(&event)) {
    if (data->channel == kMediaFileChannel) stream_data(stream, data->bytes);
  } else if (const auto* notice = std::get_if<MediaNotice>(&event)) {
    stream_notice(stream, *notice);
  }
  return stream->ended || stream->not_found ? Turn::kStop : Turn::kGoOn;
}

void MediaClient::stream_data(Stream* stream, std::span<const uint8_t> bytes) {
  if (!stream->started) {
    // The start notice is missing; the number of the end notice will tell whether only that.
    stream->started = true;
    stream->download->start();
  }
  MediaDownload* download = stream->download;
  if (download->wants_more()) {
    download->data(bytes);
  } else {
    overrun_++;
    stream->useless++;
  }
  // A sender with a long queue has to be told ahead of time.
  const bool enough = !download->wants_more() || download->still_useful().value_or(
                                                     std::numeric_limits<uint64_t>::max()) <= lead_;
  const bool told =
      stream->cancelled_us != 0 && stream->last_event_us < stream->cancelled_us + kCancelAgainUs;
  if (enough && !told) cancel_stream(stream);
}

void MediaClient::cancel_stream(Stream* stream) {
  link_.send(media_request(stream->kind, stream->name, MediaOperation::kCancel));
  stream->cancelled_us = stream->last_event_us;
}

// The longer the stream went on in vain, the earlier the next one is told to end; some are left in
// vain, since what a stream lacks at the end of its window costs another one.
void MediaClient::learn_lead(const Stream& stream) {
  if (stream.cancelled_us == 0) return;
  if (stream.download->wants_more()) {
    lead_ -= std::min(lead_, lead_ / 8 + kLeadStep);
  } else if (stream.useless > kLeadSlack) {
    lead_ += (stream.useless - kLeadSlack) / 2;
  }
}

void MediaClient::stream_notice(Stream* stream, const MediaNotice& notice) {
  if (notice.is("TRANSSTART", stream->name)) {
    if (!stream->started && stream->requests == 1) {
      note_answer_time(stream->last_event_us - stream->requested_us);
    }
    stream->base = static_cast<uint8_t>(notice.sequence - 1);
    stream->started = true;
    stream->cancelled_us = 0;
    stream->useless = 0;
    stream->download->start();
    return;
  }
  const bool complete = notice.is("TRANSCOMPLETE", stream->name);
  if (complete || notice.is("TRANSCANCELED", stream->name)) {
    if (stream->started) {
      stream->ended = true;
      learn_lead(*stream);
      stream->download->end(complete, static_cast<uint8_t>(notice.sequence - stream->base) == 2);
    } else {
      stream->base = notice.sequence;  // of an earlier stream
    }
  } else if (notice.text == "NOTEXIST" && !stream->started) {
    stream->not_found = true;
  }
}

// The end notice is missing, or the stream stands still. The answer to a ping comes when the stream
// is over, and its number tells whether just the end notice is missing.
MediaResult MediaClient::resolve_silence(Stream* stream) {
  int sends = 0;
  uint8_t sequence = 0;
  const MediaResult result = ask(
      media_request(MediaKind::kPhoto, "?", MediaOperation::kSize),
      [&](const MediaEvent& event) {
        const auto* notice = std::get_if<MediaNotice>(&event);
        if (notice != nullptr && notice->text == "NOTEXIST") {
          sequence = notice->sequence;
          return Turn::kStop;
        }
        return stream_event(stream, event);
      },
      &sends);
  if (result != MediaResult::kDone) return result;
  if (stream->ended) return settle();  // the ping has still to be answered
  stream->ended = true;
  stream->download->end(false, sends == 1 && static_cast<uint8_t>(sequence - stream->base) == 3);
  return sends > 1 ? settle() : MediaResult::kDone;
}

}  // namespace groundstation
