// The reader's cycle: initialising, attaching, passing, ending.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "supervisor/fifo/live_stream.h"
#include "supervisor/state/switches.h"
#include "support/allocation_fault.h"

namespace supervisor {
namespace {

using LiveCycleTest = live_test::LiveCycle;
using LiveStreamTest = live_test::LiveStream;

TEST_F(LiveCycleTest, InitIsRetriedEvery10msUntilResultAndInstanceAreGood) {
  fake_fifo::state().init_results = {{-1, 5}, {0, -1}, {-2, -2}, {0, 3}};
  EXPECT_EQ(live_fifo_begin_cycle(), 0);
  EXPECT_THAT(calls(),
              ElementsAre("init", "init", "init", "init", "register fifo 0", "register control 0"));
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(10000, 10000, 10000));
}

TEST_F(LiveCycleTest, BeginRegistersBothCallbacksThenStartsTheEventThread) {
  EXPECT_EQ(live_fifo_begin_cycle(), 0);
  EXPECT_THAT(calls(), ElementsAre("init", "register fifo 0", "register control 0"));
  EXPECT_EQ(fake_fifo::state().fifo_callback, &live_fifo_event);
  EXPECT_EQ(fake_fifo::state().control_callback, &live_control_event);
  ASSERT_EQ(fake_base::threads().size(), 1U);
  const fake_base::StartedThread thread = fake_base::threads()[0];
  EXPECT_EQ(thread.priority, 0);  // default scheduling
  EXPECT_EQ(thread.body(thread.argument), nullptr);
  EXPECT_THAT(calls(), ElementsAre("execute null"));
}

TEST_F(LiveCycleTest, BeginForgetsThePreviousCycle) {
  ASSERT_EQ(live_stream_setup(), 0);
  live_fifo_event(&fake_fifo::video_reader, platform::kFifoEntryAdded);
  live_fifo_event(&fake_fifo::audio_reader, platform::kFifoEntryAdded);
  for (int i = 0; i < 3; i++) live_fifo_event(this, platform::kFifoEntryAdded);
  live_control_event(3, nullptr);
  live_fifo.video_frames.store(5);
  live_fifo.audio_frames.store(6);
  live_fifo.cycle_ended = true;
  ASSERT_EQ(live_fifo_begin_cycle(), 0);
  for (const LiveTrack* track : {&live_fifo.video, &live_fifo.audio}) {
    EXPECT_EQ(track->fifo, nullptr);
    EXPECT_EQ(track->base, 0U);
    EXPECT_EQ(track->limit, 0U);
    EXPECT_EQ(track->pending, 0);
    EXPECT_EQ(track->info->time_scale, 0U);
    EXPECT_EQ(track->info->sample_rate, 0);
    EXPECT_EQ(track->info->vector.load(), 0.0);
  }
  EXPECT_EQ(live_fifo.video.info, &live_fifo.video_info);
  EXPECT_EQ(live_fifo.audio.info, &live_fifo.audio_info);
  EXPECT_EQ(live_fifo.cycle_open.load(), 0);
  EXPECT_EQ(live_fifo.video_stop.load(), 0);
  EXPECT_EQ(live_fifo.audio_stop.load(), 0);
  EXPECT_EQ(live_fifo.final_event_seen.load(), 0);
  EXPECT_FALSE(live_fifo.cycle_ended);
  EXPECT_EQ(live_fifo.video_frames.load(), 0U);
  EXPECT_EQ(live_fifo.audio_frames.load(), 0U);
  EXPECT_EQ(live_fifo.stray_fifo.load(), nullptr);
  EXPECT_EQ(live_fifo.stray_count.load(), 0U);
}

TEST_F(LiveCycleTest, WithoutMemoryForACopyTheCycleBeginsAgainAtOnce) {
  for (const size_t size : {size_t{524288}, size_t{131072}}) {
    const support::AllocationFault no_memory(support::Fault::kMalloc, 0, size);
    EXPECT_EQ(live_fifo_begin_cycle(), -1) << size;
    EXPECT_THAT(calls(), ElementsAre("init")) << size;
    EXPECT_THAT(fake_base::sleeps(), IsEmpty());
    EXPECT_EQ(live_fifo_begin_cycle(), 0);
    calls();
  }
}

TEST_F(LiveCycleTest, WithoutAnEventThreadTheCycleBeginsAgainAfter10ms) {
  fake_base::fail_next_thread();
  EXPECT_EQ(live_fifo_begin_cycle(), -1);
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(10000));
}

TEST_F(LiveCycleTest, AttachingStopsTheBlinkingAndLightsTheIndicator) {
  switches.indicator_blink.store(1);
  live_fifo_attach();
  EXPECT_EQ(switches.indicator_blink.load(), 0);
  EXPECT_EQ(switches.indicator_level.load(), 1);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 1"));
  EXPECT_THAT(fake_base::sleeps(), IsEmpty());
}

TEST_F(LiveCycleTest, AnEmptyStreamListReportsStatus2AndBlinks) {
  fake_fifo::state().list.count = 0;
  switches.indicator_level.store(1);
  // The report comes before the pause, the blinking after it.
  fake_base::on_sleep([](uint64_t) {
    EXPECT_THAT(fake_fifo::state().calls, ElementsAre("list", "status 2"));
    EXPECT_EQ(switches.indicator_blink.load(), 0);
  });
  live_fifo_attach();
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(1000));
  EXPECT_EQ(switches.indicator_blink.load(), 1);
  EXPECT_EQ(switches.indicator_level.load(), 1);
}

