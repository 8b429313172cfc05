#include "ambanetfifo/encoder.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace ambanetfifo {
namespace {

// A process that was stopped for longer than this goes on where it was instead of catching up.
constexpr uint64_t kLateLimitUs = 1'000'000;
// Sound is not urgent: what is due comes along with the next picture, at most this late. So the
// processor is woken 30 times a second and not 77 times.
constexpr uint64_t kAudioSlackUs = 35'000;
constexpr uint32_t kAudioBytes = kSamplesPerEntry * sizeof(int16_t);
constexpr uint64_t kOutsideBy = 64;

struct Frame {
  uint8_t type;
  uint32_t true_size;  // bytes that the stream has
  uint32_t size;       // bytes that the entry claims
  uint32_t stored;     // bytes of the ring that it takes
};

bool takes(const Reader& reader, Kind kind) {
  return reader.open && reader.kind == kind && !reader.ended;
}

void update_running(State& state, Track& track, uint64_t now_us) {
  bool wanted = false;
  bool started = false;
  for (const Reader& reader : state.readers) {
    if (!takes(reader, track.kind)) continue;
    wanted = true;
    started = started || !reader.wants_key;
  }
  const bool running = wanted && !state.faults.paused;
  if (running && !track.running) {
    // The first entry takes its time to be made, as every other: the caller of Create knows its
    // handle before that handle is announced.
    track.pacer.restart(now_us + track.pacer.period_us());
    if (!started) track.position = 0;
  }
  track.running = running;
}

Frame next_frame(const State& state, const Track& track) {
  Frame frame = {kTypeAudio, kAudioBytes, kAudioBytes, kAudioBytes};
  if (track.kind == kVideo) {
    const AccessUnit& picture = state.pictures[track.position];
    frame.type = picture.key ? kTypeKey : kTypePredicted;
    frame.true_size = frame.size = frame.stored = picture.size;
  }
  if (track.odd.size >= 0) {
    frame.size = static_cast<uint32_t>(track.odd.size);
    if (frame.size <= track.ring.capacity()) frame.stored = frame.size;
  }
  return frame;
}

// The oldest byte of the ring that a reader may still look at.
uint64_t oldest_in_use(const State& state, const Track& track, uint64_t otherwise) {
  uint64_t oldest = otherwise;
  for (const Reader& reader : state.readers) {
    if (!reader.open || reader.kind != track.kind || reader.waiting.empty()) continue;
    oldest = std::min(oldest, reader.waiting.front().begin);
  }
  return oldest;
}

// Where an entry begins so that it ends `behind` bytes behind a ring end.
uint64_t begin_across_end(const Track& track, uint32_t stored, uint32_t behind) {
  const uint64_t capacity = track.ring.capacity();
  const uint64_t wanted = (capacity + behind - stored) % capacity;
  return track.written + (wanted + capacity - track.written % capacity) % capacity;
}

// Finds the frame's place in the ring. False when it would overwrite what a reader has not removed.
bool find_place(const State& state, Track& track, const Frame& frame, uint64_t* begin) {
  const uint64_t oldest = oldest_in_use(state, track, track.written);
  const auto fits = [&](uint64_t at) {
    return at + frame.stored - oldest <= track.ring.capacity();
  };
  if (track.odd.place != Place::kAnywhere) {
    const uint32_t behind = track.odd.place == Place::kWrap ? frame.stored / 2 : 0;
    *begin = begin_across_end(track, frame.stored, behind);
    if (fits(*begin)) {
      track.odd.place = Place::kAnywhere;
      return true;
    }
  }
  *begin = track.written;
  return fits(*begin);
}

// Copies the frame's bytes into one piece of its place; zeros follow a frame that claims more bytes
// than it has, which every H.264 decoder skips.
void fill(State& state, const Track& track, const Frame& frame, std::span<uint8_t> piece,
          size_t from) {
  size_t filled = 0;
  if (from < frame.true_size) {
    const size_t wanted = std::min(piece.size(), frame.true_size - from);
    if (track.kind == kVideo) {
      filled = read_at(state.stream.get(), piece.data(), wanted,
                       state.pictures[track.position].offset + from);
    } else {
      const size_t phase =
          track.position * kSamplesPerEntry % (state.samples.size() - kSamplesPerEntry);
      const auto* bytes = reinterpret_cast<const uint8_t*>(state.samples.data() + phase);
      std::memcpy(piece.data(), bytes + from, wanted);
      filled = wanted;
    }
  }
  std::fill(piece.begin() + static_cast<std::ptrdiff_t>(filled), piece.end(), uint8_t{0});
}

platform::FifoEntry make_entry(Track& track, const Frame& frame, uint64_t begin) {
  platform::FifoEntry entry = {};
  entry.reserved0 = track.entries;
  entry.time_stamp = track.pacer.ticks();
  entry.type = frame.type;
  entry.size = frame.size;
  entry.address = track.ring.address(begin);
  if (track.odd.address == Address::kAfterRing) entry.address = track.ring.end() + kOutsideBy;
  if (track.odd.address == Address::kBeforeRing) entry.address = track.ring.start() - kOutsideBy;
  if (track.odd.address == Address::kNull) entry.address = 0;
  track.odd.address = Address::kTrue;
  track.odd.size = -1;
  if (track.odd.type_entries > 0) {
    entry.type = track.odd.type;
    track.odd.type_entries--;
  }
  return entry;
}

void queue(State& state, Reader& reader, const Waiting& waiting) {
  reader.waiting.push_back(waiting);
  reader.empty_peeks = 0;
  post_fifo_event(state, &reader, platform::kFifoEntryAdded);
  const platform::FifoEntry& entry = waiting.entry;
  state.log.line("added %s %llu type=%u size=%u time=%llu position=%llu reader=%u",
                 kKindNames[reader.kind], static_cast<unsigned long long>(waiting.number),
                 entry.type, entry.size, static_cast<unsigned long long>(entry.time_stamp),
                 static_cast<unsigned long long>(waiting.begin), reader.number);
}

void drop(State& state, Reader& reader) {
  reader.wants_key = true;
  state.log.line("dropped %s reader=%u", kKindNames[reader.kind], reader.number);
}

void encode_next(State& state, Track& track) {
  const Frame frame = next_frame(state, track);
  const bool key = frame.type != kTypePredicted;
  const auto accepts = [&](Reader& reader) {
    return takes(reader, track.kind) && (key || !reader.wants_key);
  };
  if (std::none_of(state.readers.begin(), state.readers.end(), accepts)) return;

  uint64_t begin = 0;
  const bool fits = find_place(state, track, frame, &begin);
  bool filled = false;
  Waiting waiting = {};
  for (Reader& reader : state.readers) {
    if (!accepts(reader)) continue;
    if (!fits || reader.waiting.size() >= reader.depth) {
      drop(state, reader);
      continue;
    }
    if (!filled) {
      const Ring::Pieces pieces = track.ring.pieces(begin, frame.stored);
      fill(state, track, frame, pieces.first, 0);
      fill(state, track, frame, pieces.second, pieces.first.size());
      track.written = begin + frame.stored;
      track.entries++;
      waiting = {make_entry(track, frame, begin), frame.type, begin, track.entries, 0};
      filled = true;
    }
    reader.wants_key = false;
    queue(state, reader, waiting);
  }
}

void advance(const State& state, Track& track) {
  track.position++;
  if (track.kind == kVideo && track.position == state.pictures.size()) track.position = 0;
  track.pacer.made++;
}

}  // namespace

