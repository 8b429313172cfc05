// Events of the library's thread that meet the main thread's set-up, or the end of its cycle.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <utility>

#include "supervisor/fifo/entries.h"
#include "supervisor/fifo/live_stream.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

using live_test::Calls;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// How long a call that has to wait for another thread is seen waiting.
constexpr milliseconds kWhile{50};
constexpr std::chrono::seconds kEnough{60};

// Two readers too many: a set-up beside the first one would get them.
char second_video;
char second_audio;

class LiveRace : public live_test::LiveCycle {
 protected:
  LiveRace() {
    fake_fifo::state().handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader, &second_video,
                                  &second_audio};
  }
  ~LiveRace() override { fake_fifo::state().on_create = nullptr; }

  // In the middle of the next set-up, while its first reader is being made.
  static void in_the_set_up(std::function<void()> what) {
    fake_fifo::state().on_create = [what = std::move(what), first = true]() mutable {
      if (std::exchange(first, false)) what();
    };
  }
  static std::future<int32_t> deliver(int32_t control_event) {
    return std::async(std::launch::async, live_control_event, control_event, nullptr);
  }
  static void expect_the_first_readers() {
    EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
    EXPECT_EQ(live_fifo.audio.fifo, &fake_fifo::audio_reader);
    EXPECT_EQ(fake_fifo::state().created.size(), 2U);
  }
};

using LiveRaceRunning = live_test::LiveStream;

TEST_F(LiveRace, AStartDuringTheSetUpWaitsForItAndMakesNoSecondReader) {
  std::future<int32_t> start;
  in_the_set_up([&start] {
    start = deliver(1);
    EXPECT_EQ(start.wait_for(kWhile), std::future_status::timeout);
  });
  live_fifo_attach();
  EXPECT_EQ(start.get(), 0);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 1"));
  expect_the_first_readers();
}

TEST_F(LiveRace, AStartThatWaitedForAFailedSetUpMakesTheReaders) {
  std::future<int32_t> start;
  in_the_set_up([&start] {
    start = deliver(1);
    fake_fifo::state().handles.clear();
  });
  // The pause belongs to the failed set-up: the blinking never follows the start's steady light.
  fake_base::on_sleep([&start](uint64_t) {
    fake_fifo::state().handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader};
    EXPECT_EQ(start.wait_for(kWhile), std::future_status::timeout);
  });
  live_fifo_attach();
  EXPECT_EQ(start.get(), 0);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "status 2",  //
                                   "list", "info 0", "defaults", "create", "create", "status 1"));
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
  EXPECT_EQ(live_fifo.audio.fifo, &fake_fifo::audio_reader);
  EXPECT_EQ(switches.indicator_blink.load(), 0);
  EXPECT_EQ(switches.indicator_level.load(), 1);
}

TEST_F(LiveRace, AStopDuringTheSetUpStopsBothTracksAfterIt) {
  for (const int32_t event : {2, 3, 6}) {
    ASSERT_EQ(live_fifo_begin_cycle(), 0);
    fake_fifo::state().handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader};
    calls();
    std::future<int32_t> stop;
    in_the_set_up([&stop, event] {
      stop = deliver(event);
      EXPECT_EQ(stop.wait_for(kWhile), std::future_status::timeout) << event;
    });
    live_fifo_attach();
    EXPECT_EQ(stop.get(), 0);
    EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 1",
                                     "status 2"));
    EXPECT_EQ(live_fifo.final_event_seen.load(), event == 3 ? 1 : 0);
    EXPECT_EQ(live_fifo_pass(), 0) << event;
    EXPECT_THAT(calls(), ElementsAre("delete video", "delete audio"));
  }
}

TEST_F(LiveRace, Events4And5DuringTheSetUpAreIgnoredAtOnce) {
  in_the_set_up([] {
    for (const int32_t event : {4, 5}) {
      std::future<int32_t> ignored = deliver(event);
      ASSERT_EQ(ignored.wait_for(kEnough), std::future_status::ready) << event;
      EXPECT_EQ(ignored.get(), 0);
    }
  });
  live_fifo_attach();
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 1"));
  expect_the_first_readers();
  EXPECT_EQ(live_fifo_pass(), 1);
}

