// Any entries, events and media information of the encoder's FIFO library. Each step of the input is
// one byte (Step) and what it needs.
//
// A ring tells by its bytes where each of them stands. What comes out as live video is what stood in
// the ring, in one piece, and never more than the list holds; and after its end a cycle has no reader.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>

#include "fake_base/fake_base.h"
#include "fuzz/support.h"
#include "media/frames/frame_list.h"
#include "platform/amba_net_fifo.h"
#include "supervisor/fifo/entries.h"
#include "supervisor/fifo/reader.h"
#include "supervisor/state/switches.h"

namespace {

using namespace platform;    // NOLINT
using namespace supervisor;  // NOLINT

enum Step : uint8_t {
  kVideoEntry,  // an entry, announced
  kAudioEntry,
  kEvent,    // a FIFO event: which reader, which event
  kControl,  // a control event
  kPass,
  kPasses,   // so many
  kTake,     // the sender takes a piece
  kMedia,    // another stream list and media information
  kFailure,  // what the next calls of the library give
  kCycle,    // the end of a cycle and the begin of the next
  kSteps,
};

constexpr uint32_t kRing = 3000;
constexpr uint8_t kPattern = 251;
constexpr int kMostPieces = 11;

// The library, and where the encoder writes.
struct Library {
  std::unique_ptr<uint8_t[]> ring{new uint8_t[kRing]};
  FifoStreamList list{};
  FifoMediaInfo media{};
  FifoConfiguration defaults{};
  int32_t list_result = 0;
  int32_t media_result = 0;
  int32_t peek_result = 0;
  bool creates = true;
  uint8_t readers[8] = {};  // their addresses
  size_t created = 0;
  std::map<void*, std::deque<FifoEntry>> entries;
};

Library* library = nullptr;

FifoTrackRecord take_track(fuzz::Input& input) {
  FifoTrackRecord track{};
  track.kind = input.byte();
  track.time_scale = input.number();
  track.sample_rate = static_cast<int32_t>(input.number());
  track.source = input.byte();
  // Of the ring, or of none; the library itself is trusted with that much.
  const uint16_t begin = input.word();
  const uint16_t end = input.word();
  track.ring_start = reinterpret_cast<uint64_t>(library->ring.get()) + begin % kRing;
  track.ring_end = reinterpret_cast<uint64_t>(library->ring.get()) + end % (kRing + 1);
  return track;
}

void take_media(fuzz::Input& input) {
  library->list.count = input.byte();
  for (FifoStreamEntry& entry : library->list.entries) entry.active = 0;
  library->list.entries[input.byte() % kFifoStreams].active = 1;
  library->media.track_count = input.byte();
  for (FifoTrackRecord& track : library->media.tracks) track = take_track(input);
}

// The usual stream.
void plain_media() {
  library->list.count = 1;
  library->list.entries[0].active = 1;
  library->media.track_count = 2;
  for (uint8_t i = 0; i < 2; i++) {
    FifoTrackRecord& track = library->media.tracks[i];
    track.kind = static_cast<uint8_t>(i + 1);
    track.time_scale = 90000;
    track.sample_rate = 48000;
    track.source = 1;
    track.ring_start = reinterpret_cast<uint64_t>(library->ring.get());
    track.ring_end = track.ring_start + kRing;
  }
}

void* reader_of(LiveTrack& track) {
  const base::Lock lock(track.lock);
  return track.fifo;
}

FifoEntry take_entry(fuzz::Input& input) {
  FifoEntry entry{};
  entry.type = input.byte();
  entry.time_stamp = input.number();
  const uint8_t place = input.byte();
  const uint32_t number = input.number();
  entry.size = place % 4 == 0 ? input.number() : input.word() % (kRing + 4);
  // Mostly in the ring or beside it, else anywhere.
  const auto ring = reinterpret_cast<uint64_t>(library->ring.get());
  entry.address = place < 250 ? ring + number % (kRing + 2) - 1 : uint64_t{number} << (place % 32);
  return entry;
}

void announce(LiveTrack& track, const FifoEntry& entry) {
  void* reader = reader_of(track);
  if (reader != nullptr) library->entries[reader].push_back(entry);
  live_fifo_event(reader, kFifoEntryAdded);
}

void take_event(fuzz::Input& input) {
  const uint8_t which = input.byte();
  void* reader = which == 0   ? reader_of(live_fifo.video)
                 : which == 1 ? reader_of(live_fifo.audio)
                              : static_cast<void*>(&library->readers[which % 8]);
  const uint8_t event = input.byte();
  live_fifo_event(reader, event == 0   ? kFifoEntryAdded
                          : event == 1 ? kFifoEndOfStream
                                       : input.number());
}

// What stands in the ring rises byte by byte, and a piece never goes beyond its end.
void check_piece(const media::FrameNode& piece) {
  fuzz::check(piece.size > 0 && static_cast<uint32_t>(piece.size) <= kRing, "size of a piece");
  for (int32_t i = 1; i < piece.size; i++) {
    fuzz::check(piece.data[i] == (piece.data[i - 1] + 1) % kPattern, "not from the ring");
  }
}

bool take_piece() {
  media::FrameNode* piece = media::frame_list_pop();
  if (piece == nullptr) return false;
  if (piece->size > 0) check_piece(*piece);
  media::frame_node_free(piece);
  return true;
}

// False at the end of the cycle.
bool passes(int count) {
  for (int i = 0; i < count; i++) {
    if (live_fifo_pass() == 0) return false;
  }
  return true;
}

void end_cycle() {
  live_fifo_end_cycle();
  fuzz::check(reader_of(live_fifo.video) == nullptr, "a reader after the end of its cycle");
}

void begin_cycle() {
  library->entries.clear();
  library->created = 0;
  // The copy buffers of half a megabyte are made once: they would cost the search its speed.
  static const int first = live_fifo_begin_cycle();
  fuzz::check(first == 0, "no cycle");
  live_fifo.reset();
  live_fifo_attach();
}

void take_step(fuzz::Input& input) {
  switch (static_cast<Step>(input.byte() % kSteps)) {
    case kVideoEntry:
      return announce(live_fifo.video, take_entry(input));
    case kAudioEntry:
      return announce(live_fifo.audio, take_entry(input));
    case kEvent:
      return take_event(input);
    case kControl:
      live_control_event(input.byte(), nullptr);
      return;
    case kPass:
    case kPasses:
      if (passes(input.byte() % 16 + 1)) return;
      end_cycle();
      return begin_cycle();
    case kTake:
      take_piece();
      return;
    case kMedia:
      return take_media(input);
    case kFailure: {
      const uint8_t bits = input.byte();
      library->list_result = bits & 1 ? -1 : 0;
      library->media_result = bits & 2 ? -1 : 0;
      library->peek_result = bits & 4 ? -3 : 0;
      library->creates = (bits & 8) == 0;
      return;
    }
    default:
      end_cycle();
      return begin_cycle();
  }
}

}  // namespace

