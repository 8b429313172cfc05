#include "ambanetfifo/state.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>

#include "base/clock.h"

namespace ambanetfifo {

std::atomic<bool> released{false};

namespace {

std::atomic<int> wake_event{-1};

constexpr uint32_t kTonePeriod = 100;  // samples; 480 Hz

// The stream named by the environment, else the one that was built beside the library.
std::string stream_path() {
  if (const char* named = std::getenv("AMBANETFIFO_STREAM"); named != nullptr) return named;
  Dl_info own = {};
  if (dladdr(&released, &own) == 0 || own.dli_fname == nullptr) return {};
  const std::string library = own.dli_fname;
  return library.substr(0, library.rfind('/') + 1) + "ambanetfifo/live.h264";
}

bool open_stream(State& state) {
  const std::string path = stream_path();
  state.stream.reset(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  state.pictures.clear();
  if (state.stream.open()) state.pictures = index_annexb(state.stream.get());
  if (!state.pictures.empty()) return true;
  std::fprintf(stderr, "ambanetfifo: no H.264 stream in \"%s\"\n", path.c_str());
  return false;
}

bool make_track(Track& track, Kind kind, uint64_t source, size_t ring, uint64_t rate) {
  track.kind = kind;
  track.source = source;
  track.written = track.position = track.entries = 0;
  track.pacer = {.rate = rate};
  track.running = false;
  track.odd = {};
  track.failing_peeks = 0;
  return track.ring.map(ring);
}

void make_samples(State& state) {
  state.samples.resize(kSamplesPerEntry + kTonePeriod);
  for (size_t i = 0; i < state.samples.size(); i++) {
    const double phase = 2 * std::numbers::pi * static_cast<double>(i % kTonePeriod) / kTonePeriod;
    state.samples[i] = static_cast<int16_t>(std::lround(8000 * std::sin(phase)));
  }
}

platform::FifoTrackRecord track_record(const Track& track) {
  platform::FifoTrackRecord record = {};
  record.word0 = 1;
  record.time_scale = kTicksPerSecond;
  record.source = track.source;
  record.ring_start = track.ring.start();
  record.ring_end = track.ring.end();
  return record;
}

void make_info(State& state) {
  state.info = {};
  auto& video = state.info.tracks[0];
  video = track_record(state.tracks[kVideo]);
  video.word2 = 3000;                // ticks per picture
  video.word3 = (1280 << 16) | 720;  // width and height
  video.kind = 1;
  auto& audio = state.info.tracks[1];
  audio = track_record(state.tracks[kAudio]);
  audio.word2 = 1920;  // ticks per entry
  audio.sample_rate = kSampleRate;
  audio.audio_byte = 1;  // channels
  audio.kind = 2;
  state.info.track_count = 2;
}

}  // namespace

State& state() {
  static State& only = *new State;
  return only;
}

bool configure(State& state) {
  if (wake_descriptor() < 0) wake_event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (wake_descriptor() < 0 || !open_stream(state)) return false;

  // Pictures larger than usual get a ring that still holds several of them.
  const auto largest =
      std::max_element(state.pictures.begin(), state.pictures.end(),
                       [](const AccessUnit& a, const AccessUnit& b) { return a.size < b.size; });
  const size_t video_ring = std::max(kVideoRing, size_t{4} * largest->size);
  constexpr uint64_t kAudioRate = uint64_t{kSampleRate} * 1000 / kSamplesPerEntry;
  if (!make_track(state.tracks[kVideo], kVideo, kVideoSource, video_ring, 30000) ||
      !make_track(state.tracks[kAudio], kAudio, kAudioSource, kAudioRing, kAudioRate)) {
    std::fprintf(stderr, "ambanetfifo: no memory for the rings\n");
    return false;
  }
  make_samples(state);
  make_info(state);
  state.log.open(std::getenv("AMBANETFIFO_LOG"));
  state.control.open(std::getenv("AMBANETFIFO_CONTROL"));
  state.script.clear();
  state.outbox.clear();
  state.instance = -1;
  state.faults = {};
  state.epoch_us = base::monotonic_us();
  return true;
}

void wake() {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(wake_event, &one, sizeof one);
}

int wake_descriptor() { return wake_event; }

}  // namespace ambanetfifo