TEST_F(LiveCycleTest, AFailedSetUpLeavesTheReadersThatItMade) {
  fake_fifo::state().handles = {&fake_fifo::video_reader};
  live_fifo_attach();
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 2"));
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
  EXPECT_EQ(live_fifo.audio.fifo, nullptr);
  EXPECT_EQ(live_fifo.cycle_open.load(), 1);
  EXPECT_EQ(switches.indicator_blink.load(), 1);
}

TEST_F(LiveCycleTest, ACycleWithoutReadersGoesOnAndPausesEveryPass) {
  fake_fifo::state().list.count = 0;
  live_fifo_attach();
  live_fifo_event(nullptr, platform::kFifoEndOfStream);
  fake_base::reset();
  for (int i = 0; i < 100; i++) EXPECT_EQ(live_fifo_pass(), 1);
  EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>(100, 10000));
  // Until a start event makes readers.
  fake_fifo::state().list.count = 1;
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
}

TEST_F(LiveStreamTest, AnIdlePassSleeps10ms) {
  EXPECT_EQ(live_fifo_pass(), 1);
  EXPECT_EQ(live_fifo_pass(), 1);
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(10000, 10000));
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LiveStreamTest, TheCycleEndsWhenBothReadersAreGone) {
  live_fifo_event(nullptr, platform::kFifoEndOfStream);
  EXPECT_EQ(live_fifo_pass(), 0);
  EXPECT_THAT(calls(), ElementsAre("delete video", "delete audio"));
  EXPECT_THAT(fake_base::sleeps(), IsEmpty());
}

TEST_F(LiveStreamTest, OneReaderKeepsTheCycleOpen) {
  live_fifo.video_stop.store(1);
  EXPECT_EQ(live_fifo_pass(), 1);
  EXPECT_THAT(calls(), ElementsAre("delete video"));
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(10000));
  live_fifo.audio_stop.store(1);
  EXPECT_EQ(live_fifo_pass(), 0);
}

TEST_F(LiveStreamTest, AnOrdinaryEndReportsStatus2) {
  live_control_event(2, nullptr);
  EXPECT_EQ(live_fifo_pass(), 0);
  calls();
  live_fifo_end_cycle();
  EXPECT_THAT(calls(), ElementsAre("status 2", "stop"));
}

TEST_F(LiveStreamTest, AfterControlEvent3TheEndReportsStatus3) {
  live_control_event(3, nullptr);
  EXPECT_EQ(live_fifo_pass(), 0);
  EXPECT_THAT(calls(), ElementsAre("status 2", "delete video", "delete audio"));
  live_fifo_end_cycle();
  EXPECT_THAT(calls(), ElementsAre("status 3", "stop"));
  for (const auto* flag : {&live_fifo.cycle_open, &live_fifo.video_stop, &live_fifo.audio_stop,
                           &live_fifo.final_event_seen}) {
    EXPECT_EQ(flag->load(), 0);
  }
}

TEST_F(LiveStreamTest, TheEventProcessingIsStoppedEvery50msUntilItHasStopped) {
  fake_fifo::state().stop_results = {1, -1, 0};
  live_fifo_end_cycle();
  // A video reader that is still there is deleted last.
  EXPECT_THAT(calls(), ElementsAre("status 2", "stop", "stop", "stop", "delete video"));
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(50000, 50000));
  EXPECT_EQ(live_fifo.video.fifo, nullptr);
}

struct Enough {};

TEST_F(LiveCycleTest, TheLoopRunsCycleAfterCycle) {
  fake_fifo::State& library = fake_fifo::state();
  library.handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader};
  int cycles = 0;
  library.on_init = [&cycles] {
    if (++cycles == 3) throw Enough();
  };
  // The stream of the first cycle ends in its first pause; the second cycle has no stream, gets the
  // readers by a start event and is ended for good.
  int pauses = 0;
  fake_base::on_sleep([&pauses, &library](uint64_t us) {
    if (us != 10000) return;
    pauses++;
    if (pauses == 1) {
      library.fifo_callback(nullptr, platform::kFifoEndOfStream);
      library.list.count = 0;
    }
    if (pauses == 2) {
      library.list.count = 1;
      library.handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader};
      EXPECT_EQ(library.control_callback(1, nullptr), 0);
    }
    if (pauses == 3) {
      EXPECT_EQ(library.control_callback(3, nullptr), 0);
    }
  });
  EXPECT_THROW(live_fifo_run(), Enough);
  EXPECT_THAT(calls(),
              ElementsAre("init", "register fifo 0", "register control 0", "list", "info 0",
                          "defaults", "create", "create", "status 1",                    //
                          "delete video", "delete audio", "status 2", "stop",            //
                          "init", "register fifo 0", "register control 0",               //
                          "list", "status 2",                                            //
                          "list", "info 0", "defaults", "create", "create", "status 1",  //
                          "status 2", "delete video", "delete audio", "status 3", "stop", "init"));
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(10000, 1000, 10000, 10000));
}

TEST_F(LiveStreamTest, CleanUpReleasesTheLibraryAndMayRunTwice) {
  live_fifo_cleanup();
  EXPECT_THAT(calls(), ElementsAre("release"));
  live_fifo_cleanup();
  EXPECT_THAT(calls(), ElementsAre("release"));
}

}  // namespace
}  // namespace supervisor
