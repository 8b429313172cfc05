// Actions on single entries have their effect: marks, types, sizes, addresses, failing peeks.
#include <gtest/gtest.h>

#include "ambanetfifo/script_suite.h"

namespace fifo_test {
namespace {

using platform::FifoEntry;
using platform::FifoRequest;

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

}  // namespace
}  // namespace fifo_test