namespace platform {
extern "C" {

int32_t AmbaNetFifo_init(int32_t* instance) {
  *instance = 7;
  return 0;
}
int32_t AmbaNetFifo_Reg_cbFifoEvent(int32_t (*)(void*, uint32_t), int32_t) { return 0; }
int32_t AmbaNetFifo_Reg_cbControlEvent(int32_t (*)(int32_t, void*), int32_t) { return 0; }
void* AmbaNetFifo_ExecEventProcess(void*) { return nullptr; }
int32_t AmbaNetFifo_StopEventProcess() { return 0; }
int32_t AmbaNetFifo_ReportStatus(int32_t) { return 0; }
void AmbaNetFifo_release() {}

int32_t AmbaNetFifo_GetMediaStreamIDList(void* list) {
  std::memcpy(list, &library->list, sizeof(library->list));
  return library->list_result;
}
int32_t AmbaNetFifo_GetMediaInfo(int32_t index, void* info) {
  fuzz::check(index >= 0 && index < kFifoStreams, "a stream");
  std::memcpy(info, &library->media, sizeof(library->media));
  return library->media_result;
}
int32_t AmbaNetFifo_GetDefaultCFG(void* configuration) {
  std::memcpy(configuration, &library->defaults, sizeof(library->defaults));
  return 0;
}

void* AmbaNetFifo_Create(void*) {
  if (!library->creates) return nullptr;
  void* reader = &library->readers[library->created++ % std::size(library->readers)];
  fuzz::check(library->entries.count(reader) == 0, "a reader nobody deleted");
  library->entries[reader];
  return reader;
}
int32_t AmbaNetFifo_Delete(void* fifo) {
  fuzz::check(library->entries.erase(fifo) == 1, "a reader that there is not");
  return 0;
}
int32_t AmbaNetFifo_PeekEntry(FifoRequest* request, void* entry) {
  const auto queue = library->entries.find(request->fifo);
  fuzz::check(queue != library->entries.end(), "a peek without a reader");
  if (library->peek_result != 0 || queue->second.empty()) return -3;
  std::memcpy(entry, &queue->second.front(), sizeof(FifoEntry));
  return 0;
}
int32_t AmbaNetFifo_RemoveEnrty(FifoRequest* request) {
  const auto queue = library->entries.find(request->fifo);
  fuzz::check(queue != library->entries.end() && !queue->second.empty(), "a removal of nothing");
  queue->second.pop_front();
  return 0;
}

}  // extern "C"
}  // namespace platform

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  fake_base::reset();
  Library own;
  library = &own;
  for (uint32_t i = 0; i < kRing; i++) own.ring[i] = static_cast<uint8_t>(i % kPattern);
  plain_media();
  media::frame_list_init();
  switches.reset();
  begin_cycle();
  fuzz::Input input(bytes, size);
  while (!input.empty()) take_step(input);
  int pieces = 0;
  while (take_piece()) pieces++;
  fuzz::check(pieces <= kMostPieces, "too many pieces");
  live_fifo.reset();
  return 0;
}
