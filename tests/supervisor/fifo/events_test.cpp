// The library's two callbacks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "supervisor/fifo/live_stream.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

using platform::kFifoEndOfStream;
using platform::kFifoEntryAdded;

using LiveEventsIdle = live_test::LiveCycle;
using LiveEvents = live_test::LiveStream;

TEST_F(LiveEvents, AnAddedEntryIsCountedForItsTrack) {
  EXPECT_EQ(live_fifo_event(&fake_fifo::video_reader, kFifoEntryAdded), 0);
  EXPECT_EQ(live_fifo_event(&fake_fifo::video_reader, kFifoEntryAdded), 0);
  EXPECT_EQ(live_fifo_event(&fake_fifo::audio_reader, kFifoEntryAdded), 0);
  EXPECT_EQ(live_fifo.video.pending, 2);
  EXPECT_EQ(live_fifo.audio.pending, 1);
  EXPECT_EQ(live_fifo.stray_fifo.load(), nullptr);
}

TEST_F(LiveEvents, StrayHandlesAreCountedInARow) {
  char first = 0;
  char second = 0;
  EXPECT_EQ(live_fifo_event(&first, kFifoEntryAdded), 0);
  EXPECT_EQ(live_fifo.stray_fifo.load(), &first);
  EXPECT_EQ(live_fifo.stray_count.load(), 0U);
  live_fifo_event(&first, kFifoEntryAdded);
  live_fifo_event(&first, kFifoEntryAdded);
  EXPECT_EQ(live_fifo.stray_count.load(), 2U);
  live_fifo_event(&second, kFifoEntryAdded);
  EXPECT_EQ(live_fifo.stray_fifo.load(), &second);
  EXPECT_EQ(live_fifo.stray_count.load(), 0U);
  // A track's own entry between two strays changes nothing for them.
  live_fifo_event(&fake_fifo::video_reader, kFifoEntryAdded);
  live_fifo_event(&second, kFifoEntryAdded);
  EXPECT_EQ(live_fifo.stray_count.load(), 1U);
  EXPECT_EQ(live_fifo.video.pending, 1);
  EXPECT_EQ(live_fifo.audio.pending, 0);
}

TEST_F(LiveEventsIdle, WithoutReadersEveryHandleIsStray) {
  live_fifo_event(&fake_fifo::video_reader, kFifoEntryAdded);
  EXPECT_EQ(live_fifo.stray_fifo.load(), &fake_fifo::video_reader);
  EXPECT_EQ(live_fifo.video.pending, 0);
  live_fifo_event(nullptr, kFifoEntryAdded);
  EXPECT_EQ(live_fifo.stray_fifo.load(), nullptr);
  EXPECT_EQ(live_fifo.video.pending, 0);
  EXPECT_EQ(live_fifo.audio.pending, 0);
}

TEST_F(LiveEvents, TheEndOfStreamStopsBothTracks) {
  EXPECT_EQ(live_fifo_event(&fake_fifo::video_reader, kFifoEndOfStream), 0);
  EXPECT_EQ(live_fifo.video_stop.load(), 1);
  EXPECT_EQ(live_fifo.audio_stop.load(), 1);
  EXPECT_EQ(live_fifo.video.pending, 0);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LiveEvents, OtherFifoEventsAreIgnored) {
  for (const uint32_t event : {0U, 1U, 0x4000000U, 0x4000003U, 0xFFFFFFFFU}) {
    EXPECT_EQ(live_fifo_event(&fake_fifo::video_reader, event), 0);
  }
  EXPECT_EQ(live_fifo.video.pending, 0);
  EXPECT_EQ(live_fifo.video_stop.load(), 0);
  EXPECT_EQ(live_fifo.stray_fifo.load(), nullptr);
}

TEST_F(LiveEvents, ControlEventsOutside1To6And4And5AreIgnored) {
  for (const int32_t event : {-1, 0, 4, 5, 7, 1000}) {
    EXPECT_EQ(live_control_event(event, nullptr), 0) << event;
  }
  EXPECT_EQ(live_fifo.video_stop.load(), 0);
  EXPECT_EQ(live_fifo.audio_stop.load(), 0);
  EXPECT_EQ(live_fifo.final_event_seen.load(), 0);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LiveEventsIdle, AStartAttachesTheReaders) {
  switches.indicator_blink.store(1);
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 1"));
  EXPECT_EQ(switches.indicator_blink.load(), 0);
  EXPECT_EQ(switches.indicator_level.load(), 1);
}