uint64_t make_due_entries(State& state, uint64_t now_us) {
  uint64_t next = kNever;
  for (Track& track : state.tracks) {
    update_running(state, track, now_us);
    if (!track.running) continue;
    if (track.pacer.due_us() + kLateLimitUs < now_us) track.pacer.restart(now_us);
    while (track.pacer.due_us() <= now_us) {
      encode_next(state, track);
      advance(state, track);
    }
    const uint64_t slack_us = track.kind == kAudio ? kAudioSlackUs : 0;
    next = std::min(next, track.pacer.due_us() + slack_us);
  }
  return next;
}

void queue_end_mark(State& state, Kind kind, uint8_t type, uint32_t size) {
  Track& track = state.tracks[kind];
  platform::FifoEntry entry = {};
  entry.time_stamp = track.pacer.ticks();
  entry.type = type;
  entry.size = size;
  entry.address = track.ring.address(track.written);
  for (Reader& reader : state.readers) {
    if (!takes(reader, kind)) continue;
    reader.ended = true;
    queue(state, reader, {entry, type, track.written, track.entries, 0});
  }
}

void set_ended(State& state, bool ended) {
  for (Reader& reader : state.readers) {
    if (!reader.open) continue;
    reader.ended = ended;
    reader.wants_key = true;
  }
}

void post_fifo_event(State& state, void* fifo, uint32_t event) {
  state.outbox.push_back({fifo, event, 0});
}

void post_control_event(State& state, int32_t event) {
  state.outbox.push_back({nullptr, 0, event});
}

}  // namespace ambanetfifo
