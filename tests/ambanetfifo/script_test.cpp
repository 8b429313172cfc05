// Actions on calls, events, the flow and the records have their effect, and what a script may not say.
#include <gtest/gtest.h>

#include "ambanetfifo/script_suite.h"

namespace fifo_test {
namespace {

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
