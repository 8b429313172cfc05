// Stops and starts of the live stream that meet the reader at every moment of its cycle.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

// A script line at a time in microseconds since the library's start.
std::string at(int time_us, const char* action) {
  char line[48];
  std::snprintf(line, sizeof line, "at %d.%06d %s\n", time_us / 1'000'000, time_us % 1'000'000,
                action);
  return line;
}

// What the log of the FIFO library says of its readers.
struct Readers {
  int set_ups = 0;
  int open[2] = {};   // video, audio
  int most[2] = {};   // at the same time
  int left_over = 0;  // readers that the library had to close itself
};

Readers count_readers() {
  Readers readers;
  std::istringstream log(read_file(RunningMaintask::kFifoLog));
  for (std::string line; std::getline(log, line);) {
    const auto says = [&line](const std::string& text) { return line.find(text) != line.npos; };
    if (says(" create video reader=")) readers.set_ups++;
    if (says(" init closes reader=")) readers.left_over++;
    for (const int track : {0, 1}) {
      const std::string which = track == 0 ? "video reader=" : "audio reader=";
      if (says(" create " + which)) readers.open[track]++;
      if (says(" delete " + which)) readers.open[track]--;
      readers.most[track] = std::max(readers.most[track], readers.open[track]);
    }
  }
  return readers;
}

// Live video comes without a pause for six seconds. A ring that a lost reader holds is full after
// two.
void expect_video(PeerSocket& video) {
  const auto any = [](const Datagram&) { return true; };
  const Time end = Clock::now() + seconds(6);
  while (Clock::now() < end) {
    ASSERT_TRUE(video.wait_for(any, seconds(5), video.count()));
    let_pass(milliseconds(100));
  }
}

// Runs a script that takes so long and has so many starts: every track has one reader at a time,
// none is left over, and afterwards there is video.
void expect_one_set_up_at_a_time(const std::string& script, milliseconds length, size_t starts) {
  std::remove(RunningMaintask::kFifoLog);  // an earlier program's
  PeerLink peer;
  PeerSocket video(8856);
  RunningMaintask maintask(script);
  let_pass(length);  // the log is long: it is looked at when it is about complete
  EXPECT_TRUE(
      poll_until([starts] { return RunningMaintask::fifo_log_count(" action start\n") == starts; },
                 seconds(90)));
  EXPECT_TRUE(wait_for_live_video(peer, video)) << maintask.process().output();
  expect_video(video);
  const Readers readers = count_readers();
  EXPECT_GE(readers.set_ups, 10);
  EXPECT_EQ(readers.left_over, 0);
  for (const int track : {0, 1}) {
    EXPECT_EQ(readers.most[track], 1) << track;
    EXPECT_EQ(readers.open[track], 1) << track;
  }
  EXPECT_TRUE(maintask.runs());
}

// The start waits in the library while the reader begins its next cycle, and is delivered while the
// main thread sets up.
TEST(LiveStorm, ASlowCreationIsNeverSetUpTwice) {
  constexpr int kPairs = 300;
  std::string script = "create-delay 3\n";
  for (int i = 0; i < kPairs; i++) {
    const int stop_us = 1'000'000 + i * 85'000;
    script += at(stop_us, "stop") + at(stop_us + 10'000 + i % 21 * 1'000, "start");
  }
  expect_one_set_up_at_a_time(script, seconds(27), kPairs);
}

// Starts every 100 us from the stop on, so that some meet the moment between the end of the last
// reader and that of the event processing.
TEST(LiveStorm, AStartDuringTheTeardownLeavesNoReaderBehind) {
  constexpr int kStops = 100;
  constexpr int kStarts = 120;
  std::string script;
  for (int i = 0; i < kStops; i++) {
    const int stop_us = 1'000'000 + i * 80'000;
    script += at(stop_us, "stop");
    for (int start = 1; start <= kStarts; start++) script += at(stop_us + start * 100, "start");
  }
  expect_one_set_up_at_a_time(script, seconds(9), size_t{kStops} * kStarts);
}

}  // namespace
