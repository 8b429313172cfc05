#include "media/frame_ring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "media/allocation_fault.h"

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
  const media_test::AllocationFault fault(media_test::Fault::kNew);
  EXPECT_EQ(frame_ring_new(), nullptr);
}

TEST_F(FrameRingTest, ProducerAndConsumerNeverLoseAFrame) {
  constexpr int32_t kFrames = 5000;
  std::thread producer([this] {
    for (int32_t i = 0; i < kFrames;) {
      if (ring->count < kFrameRingSlots && push(i) == 0) i++;
    }
  });
  for (int32_t i = 0; i < kFrames;) {
    const int32_t value = pop();
    if (value == -1) continue;
    ASSERT_EQ(value, i);
    i++;
  }
  producer.join();
  EXPECT_EQ(ring->count, 0U);
}

}  // namespace
}  // namespace media
