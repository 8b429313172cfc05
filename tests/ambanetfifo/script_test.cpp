// Every action of the scripts has its effect.
#include <gtest/gtest.h>

#include "ambanetfifo/fifo_reader.h"
#include "base/clock.h"

namespace fifo_test {
namespace {

using platform::FifoEntry;
using platform::FifoRequest;

constexpr const char* kOk = "ok\n";

class Script : public testing::Test {
 protected:
  // A reader that has taken its first picture.
  void open(std::string_view script = {}) {
    reader = std::make_unique<FifoReader>(script);
    ASSERT_TRUE(reader->open());
    ASSERT_EQ(reader->next(true).entry.type, 1);
  }
  // Runs an action and returns the next video entry for which `wanted` holds.
  template <typename Wanted>
  Seen after(const std::string& action, Wanted wanted, bool video = true) {
    const size_t before = reader->seen.size();
    EXPECT_EQ(reader->control(action), kOk);
    Seen found = {};
    EXPECT_TRUE(reader->pump([&] {
      for (size_t i = before; i < reader->seen.size(); i++) {
        if (reader->seen[i].video != video || !wanted(reader->seen[i])) continue;
        found = reader->seen[i];
        return true;
      }
      return false;
    })) << action;
    return found;
  }
  uint64_t ring_start(int track) { return reader->info.tracks[track].ring_start; }
  uint64_t ring_end(int track) { return reader->info.tracks[track].ring_end; }
  // Whether entries of the track still come.
  bool flows(bool video) {
    reader->pump_for(50);
    const size_t before = reader->of(video).size();
    reader->pump_for(150);
    return reader->of(video).size() > before;
  }
  bool hears(int32_t control_event, int times = 1) {
    return reader->pump([&] { return reader->count_heard(control_event) == times; });
  }