TEST_F(LiveRace, FifoEventsDuringTheSetUpDoNotWait) {
  int creations = 0;
  fake_fifo::state().on_create = [&creations] {
    if (++creations != 2) return;
    EXPECT_EQ(live_fifo_event(&fake_fifo::video_reader, platform::kFifoEntryAdded), 0);
    EXPECT_EQ(live_fifo_event(nullptr, platform::kFifoEndOfStream), 0);
  };
  live_fifo_attach();
  EXPECT_EQ(live_fifo.video.pending, 1);
  EXPECT_EQ(live_fifo.video_stop.load(), 1);
  EXPECT_EQ(live_fifo.audio_stop.load(), 1);
}

TEST_F(LiveRace, AStartBeforeTheSetUpIsTheCyclesOnlyOne) {
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  live_fifo_attach();
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 1"));
  expect_the_first_readers();
  EXPECT_EQ(switches.indicator_blink.load(), 0);
  EXPECT_EQ(switches.indicator_level.load(), 1);
}

TEST_F(LiveRace, TheReaderOfAHalfFailedStartIsKept) {
  fake_fifo::state().handles = {&fake_fifo::video_reader};
  EXPECT_EQ(live_control_event(1, nullptr), -1);
  fake_fifo::state().handles = {&second_video, &second_audio};
  live_fifo_attach();
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create"));
}

TEST_F(LiveRaceRunning, AStartAfterTheLastReaderCreatesNothingAndTheCycleEnds) {
  live_fifo_event(nullptr, platform::kFifoEndOfStream);
  (void)video_pass();
  (void)audio_pass();
  EXPECT_THAT(calls(), ElementsAre("delete video", "delete audio"));
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_EQ(live_fifo_pass(), 0);
}

TEST_F(LiveRaceRunning, AStartDuringTheTeardownIsLeftToTheNextCycle) {
  fake_fifo::state().handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader};
  live_control_event(2, nullptr);
  EXPECT_EQ(live_fifo_pass(), 0);
  EXPECT_EQ(live_control_event(1, nullptr), 0);
  // No lock is held while the event processing ends: a callback may wait for it.
  fake_fifo::state().on_stop = [] { EXPECT_EQ(live_control_event(1, nullptr), 0); };
  fake_fifo::state().stop_results = {1, 0};
  fake_base::on_sleep([](uint64_t) { EXPECT_EQ(live_control_event(1, nullptr), 0); });
  live_fifo_end_cycle();
  EXPECT_THAT(calls(),
              ElementsAre("status 2", "delete video", "delete audio", "status 2", "stop", "stop"));
  EXPECT_THAT(fake_fifo::state().handles, ::testing::SizeIs(2));
  fake_base::reset();  // no start in the pauses any more
  ASSERT_EQ(live_fifo_begin_cycle(), 0);
  calls();
  live_fifo_attach();
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create", "create", "status 1"));
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
}

// An end of stream without readers leaves the stop flags set; the first reader of the start is gone
// while the second one is being made.
TEST_F(LiveRace, ThePassWaitsForASetUpBeforeItEndsTheCycle) {
  live_fifo_event(nullptr, platform::kFifoEndOfStream);
  std::promise<void> half_way;
  std::promise<void> passed;
  int creations = 0;
  fake_fifo::state().on_create = [&] {
    if (++creations != 2) return;
    half_way.set_value();
    passed.get_future().wait_for(kWhile);
  };
  std::future<int32_t> start = deliver(1);
  half_way.get_future().wait();
  int32_t goes_on = live_fifo_pass();
  passed.set_value();
  EXPECT_EQ(start.get(), 0);
  while (goes_on == 1) goes_on = live_fifo_pass();
  EXPECT_EQ(live_fifo.video.fifo, nullptr);
  EXPECT_EQ(live_fifo.audio.fifo, nullptr);
  const Calls seen = calls();
  EXPECT_EQ(std::ranges::count(seen, "delete video"), 1);
  EXPECT_EQ(std::ranges::count(seen, "delete audio"), 1);
}

}  // namespace
}  // namespace supervisor
