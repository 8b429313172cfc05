#include "media/frames/frame_ring.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include "support/allocation_fault.h"

namespace media {
namespace {

struct RingFree {
  void operator()(FrameRing* ring) const { frame_ring_free(ring); }
};

class FrameRingTest : public ::testing::Test {
 protected:
  int32_t push(int32_t value) { return frame_ring_push(ring.get(), &value, sizeof(value)); }

  int32_t pop() {
    int32_t value = -2;
    return frame_ring_pop(ring.get(), &value, sizeof(value)) == sizeof(value) ? value : -1;
  }

  std::unique_ptr<FrameRing, RingFree> ring{frame_ring_new()};
};

TEST_F(FrameRingTest, StartsEmpty) {
  ASSERT_NE(ring, nullptr);
  EXPECT_EQ(ring->read_index, 0U);
  EXPECT_EQ(ring->write_index, 0U);
  EXPECT_EQ(ring->full, 0U);
  EXPECT_EQ(ring->count, 0U);
  EXPECT_EQ(pop(), -1);
}

TEST_F(FrameRingTest, TheHundredthPushFillsItAndTheNextIsRefused) {
  for (int32_t i = 0; i < 99; i++) EXPECT_EQ(push(i), 0);
  EXPECT_EQ(ring->full, 0U);
  EXPECT_EQ(push(99), 0);
  EXPECT_EQ(ring->full, 1U);
  EXPECT_EQ(ring->count, 100U);
  EXPECT_EQ(ring->write_index, 0U);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(push(100), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Queue:queue is full!\n");
  EXPECT_EQ(ring->count, 100U);
  for (int32_t i = 0; i < 100; i++) EXPECT_EQ(pop(), i);
  EXPECT_EQ(pop(), -1);
}

TEST_F(FrameRingTest, APopMakesRoom) {
  for (int32_t i = 0; i < 100; i++) push(i);
  EXPECT_EQ(pop(), 0);
  EXPECT_EQ(ring->full, 0U);
  EXPECT_EQ(ring->count, 99U);
  EXPECT_EQ(ring->read_index, 1U);
  EXPECT_EQ(push(100), 0);
  EXPECT_EQ(ring->full, 1U);
  EXPECT_EQ(pop(), 1);
}

// A consumer of its own takes a slot, moves the index on and clears the flag; the count is not its
// business.
TEST_F(FrameRingTest, WhatRefusesAPushIsEqualIndicesWithTheFlagAndNotTheCount) {
  for (int32_t i = 0; i < 100; i++) push(i);
  for (uint32_t i = 0; i < 250; i++) {
    ring->read_index = (i + 1) % 100;
    ring->full = 0;
    ASSERT_EQ(push(static_cast<int32_t>(1000 + i)), 0);
    ASSERT_EQ(ring->count, 100U);
    ASSERT_EQ(ring->full, 1U);
    ASSERT_EQ(ring->write_index, (i + 1) % 100);
  }
  // The flag alone refuses nothing, nor do equal indices.
  ring->read_index = 51;
  EXPECT_EQ(push(1), 0);
  ring->read_index = 51;
  ring->full = 0;
  EXPECT_EQ(push(2), 0);
  EXPECT_EQ(ring->write_index, 52U);
  ring->read_index = 52;
  ring->full = 1;
  ring->count = 3;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(push(3), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Queue:queue is full!\n");
  EXPECT_EQ(ring->count, 3U);
}

// A pop of a full ring clears the flag first and moves its index on then.
TEST_F(FrameRingTest, APopThatIsGoingOnHasNotMadeRoomYet) {
  for (int32_t i = 0; i < 100; i++) push(i);
  ring->popping = 1;  // slot 0
  ring->full = 0;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(push(100), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Queue:queue is full!\n");
  ring->read_index = 1;
  EXPECT_EQ(push(100), 0);
  EXPECT_EQ(ring->full, 1U);
}

TEST_F(FrameRingTest, APopOfTheLastFrameDoesNotRefuseTheNext) {
  for (int32_t i = 0; i < 5; i++) {
    push(i);
    EXPECT_EQ(pop(), i);
  }
  ring->popping = 5;  // slot 4, from which the index has moved on
  EXPECT_EQ(push(5), 0);
}

TEST_F(FrameRingTest, AFrameMayHaveTheSizeOfASlotAndNoMore) {
  const std::vector<uint8_t> frame(102401, 0xAB);
  EXPECT_EQ(frame_ring_push(ring.get(), frame.data(), 102401), -1);
  EXPECT_EQ(frame_ring_push(ring.get(), frame.data(), -1), -1);
  EXPECT_EQ(frame_ring_push(ring.get(), nullptr, 1), -1);
  EXPECT_EQ(frame_ring_push(nullptr, frame.data(), 1), -1);
  EXPECT_EQ(ring->count, 0U);
  EXPECT_EQ(frame_ring_push(ring.get(), frame.data(), 102400), 0);
  EXPECT_EQ(ring->slots[0].length, 102400);
  std::vector<uint8_t> out(102400);
  EXPECT_EQ(frame_ring_pop(ring.get(), out.data(), 102399), -1);
  EXPECT_EQ(frame_ring_pop(ring.get(), out.data(), 102400), 102400);
  EXPECT_EQ(out, std::vector<uint8_t>(102400, 0xAB));
}

TEST_F(FrameRingTest, ExhaustedMemoryGivesNoRing) {
  const support::AllocationFault fault(support::Fault::kNew);
  EXPECT_EQ(frame_ring_new(), nullptr);
}

TEST_F(FrameRingTest, ProducerAndConsumerNeverLoseAFrame) {
  constexpr int32_t kFrames = 50000;
  for (int32_t i = 0; i < 100; i++) push(i);
  // Pushes at once when the ring is no longer full: most pushes meet a pop that is still going on.
  ::testing::internal::CaptureStdout();
  std::atomic<bool> produced{false};
  std::thread producer([this, &produced] {
    for (int32_t i = 100; i < kFrames;) {
      const bool full = ring->write_index == ring->read_index && ring->full == 1;
      if (!full && push(i) == 0) i++;
    }
    produced = true;
  });
  std::vector<int32_t> taken;
  bool ended = false;
  while (!ended) {
    ended = produced;  // what is in the ring now is all
    for (int32_t value = pop(); value != -1; value = pop()) taken.push_back(value);
  }
  producer.join();
  ::testing::internal::GetCapturedStdout();
  std::vector<int32_t> all(kFrames);
  std::iota(all.begin(), all.end(), 0);
  EXPECT_EQ(taken, all);
  EXPECT_EQ(ring->count, 0U);
  EXPECT_EQ(ring->full, 0U);
  EXPECT_EQ(ring->read_index, ring->write_index);
}

}  // namespace
}  // namespace media
