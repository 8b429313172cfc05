#include "groundstation/media/client.h"

#include <algorithm>

#include "base/clock.h"

namespace groundstation {
namespace {

constexpr uint64_t kUnmeasuredWaitUs = 250'000;
constexpr uint64_t kShortestWaitUs = 30'000;
constexpr uint64_t kLongestWaitUs = 1'000'000;
constexpr uint64_t kQuietUs = 60'000;  // so long after an answer a late second one would have come
constexpr uint64_t kListSilenceUs = 300'000;
constexpr int kEmptyRounds = 4;  // answers without a record before a list counts as empty
constexpr int kDeleteTries = 4;
constexpr uint64_t kThumbnailTurnUs = 2'000'000;
constexpr uint64_t kCancelUs = 200'000;
// No card has a file of this name, so a size query for it has a short answer: "NOTEXIST".
constexpr const char* kPingName = "?";

flightlink::MavlinkMessage ping_request() {
  return media_request(MediaKind::kPhoto, kPingName, MediaOperation::kSize);
}

bool says_not_found(const MediaEvent& event) {
  const auto* notice = std::get_if<MediaNotice>(&event);
  return notice != nullptr && notice->text == "NOTEXIST";
}

MediaResult result_of(Wait wait) {
  return wait == Wait::kInterrupted ? MediaResult::kInterrupted : MediaResult::kNoAnswer;
}

}  // namespace

Wait MediaClient::pump(uint64_t until_us, const Handler& handler) {
  while (true) {
    MediaEvent event;
    const Wait wait = link_.next(until_us, &event);
    if (wait != Wait::kMatched) return wait;
    if (const auto* notice = std::get_if<MediaNotice>(&event)) last_sequence_ = notice->sequence;
    if (const auto* record = std::get_if<MediaRecord>(&event)) last_sequence_ = record->sequence;
    if (handler(event) == Turn::kStop) return Wait::kMatched;
  }
}

uint64_t MediaClient::first_wait_us() const {
  if (slowest_start_us_ == 0) return kUnmeasuredWaitUs;
  return std::clamp(slowest_start_us_ * 4, kShortestWaitUs, kUnmeasuredWaitUs);
}

void MediaClient::note_answer_time(uint64_t us) {
  slowest_start_us_ = std::max({us, slowest_start_us_ - slowest_start_us_ / 8, uint64_t{1}});
}

MediaResult MediaClient::ask(const flightlink::MavlinkMessage& request, const Handler& handler,
                             int* sends) {
  const uint64_t give_up = base::monotonic_us() + patience_us_;
  uint64_t wait_us = first_wait_us();
  int sent = 0;
  while (true) {
    const uint64_t now = base::monotonic_us();
    if (now >= give_up) return MediaResult::kNoAnswer;
    link_.send(request);
    sent++;
    if (sends != nullptr) *sends = sent;
    const Wait wait = pump(std::min(give_up, now + wait_us), handler);
    if (wait == Wait::kInterrupted) return MediaResult::kInterrupted;
    if (wait == Wait::kMatched) {
      if (sent == 1) note_answer_time(base::monotonic_us() - now);
      return MediaResult::kDone;
    }
    wait_us = std::min(wait_us * 2, kLongestWaitUs);
  }
}

MediaResult MediaClient::ping() {
  return ask(ping_request(), [](const MediaEvent& event) {
    return says_not_found(event) ? Turn::kStop : Turn::kGoOn;
  });
}

// Until everything that was asked for twice has been answered twice and nothing runs. The ping
// itself ends what runs, since the camera gives way to new work.
MediaResult MediaClient::settle() {
  const uint64_t give_up = base::monotonic_us() + patience_us_;
  while (base::monotonic_us() < give_up) {
    if (const MediaResult result = ping(); result != MediaResult::kDone) return result;
    const Wait wait =
        pump(base::monotonic_us() + kQuietUs, [](const MediaEvent&) { return Turn::kStop; });
    if (wait == Wait::kTimeout) return MediaResult::kDone;
    if (wait == Wait::kInterrupted) return MediaResult::kInterrupted;
  }
  return MediaResult::kNoAnswer;
}

MediaResult MediaClient::size(MediaKind kind, const std::string& name, MediaSize* size) {
  bool found = false;
  int sends = 0;
  const MediaResult result = ask(
      media_request(kind, name, MediaOperation::kSize),
      [&](const MediaEvent& event) {
        if (says_not_found(event)) return Turn::kStop;
        const auto* notice = std::get_if<MediaNotice>(&event);
        const auto bytes = notice != nullptr ? notice->field("FSIZE") : std::nullopt;
        const auto number = bytes.has_value() ? media_number(*bytes) : std::nullopt;
        if (!number.has_value()) return Turn::kGoOn;
        found = true;
        size->bytes = *number;
        size->seconds.reset();
        if (const auto text = notice->field("DUR")) size->seconds = media_number(*text);
        return Turn::kStop;
      },
      &sends);
  if (result != MediaResult::kDone) return result;
  // A second answer must not be taken for that of the next request.
  if (sends > 1) {
    if (const MediaResult settled = settle(); settled != MediaResult::kDone) return settled;
  }
  return found ? MediaResult::kDone : MediaResult::kNotFound;
}

// The list has no end mark, and an empty one has no answer at all: the answer to a ping that is
// sent behind the request tells that the list is through.
MediaResult MediaClient::list(MediaKind kind, std::vector<std::string>* names) {
  std::vector<std::string> found;
  size_t missing = 0;
  uint64_t give_up = base::monotonic_us() + patience_us_;
  int empty_rounds = 0;
  const auto record_event = [&](const MediaEvent& event) {
    if (says_not_found(event)) return Turn::kStop;
    const auto* record = std::get_if<MediaRecord>(&event);
    if (record == nullptr || record->kind != kind || record->number == 0 || record->name.empty() ||
        record->number > record->count) {
      return Turn::kGoOn;
    }
    std::string* place = found.size() == record->count ? &found[record->number - 1] : nullptr;
    // Another list than before: the card has changed.
    if (place == nullptr || (!place->empty() && *place != record->name)) {
      found.assign(record->count, "");
      missing = record->count;
      place = &found[record->number - 1];
    }
    if (place->empty()) {
      *place = record->name;
      missing--;
      give_up = base::monotonic_us() + patience_us_;
    }
    return Turn::kGoOn;
  };
  while (base::monotonic_us() < give_up) {
    link_.send(media_list_request(kind));
    link_.send(ping_request());
    Wait wait = Wait::kMatched;
    // Silence, not the length of the list, ends the round when the ping's answer is lost.
    uint64_t silent_since = base::monotonic_us();
    const auto with_time = [&](const MediaEvent& event) {
      silent_since = base::monotonic_us();
      return record_event(event);
    };
    do {
      wait = pump(silent_since + kListSilenceUs, with_time);
    } while (wait == Wait::kTimeout && base::monotonic_us() < silent_since + kListSilenceUs);
    if (wait == Wait::kInterrupted) return MediaResult::kInterrupted;
    if (found.empty() && wait == Wait::kMatched) empty_rounds++;
    const bool all = !found.empty() && missing == 0;
    if (all || empty_rounds == kEmptyRounds) {
      *names = std::move(found);
      return wait == Wait::kMatched ? MediaResult::kDone : settle();
    }
  }
  return MediaResult::kNoAnswer;
}

// The camera says nothing when it cannot delete a file, so silence is followed by the question
// whether the file is still there.
MediaResult MediaClient::remove(MediaKind kind, const std::string& name) {
  for (int tries = 1; tries <= kDeleteTries; tries++) {
    bool removed = false;
    link_.send(media_request(kind, name, MediaOperation::kDelete));
    const Wait wait = pump(base::monotonic_us() + first_wait_us(), [&](const MediaEvent& event) {
      const auto* notice = std::get_if<MediaNotice>(&event);
      removed = notice != nullptr && notice->is("FREMOVED", name);
      return removed || says_not_found(event) ? Turn::kStop : Turn::kGoOn;
    });
    if (wait == Wait::kInterrupted) return MediaResult::kInterrupted;
    if (wait == Wait::kMatched) {
      return removed || tries > 1 ? MediaResult::kDone : MediaResult::kNotFound;
    }
    MediaSize size;
    const MediaResult there = this->size(kind, name, &size);
    if (there == MediaResult::kNotFound) return MediaResult::kDone;
    if (there != MediaResult::kDone) return there;
  }
  return MediaResult::kRefused;
}

MediaResult MediaClient::make_thumbnail(const std::string& name, MediaSize* size) {
  const uint64_t give_up = base::monotonic_us() + patience_us_;
  while (base::monotonic_us() < give_up) {
    const MediaResult result = this->size(MediaKind::kThumbnail, name, size);
    if (result != MediaResult::kNotFound) return result;
    // The question has made the camera make one. Its notice may get lost, so the question is
    // repeated; the camera answers it when it is through.
    bool refused = false;
    const Wait wait = pump(base::monotonic_us() + kThumbnailTurnUs, [&](const MediaEvent& event) {
      const auto* notice = std::get_if<MediaNotice>(&event);
      if (notice == nullptr) return Turn::kGoOn;
      refused = notice->is("THUMBERROR", name);
      return refused || notice->is("THUMBREADY", name) ? Turn::kStop : Turn::kGoOn;
    });
    if (wait == Wait::kInterrupted) return MediaResult::kInterrupted;
    if (refused) return MediaResult::kRefused;
  }
  return MediaResult::kNoAnswer;
}

MediaResult MediaClient::cancel(std::string* cancelled) {
  link_.send(media_request(MediaKind::kPhoto, "", MediaOperation::kCancel));
  const Wait wait = pump(base::monotonic_us() + kCancelUs, [&](const MediaEvent& event) {
    const auto* notice = std::get_if<MediaNotice>(&event);
    const auto name = notice != nullptr ? notice->field("TRANSCANCELED") : std::nullopt;
    if (!name.has_value()) return Turn::kGoOn;
    *cancelled = *name;
    return Turn::kStop;
  });
  return wait == Wait::kInterrupted ? result_of(wait) : ping();
}

}  // namespace groundstation