  std::unique_ptr<FifoReader> reader;
};

TEST_F(Script, InitFailsAsOftenAsAskedFor) {
  FifoReader own("init-fail 3\n");
  for (int i = 0; i < 3; i++) {
    EXPECT_LT(own.begin(), 0);
    EXPECT_EQ(own.instance, -1);
  }
  EXPECT_GE(own.begin(), 0);
  EXPECT_EQ(own.instance, 0);
}

TEST_F(Script, InitMaySucceedWithoutAnInstance) {
  FifoReader own("init-no-instance\n");
  EXPECT_EQ(own.begin(), 0);
  EXPECT_EQ(own.instance, -1);
  EXPECT_EQ(own.begin(), 0);
  EXPECT_EQ(own.instance, 0);
}

TEST_F(Script, TheFailingCallsFailOnceAndThenWork) {
  for (const char* action : {"list-fail", "no-media-info", "config-fail", "create-fail"}) {
    FifoReader own(action);
    ASSERT_GE(own.begin(), 0);
    EXPECT_FALSE(own.attach()) << action;
    EXPECT_TRUE(own.attach()) << action;
  }
}

TEST_F(Script, StreamListMayBeEmptyOddOrInactive) {
  FifoReader own("no-streams\n");
  ASSERT_GE(own.begin(), 0);
  EXPECT_FALSE(own.attach());
  EXPECT_EQ(own.list.count, 0u);
  EXPECT_EQ(own.control("streams 200"), kOk);
  EXPECT_TRUE(own.attach());
  EXPECT_EQ(own.list.count, 200u);
  EXPECT_EQ(own.control("inactive"), kOk);
  EXPECT_FALSE(own.attach());
  EXPECT_EQ(own.control("active"), kOk);
  EXPECT_TRUE(own.attach());
  EXPECT_EQ(own.list.count, 2u);
}

TEST_F(Script, StopFinalAndStop6SendTheirEventAndEndTheFlow) {
  open();
  const std::pair<const char*, int32_t> rows[] = {{"stop", 2}, {"final", 3}, {"stop6", 6}};
  for (const auto& [action, event] : rows) {
    EXPECT_EQ(reader->control(action), kOk);
    EXPECT_TRUE(hears(event)) << action;
    EXPECT_FALSE(flows(true)) << action;
    EXPECT_FALSE(flows(false)) << action;
    EXPECT_EQ(reader->control("start"), kOk);
    EXPECT_TRUE(flows(true)) << action;
  }
  EXPECT_TRUE(hears(1, 3));
}

TEST_F(Script, ABareControlEventLeavesTheFlowAlone) {
  open();
  EXPECT_EQ(reader->control("control 4"), kOk);
  EXPECT_TRUE(hears(4));
  EXPECT_EQ(reader->control("control 2"), kOk);
  EXPECT_TRUE(hears(2));
  EXPECT_TRUE(flows(true));
}

TEST_F(Script, TheCallbacksResultIsInTheLog) {
  open();
  EXPECT_EQ(reader->control("start"), kOk);  // the callback of these tests answers -1
  EXPECT_TRUE(reader->pump(
      [&] { return reader->log_text().find(" control 1 -> -1\n") != std::string::npos; }));
}

TEST_F(Script, FifoEndIsAnnouncedForAReader) {
  open();
  EXPECT_EQ(reader->control("fifo-end"), kOk);
  EXPECT_TRUE(reader->pump([&] {
    const std::vector<Heard> heard = reader->heard();
    return std::any_of(heard.begin(), heard.end(), [&](const Heard& one) {
      return one.fifo_event == 0x4000001 && one.fifo == reader->fifo[0];
    });
  }));
  EXPECT_FALSE(flows(true));
}

TEST_F(Script, AnyFifoEventMayBeSent) {
  open();
  EXPECT_EQ(reader->control("fifo-event 77"), kOk);
  EXPECT_TRUE(reader->pump([&] {
    const std::vector<Heard> heard = reader->heard();
    return std::any_of(heard.begin(), heard.end(),
                       [](const Heard& one) { return one.fifo_event == 77; });
  }));
  EXPECT_TRUE(flows(true));
}

TEST_F(Script, EndMarksByTypeAreTheLastEntries) {
  open();
  EXPECT_EQ(after("end-video", [](const Seen& one) { return one.entry.type == 255; }).video, true);
  EXPECT_FALSE(flows(true));
  EXPECT_TRUE(flows(false));
  after(
      "end-audio", [](const Seen& one) { return one.entry.type == 255; }, false);
  EXPECT_FALSE(flows(false));
}

TEST_F(Script, EndMarksBySizeAreTheLastEntries) {
  open();
  const auto mark = [](const Seen& one) { return one.entry.size == 0xFFFFFF; };
  EXPECT_EQ(after("end-video-size", mark).entry.type, 1);
  EXPECT_EQ(after("end-audio-size", mark, false).entry.type, 8);
  EXPECT_FALSE(flows(true));
  EXPECT_FALSE(flows(false));
}

TEST_F(Script, TypesAreChangedForAsManyEntriesAsAskedFor) {
  open();
  after("video-type 5 3", [](const Seen& one) { return one.entry.type == 5; });
  reader->next(true, 5);
  const std::vector<Seen> video = reader->of(true);
  EXPECT_EQ(std::count_if(video.begin(), video.end(),
                          [](const Seen& one) { return one.entry.type == 5; }),
            3);
  after(
      "audio-type 5", [](const Seen& one) { return one.entry.type == 5; }, false);
  EXPECT_EQ(reader->next(false).entry.type, 8);
}

TEST_F(Script, UnblockGivesWaitingEntriesTheirTypesBack) {
  open();
  reader->keep = true;
  EXPECT_EQ(reader->control("video-type 5 2"), kOk);
  reader->pump_for(200);
  EXPECT_EQ(reader->control("unblock"), kOk);
  reader->keep = false;
  reader->next(true, 4);
  for (const Seen& one : reader->of(true)) EXPECT_LE(one.entry.type, 2);
}

TEST_F(Script, SizesAreExactAndFilledWithZeros) {
  open();
  const auto sized = [](uint32_t size) {
    return [size](const Seen& one) { return one.entry.size == size; };
  };
  const Seen large = after("video-size 150000", sized(150000));
  ASSERT_EQ(large.bytes.size(), 150000u);
  EXPECT_EQ(large.bytes[3], 1);
  EXPECT_EQ(large.bytes[149999], 0);
  EXPECT_EQ(after("video-size 1", sized(1)).bytes.size(), 1u);
  EXPECT_EQ(after("video-size 0", sized(0)).bytes.size(), 0u);
  EXPECT_EQ(after("audio-size 131072", sized(131072), false).bytes.size(), 131072u);
  EXPECT_EQ(after("audio-size 131073", sized(131073), false).bytes.size(), 131073u);
  // More than the ring holds: claimed, not there.
  EXPECT_TRUE(after("video-size 4000000000", sized(4000000000)).bytes.empty());
  EXPECT_TRUE(flows(true));
}

TEST_F(Script, WrapCutsTheEntryInItsMiddle) {
  open();
  const Seen video = after("wrap", [](const Seen& one) { return one.wrapped; });
  EXPECT_EQ(ring_end(0) - video.entry.address, (video.entry.size + 1) / 2);
  const Seen audio = after(
      "wrap audio", [](const Seen& one) { return one.wrapped; }, false);
  EXPECT_EQ(ring_end(1) - audio.entry.address, 1024u);
}

TEST_F(Script, ExactEndsWhereTheRingEnds) {
  open();
  const Seen video = after(
      "exact", [&](const Seen& one) { return one.entry.address + one.entry.size == ring_end(0); });
  EXPECT_FALSE(video.wrapped);
  EXPECT_EQ(reader->next(true).entry.address, ring_start(0));
  after(
      "exact audio",
      [&](const Seen& one) { return one.entry.address + one.entry.size == ring_end(1); }, false);
}

TEST_F(Script, AddressesMayLieOutsideTheRing) {
  open();
  const auto outside = [](const Seen& one) { return !one.inside; };
  EXPECT_EQ(after("outside", outside).entry.address, ring_end(0) + 64);
  EXPECT_EQ(after("outside-before", outside).entry.address, ring_start(0) - 64);
  EXPECT_EQ(after("outside-null", outside).entry.address, 0u);
  EXPECT_EQ(after("outside audio", outside, false).entry.address, ring_end(1) + 64);
  EXPECT_TRUE(reader->next(true).inside);
}

TEST_F(Script, PeeksFailAsOftenAsAskedForAndTheEntryStays) {
  open();
  reader->pump_for(50);
  EXPECT_EQ(reader->control("peek-fail video 3"), kOk);
  const uint64_t last = reader->of(true).back().entry.time_stamp;
  EXPECT_EQ(reader->next(true).entry.time_stamp - last, 3000u);
  EXPECT_EQ(reader->failed_peeks, 3u);
  EXPECT_EQ(reader->last_failure, -2);
  EXPECT_EQ(reader->control("peek-fail 2"), kOk);
  reader->next(true, 2);
  reader->next(false, 2);
  EXPECT_EQ(reader->failed_peeks, 7u);
}

TEST_F(Script, PeekOfAnEmptyReaderFails) {
  open("pause\nat 0.1 resume\n");
  EXPECT_EQ(reader->control("pause"), kOk);
  reader->pump_for(50);
  FifoRequest request = {reader->fifo[0], 0};
  FifoEntry entry = {};
  EXPECT_NE(platform::AmbaNetFifo_PeekEntry(&request, &entry), 0);
}

TEST_F(Script, StrayAnnouncementsUseOneUnknownHandlePerAction) {
  open();
  EXPECT_EQ(reader->control("stray 3\nstray\n"), kOk);
  std::vector<void*> strays;
  EXPECT_TRUE(reader->pump([&] {
    strays.clear();
    for (const Heard& one : reader->heard()) {
      if (one.fifo_event == 0x4000002 && one.fifo != reader->fifo[0] &&
          one.fifo != reader->fifo[1]) {
        strays.push_back(one.fifo);
      }
    }
    return strays.size() == 4;
  }));
  EXPECT_EQ(strays[0], strays[1]);
  EXPECT_EQ(strays[0], strays[2]);
  EXPECT_NE(strays[0], strays[3]);
}

TEST_F(Script, PauseEndsTheFlowAndResumeBringsItBack) {
  open();
  EXPECT_EQ(reader->control("pause"), kOk);
  EXPECT_FALSE(flows(true));
  EXPECT_FALSE(flows(false));
  EXPECT_EQ(reader->control("resume"), kOk);
  EXPECT_TRUE(flows(true));
  EXPECT_TRUE(flows(false));
}

TEST_F(Script, RateChangesSpeedAndTimeStamps) {
  open("rate 100\n");
  const Seen first = reader->next(true);
  const Seen last = reader->next(true, 100);
  EXPECT_EQ(last.entry.time_stamp - first.entry.time_stamp, 90000u);
  EXPECT_NEAR(static_cast<double>(last.at_us - first.at_us), 1e6, 5e4);
}

TEST_F(Script, StopDelayMakesTheStopTakeLonger) {
  open("stop-delay 4\n");
  EXPECT_GE(reader->finish(), 5);
}

TEST_F(Script, TrackRecordsAreWhatTheScriptSays) {
  open(
      "tracks 200\nkinds 3 1 2 9\nsource audio 0\ntime-scale 0\ntime-scale audio 12\n"
      "sample-rate 4294967295\nsource audio 1\n");
  EXPECT_EQ(reader->info.track_count, 200);
  EXPECT_EQ(reader->info.tracks[0].kind, 3);
  EXPECT_EQ(reader->info.tracks[1].kind, 1);
  EXPECT_EQ(reader->info.tracks[2].kind, 2);
  EXPECT_EQ(reader->info.tracks[3].kind, 9);
  EXPECT_EQ(reader->info.tracks[0].time_scale, 0u);
  EXPECT_EQ(reader->info.tracks[1].time_scale, 12u);
  EXPECT_EQ(reader->info.tracks[1].sample_rate, -1);
  EXPECT_EQ(reader->control("source audio 0\ntracks 0"), kOk);
  platform::FifoMediaInfo info = {};
  ASSERT_EQ(platform::AmbaNetFifo_GetMediaInfo(1, &info), 0);
  EXPECT_EQ(info.tracks[1].source, 0u);
  EXPECT_NE(info.tracks[0].source, 0u);
  EXPECT_EQ(info.track_count, 0);
}

TEST_F(Script, QuietPausesTheStreamAndStartsItAgain) {
  open();
  EXPECT_EQ(reader->control("quiet 300"), kOk);
  EXPECT_EQ(reader->control("final"), kOk);
  EXPECT_TRUE(hears(3));
  reader->finish();
  ASSERT_GE(reader->begin(), 0);
  EXPECT_FALSE(reader->attach());
  EXPECT_TRUE(hears(1));
  EXPECT_TRUE(reader->attach());
  EXPECT_EQ(reader->next(true).entry.type, 1);
}

TEST_F(Script, LinesWithATimeWaitForIt) {
  open("# a comment\n\nat 0.4 control 5  # and another\n");
  EXPECT_EQ(reader->count_heard(5), 0);
  reader->pump_for(100);
  EXPECT_EQ(reader->count_heard(5), 0);
  EXPECT_TRUE(hears(5));
}

TEST_F(Script, WhatCannotBeUnderstoodIsRefusedAndTheRestRuns) {
  open();
  EXPECT_EQ(reader->control("nonsense"), "error: unknown action nonsense\n");
  EXPECT_EQ(reader->control("video-type"), "error: wrong number of arguments of video-type\n");
  EXPECT_EQ(reader->control("tracks 256"), "error: bad argument 256 of tracks\n");
  EXPECT_EQ(reader->control("tracks -1"), "error: bad argument -1 of tracks\n");
  EXPECT_EQ(reader->control("stop video"), "error: bad argument video of stop\n");
  EXPECT_EQ(reader->control("at never stop"), "error: bad time never\n");
  EXPECT_EQ(reader->control("at nan stop"), "error: bad time nan\n");
  EXPECT_EQ(reader->control("at 1"), "error: unknown action \n");
  EXPECT_EQ(reader->control("oops\ncontrol 5\n"), "error: unknown action oops\n");
  EXPECT_TRUE(hears(5));
  EXPECT_EQ(reader->control(""), kOk);
}

}  // namespace
}  // namespace fifo_test
