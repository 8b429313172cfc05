// Starting, stopping and beginning again; calls that a correct program does not make.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>

#include "ambanetfifo/fifo_reader.h"
#include "base/clock.h"

namespace fifo_test {
namespace {

using platform::FifoEntry;
using platform::FifoRequest;

TEST(Cycle, TwentyStopsAndNewInitsInARow) {
  FifoReader reader;
  for (int i = 0; i < 20; i++) {
    ASSERT_GE(reader.begin(), 0) << i;
    EXPECT_EQ(reader.instance, i);
    ASSERT_TRUE(reader.attach()) << i;
    const Seen first = reader.next(true);
    EXPECT_EQ(first.entry.type, 1);
    EXPECT_FALSE(first.bytes.empty());
    EXPECT_EQ(reader.control("stop"), "ok\n");
    ASSERT_TRUE(reader.pump([&] { return reader.count_heard(2) == i + 1; })) << i;
    reader.finish();
  }
}

TEST(Cycle, TwentyReleasesAndNewInitsInARow) {
  for (int i = 0; i < 20; i++) {
    FifoReader reader;
    ASSERT_TRUE(reader.open()) << i;
    EXPECT_EQ(reader.instance, 0);
    EXPECT_EQ(reader.next(true).entry.type, 1);
  }
}

TEST(Cycle, TimeStampsGoOnInTheNextCycle) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  const uint64_t before = reader.next(true, 3).entry.time_stamp;
  reader.finish();
  ASSERT_TRUE(reader.open());
  EXPECT_GT(reader.next(true).entry.time_stamp, before);
}

TEST(Cycle, NoCallbackRunsAfterTheStopReturnedZero) {
  FifoReader reader("rate 1000\n");
  ASSERT_TRUE(reader.open());
  reader.next(true, 20);
  reader.finish();
  const size_t before = reader.heard().size();
  base::sleep_ms(50);
  EXPECT_EQ(reader.heard().size(), before);
}

TEST(Cycle, ACreationTakesAsLongAsTheScriptSays) {
  FifoReader reader("create-delay 40\n");
  ASSERT_GE(reader.begin(), 0);
  const uint64_t begin_us = base::monotonic_us();
  EXPECT_TRUE(reader.attach());  // two readers
  EXPECT_GE(base::monotonic_us() - begin_us, 80'000U);
}

TEST(Cycle, StoppingIsNotZeroWhileTheLoopRuns) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  reader.next(true);
  EXPECT_EQ(platform::AmbaNetFifo_StopEventProcess(), 1);
  reader.finish();
  EXPECT_EQ(platform::AmbaNetFifo_StopEventProcess(), 0);
}

TEST(Cycle, ALoopThatIsStoppedBeforeItBeganReturnsAtOnce) {
  FifoReader reader;
  int32_t instance = -1;
  ASSERT_GE(platform::AmbaNetFifo_init(&instance), 0);
  EXPECT_EQ(platform::AmbaNetFifo_StopEventProcess(), 0);
  EXPECT_EQ(platform::AmbaNetFifo_ExecEventProcess(nullptr), nullptr);
}

TEST(Cycle, ASecondLoopReturnsAtOnceAndInitFailsWhileOneRuns) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  reader.next(true);
  EXPECT_EQ(platform::AmbaNetFifo_ExecEventProcess(nullptr), nullptr);
  int32_t instance = 5;
  EXPECT_LT(platform::AmbaNetFifo_init(&instance), 0);
  EXPECT_EQ(instance, -1);
  EXPECT_EQ(reader.next(true).bytes.empty(), false);
}

TEST(Cycle, ReadersThatWereLeftOpenEndWithTheNextInit) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  reader.next(true);
  void* left = reader.fifo[1];
  reader.fifo[1] = nullptr;
  reader.finish();
  ASSERT_GE(reader.begin(), 0);
  EXPECT_LT(platform::AmbaNetFifo_Delete(left), 0);
}

TEST(Cycle, ReleaseEndsTheLoopAndRemovesTheControlSocket) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  struct stat there = {};
  EXPECT_EQ(stat(reader.folder.path("control").c_str(), &there), 0);
  platform::AmbaNetFifo_release();
  reader.events.join();
  EXPECT_NE(stat(reader.folder.path("control").c_str(), &there), 0);
}