TEST_F(LiveEvents, AStartWithAReaderOpenDoesNothing) {
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  live_fifo.video_stop.store(1);
  (void)live_fifo_pass();  // now only the audio reader is open
  calls();
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LiveEventsIdle, AFailedStartGivesMinusOneAndReportsNothing) {
  switches.indicator_blink.store(1);
  fake_fifo::state().list.count = 0;
  EXPECT_EQ(live_control_event(1, nullptr), -1);
  EXPECT_THAT(calls(), ElementsAre("list"));
  fake_fifo::state().list.count = 1;
  fake_fifo::state().media_result = -1;
  EXPECT_EQ(live_control_event(1, nullptr), -1);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0"));
  EXPECT_EQ(switches.indicator_blink.load(), 1);
  EXPECT_EQ(switches.indicator_level.load(), 0);
}

TEST_F(LiveEvents, Stop2And6ReportStatus2AndStopBothTracks) {
  for (const int32_t event : {2, 6}) {
    live_fifo.video_stop.store(0);
    live_fifo.audio_stop.store(0);
    EXPECT_EQ(live_control_event(event, nullptr), 0);
    EXPECT_THAT(calls(), ElementsAre("status 2"));
    EXPECT_EQ(live_fifo.video_stop.load(), 1);
    EXPECT_EQ(live_fifo.audio_stop.load(), 1);
    EXPECT_EQ(live_fifo.final_event_seen.load(), 0);
  }
}

TEST_F(LiveEvents, Event3AlsoMarksTheFinalStatus) {
  EXPECT_EQ(live_control_event(3, nullptr), 0);
  EXPECT_THAT(calls(), ElementsAre("status 2"));
  EXPECT_EQ(live_fifo.final_event_seen.load(), 1);
  EXPECT_EQ(live_fifo.video_stop.load(), 1);
  EXPECT_EQ(live_fifo.audio_stop.load(), 1);
}

TEST_F(LiveEvents, AStopWithTheAudioReaderAloneReportsNothing) {
  live_fifo.video_stop.store(1);
  (void)live_fifo_pass();
  live_fifo.video_stop.store(0);
  calls();
  EXPECT_EQ(live_control_event(2, nullptr), 0);
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_EQ(live_fifo.video_stop.load(), 0);
  EXPECT_EQ(live_fifo.audio_stop.load(), 1);
}

TEST_F(LiveEventsIdle, AStopWithoutReadersStopsNothing) {
  EXPECT_EQ(live_control_event(2, nullptr), 0);
  EXPECT_EQ(live_fifo.video_stop.load(), 0);
  EXPECT_EQ(live_fifo.audio_stop.load(), 0);
  EXPECT_EQ(live_control_event(3, nullptr), 0);
  EXPECT_EQ(live_fifo.final_event_seen.load(), 1);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LiveEvents, EventsAndPassesMeetWithoutLosingACount) {
  constexpr int kEntries = 2000;
  auto& entries = fake_fifo::state().entries;
  for (int i = 0; i < kEntries; i++) {
    platform::FifoEntry entry{};
    entry.type = 1;
    entry.address = video_at(0);
    entry.size = 1;
    entries[&fake_fifo::video_reader].push_back(entry);
  }
  std::atomic<bool> announced{false};
  std::thread library([&announced] {
    for (int i = 0; i < kEntries; i++) {
      live_fifo_event(&fake_fifo::video_reader, kFifoEntryAdded);
      live_fifo_event(&announced, kFifoEntryAdded);
    }
    announced = true;
  });
  while (!announced) EXPECT_EQ(live_fifo_pass(), 1);
  library.join();
  for (int i = 0; i < kEntries; i++) (void)live_fifo_pass();
  EXPECT_EQ(live_fifo.video_frames.load(), static_cast<uint32_t>(kEntries));
  EXPECT_EQ(live_fifo.video.pending, 0);
  EXPECT_TRUE(entries[&fake_fifo::video_reader].empty());
  EXPECT_EQ(live_fifo.stray_count.load(), static_cast<uint32_t>(kEntries - 1));
}

}  // namespace
}  // namespace supervisor
