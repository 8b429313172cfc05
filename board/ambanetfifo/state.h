// Everything that the library holds, in one record under one lock. The lock is never held while one
// of the caller's callbacks runs.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ambanetfifo/annexb.h"
#include "ambanetfifo/control.h"
#include "ambanetfifo/log.h"
#include "ambanetfifo/pacer.h"
#include "ambanetfifo/ring.h"
#include "base/descriptor.h"
#include "platform/amba_net_fifo.h"

namespace ambanetfifo {

enum Kind : uint8_t { kVideo, kAudio };
inline constexpr size_t kKinds = 2;
inline constexpr const char* kKindNames[kKinds] = {"video", "audio"};

inline constexpr uint8_t kTypeKey = 1;        // a picture that refers to no other
inline constexpr uint8_t kTypePredicted = 2;  // one that refers to the picture before it
inline constexpr uint8_t kTypeAudio = 8;
inline constexpr uint8_t kTypeEnd = 255;
inline constexpr uint32_t kSizeEnd = 0xFFFFFF;

inline constexpr uint32_t kSampleRate = 48000;
inline constexpr uint32_t kSamplesPerEntry = 1024;
inline constexpr size_t kVideoRing = size_t{1024} * 1024;
// Room for one entry of 131073 bytes. No multiple of an entry's 2048 bytes, so that entries wrap.
inline constexpr size_t kAudioRing = size_t{256} * 1024 - 1000;

inline constexpr uint64_t kVideoSource = 0x56494446;
inline constexpr uint64_t kAudioSource = 0x41554446;
inline constexpr uint32_t kStreams = 2;     // in the stream list
inline constexpr uint32_t kLiveStream = 1;  // the index of the one that is active
inline constexpr size_t kReaders = 32;      // open at once, one less than that

enum class Place : uint8_t { kAnywhere, kWrap, kExact };
enum class Address : uint8_t { kTrue, kAfterRing, kBeforeRing, kNull };

// What is odd about the next entry of a track.
struct Oddity {
  uint8_t type = 0;
  uint32_t type_entries = 0;  // so many entries have that type
  int64_t size = -1;          // -1: the true size
  Place place = Place::kAnywhere;
  Address address = Address::kTrue;
};

struct Track {
  Kind kind = kVideo;
  uint64_t source = 0;
  Ring ring;
  uint64_t written = 0;  // bytes since the ring's beginning
  Pacer pacer;
  bool running = false;   // a reader takes entries
  uint64_t position = 0;  // the next picture or block of samples
  uint64_t entries = 0;   // queued so far
  Oddity odd;
  uint32_t failing_peeks = 0;
};

struct Waiting {
  platform::FifoEntry entry;
  uint8_t true_type;
  uint64_t begin;   // ring position of its first byte
  uint64_t number;  // for the log
  uint32_t peeks;
};

// One reader; its address is its handle. Slots are taken in turn, so that the handle of a deleted
// reader is not another one's soon after.
struct Reader {
  bool open = false;
  Kind kind = kVideo;
  uint32_t number = 0;
  size_t depth = 0;       // entries that may wait
  bool wants_key = true;  // nothing is queued before the next key picture
  bool ended = false;     // an end mark or a stop was sent; nothing is queued any more
  std::deque<Waiting> waiting;
  uint32_t empty_peeks = 0;  // since the last entry, for the log
};

// What the scripts have turned on. The counts say how many more calls fail.
struct Faults {
  uint32_t init = 0;
  uint32_t init_instance = 0;  // init succeeds with the instance -1
  uint32_t list = 0;
  uint32_t info = 0;
  uint32_t configuration = 0;
  uint32_t create = 0;
  uint64_t create_us = 0;  // every creation takes that long
  uint32_t stop = 0;
  bool inactive = false;
  bool paused = false;
  uint32_t stream_count = kStreams;
  uint64_t quiet_us = 0;        // pause of the stream after an end
  uint64_t inactive_until = 0;  // monotonic clock
};

enum class EventLoop : uint8_t { kAbsent, kReady, kRunning, kStopping };

struct Event {
  void* fifo;
  uint32_t fifo_event;  // 0: a control event
  int32_t control_event;
};

struct ActionRow;
struct Command {
  const ActionRow* row = nullptr;
  bool names_track = false;
  Kind kind = kVideo;
  std::vector<uint32_t> numbers;
};

struct State {
  std::mutex lock;

  bool configured = false;  // the environment has been read and the stream is there
  uint64_t epoch_us = 0;    // the zero of the script's clock
  base::Descriptor stream;
  std::vector<AccessUnit> pictures;
  std::vector<int16_t> samples;
  Log log;
  Control control;
  std::multimap<uint64_t, Command> script;  // by monotonic time

  int32_t instance = -1;
  int32_t (*fifo_callback)(void*, uint32_t) = nullptr;
  int32_t (*control_callback)(int32_t, void*) = nullptr;
  EventLoop loop = EventLoop::kAbsent;
  std::vector<Event> outbox;

  std::array<Track, kKinds> tracks;
  std::array<Reader, kReaders> readers;
  size_t next_reader = 0;
  uint32_t readers_made = 0;
  platform::FifoMediaInfo info = {};
  Faults faults;
  std::array<uint8_t, 8> stray_handles = {};
  size_t next_stray = 0;
};

// The only State. It is never destroyed: threads of the program may outlive the end of main.
[[nodiscard]] State& state();

// Set by release; ends the event loop. Apart from the State, so that a signal handler can set it.
extern std::atomic<bool> released;

// Reads the environment, opens and indexes the stream, maps the rings, makes everything else new.
// Under the lock. False, and a line on standard error, when there is no usable stream or no memory.
[[nodiscard]] bool configure(State& state);

// Makes the event loop look at the State again. Async-signal-safe.
void wake();
// For the event loop: readable after a wake, until it has been read.
[[nodiscard]] int wake_descriptor();

}  // namespace ambanetfifo
