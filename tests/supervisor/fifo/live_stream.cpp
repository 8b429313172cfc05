#include "supervisor/fifo/live_stream.h"

#include "media/frames/frame_list.h"
#include "supervisor/state/switches.h"
#include "support/allocation_fault.h"

namespace live_test {

uint8_t video_ring[kVideoRing];
uint8_t audio_ring[kAudioRing];

uint8_t* audio_copy() { return static_cast<uint8_t*>(support::watched_block()); }

namespace {

platform::FifoTrackRecord track(uint8_t kind, uint64_t source, const uint8_t* ring,
                                uint32_t ring_size) {
  platform::FifoTrackRecord record{};
  record.kind = kind;
  record.source = source;
  record.ring_start = reinterpret_cast<uint64_t>(ring);
  record.ring_end = record.ring_start + ring_size;
  return record;
}

platform::FifoEntry entry_of(uint8_t type, uint64_t address, uint32_t size, uint64_t stamp) {
  platform::FifoEntry entry{};
  entry.time_stamp = stamp;
  entry.type = type;
  entry.address = address;
  entry.size = size;
  return entry;
}

}  // namespace

LiveCycle::LiveCycle() {
  for (uint32_t i = 0; i < kVideoRing; i++) video_ring[i] = static_cast<uint8_t>(i % 251);
  for (uint32_t i = 0; i < kAudioRing; i++) audio_ring[i] = static_cast<uint8_t>(i % 251);
  support::watch_blocks(131072);
  fake_fifo::reset();
  fake_fifo::State& library = fake_fifo::state();
  library.list.count = 1;
  library.list.entries[0].active = 1;
  library.media.tracks[0] = track(1, 0x1111, video_ring, kVideoRing);
  library.media.tracks[0].time_scale = 30000;
  library.media.tracks[1] = track(2, 0x2222, audio_ring, kAudioRing);
  library.media.tracks[1].time_scale = 90000;
  library.media.tracks[1].sample_rate = 45000;
  library.media.track_count = 2;
  library.handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader};
  media::frame_list_init();
  supervisor::switches.reset();
  EXPECT_EQ(supervisor::live_fifo_begin_cycle(), 0);
  fake_fifo::state().calls.clear();
  fake_base::reset();
}

LiveCycle::~LiveCycle() {
  supervisor::live_fifo_cleanup();
  media::frame_list_clear();
  supervisor::switches.reset();
}

Calls LiveCycle::calls() {
  Calls seen;
  seen.swap(fake_fifo::state().calls);
  return seen;
}

std::vector<Bytes> LiveCycle::pieces() {
  std::vector<Bytes> all;
  for (media::FrameNode* node = media::frame_list_pop(); node != nullptr;
       node = media::frame_list_pop()) {
    all.emplace_back(node->data, node->data + node->size);
    media::frame_node_free(node);
  }
  return all;
}

LiveStream::LiveStream() {
  supervisor::live_fifo_attach();
  fake_fifo::state().calls.clear();
  fake_base::reset();
}

void LiveStream::announce_video(uint8_t type, uint64_t address, uint32_t size) {
  fake_fifo::state().entries[&fake_fifo::video_reader].push_back(entry_of(type, address, size, 0));
  supervisor::live_fifo_event(&fake_fifo::video_reader, platform::kFifoEntryAdded);
}

void LiveStream::announce_audio(uint8_t type, uint64_t address, uint32_t size, uint64_t stamp) {
  fake_fifo::state().entries[&fake_fifo::audio_reader].push_back(
      entry_of(type, address, size, stamp));
  supervisor::live_fifo_event(&fake_fifo::audio_reader, platform::kFifoEntryAdded);
}

}  // namespace live_test