TEST(Cycle, ForeignHandlesAreRefused) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  int other = 0;
  FifoRequest request = {&other, 0};
  FifoEntry entry = {};
  EXPECT_NE(platform::AmbaNetFifo_PeekEntry(&request, &entry), 0);
  EXPECT_NE(platform::AmbaNetFifo_RemoveEnrty(&request), 0);
  EXPECT_NE(platform::AmbaNetFifo_Delete(&other), 0);
  request.fifo = nullptr;
  EXPECT_NE(platform::AmbaNetFifo_PeekEntry(&request, &entry), 0);
}

TEST(Cycle, PeekWantsZeroAndRemoveWantsOne) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  reader.keep = true;
  reader.pump([&] { return !reader.heard().empty(); });
  reader.pump_for(50);
  FifoRequest request = {reader.fifo[0], 1};
  FifoEntry first = {};
  EXPECT_NE(platform::AmbaNetFifo_PeekEntry(&request, &first), 0);
  request.operation = 0;
  EXPECT_NE(platform::AmbaNetFifo_RemoveEnrty(&request), 0);
  ASSERT_EQ(platform::AmbaNetFifo_PeekEntry(&request, &first), 0);
  FifoEntry again = {};
  ASSERT_EQ(platform::AmbaNetFifo_PeekEntry(&request, &again), 0);
  EXPECT_EQ(first.time_stamp, again.time_stamp);
  request.operation = 1;
  EXPECT_EQ(platform::AmbaNetFifo_RemoveEnrty(&request), 0);
  request.operation = 0;
  ASSERT_EQ(platform::AmbaNetFifo_PeekEntry(&request, &again), 0);
  EXPECT_EQ(again.time_stamp - first.time_stamp, 3000u);
}

TEST(Cycle, CreateWantsTheInstanceASourceAndTheSettings) {
  FifoReader reader;
  ASSERT_GE(reader.begin(), 0);
  platform::FifoMediaInfo info = {};
  ASSERT_EQ(platform::AmbaNetFifo_GetMediaInfo(1, &info), 0);
  platform::FifoConfiguration good = {};
  good.source = info.tracks[0].source;
  good.setting8 = 256;
  good.setting12 = 1;
  platform::FifoConfiguration bad = good;
  bad.instance = 7;
  EXPECT_EQ(platform::AmbaNetFifo_Create(&bad), nullptr);
  bad = good;
  bad.source = 1;
  EXPECT_EQ(platform::AmbaNetFifo_Create(&bad), nullptr);
  bad = good;
  bad.setting8 = 0;
  EXPECT_EQ(platform::AmbaNetFifo_Create(&bad), nullptr);
  bad = good;
  bad.setting12 = 0;
  EXPECT_EQ(platform::AmbaNetFifo_Create(&bad), nullptr);
  EXPECT_NE(platform::AmbaNetFifo_Create(&good), nullptr);
  EXPECT_LT(platform::AmbaNetFifo_GetMediaInfo(0, &info), 0);
}

TEST(Cycle, AHandleIsNotGivenOutAgainAtOnce) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  void* old = reader.fifo[0];
  platform::AmbaNetFifo_Delete(old);
  reader.fifo[0] = nullptr;
  platform::FifoConfiguration configuration = {};
  configuration.source = reader.info.tracks[0].source;
  configuration.setting8 = 1;
  configuration.setting12 = 1;
  configuration.instance = static_cast<uint32_t>(reader.instance);
  void* made = platform::AmbaNetFifo_Create(&configuration);
  EXPECT_NE(made, nullptr);
  EXPECT_NE(made, old);
  EXPECT_EQ(platform::AmbaNetFifo_Delete(made), 0);
}

TEST(Cycle, CallsAndReportsAreLogged) {
  FifoReader reader;
  ASSERT_TRUE(reader.open());
  for (int status = 1; status <= 3; status++) platform::AmbaNetFifo_ReportStatus(status);
  reader.next(true);
  reader.finish();
  const std::string log = reader.log_text();
  for (const char* line :
       {" init -> 0\n", " register fifo -> 0\n", " events begin\n", " list -> 0\n", " info -> 0\n",
        " create video reader=", " status 1\n", " status 2\n", " status 3\n",
        " added video 1 type=1 ", " peek video 1 type=1 ", " remove video 1 calls=1\n",
        " delete video reader=", " events end\n", " stop events -> 0\n"}) {
    EXPECT_NE(log.find(line), std::string::npos) << line << log;
  }
}

}  // namespace
}  // namespace fifo_test
