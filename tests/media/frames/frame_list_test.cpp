// What the live frame list alone does; what it shares with the remux packets is in queues_test.cpp.
#include "media/frames/frame_list.h"

#include <gtest/gtest.h>

#include <string>

#include "support/allocation_fault.h"
#include "support/heap.h"

namespace media {
namespace {

class LiveFrameList : public ::testing::Test {
 protected:
  LiveFrameList() { frame_list_init(); }
  ~LiveFrameList() override { frame_list_clear(); }

  static int32_t push(uint8_t byte) { return live_frame_push(&byte, 1); }
};

TEST_F(LiveFrameList, CountsThePiecesThatWait) {
  for (uint8_t i = 1; i <= 11; i++) {
    EXPECT_EQ(push(i), 0);
    EXPECT_EQ(frame_list_count(), i);
  }
  EXPECT_EQ(push(12), 0);
  EXPECT_EQ(frame_list_count(), 11);
  for (int32_t left = 11; left-- > 0;) {
    EXPECT_EQ(frame_node_free(frame_list_pop()), 0);
    EXPECT_EQ(frame_list_count(), left);
  }
}

TEST_F(LiveFrameList, WhatIsRefusedIsNotCounted) {
  EXPECT_EQ(live_frame_push(nullptr, 1), -1);
  EXPECT_EQ(frame_list_count(), 0);
  EXPECT_EQ(frame_node_free(nullptr), -1);
}

TEST_F(LiveFrameList, ReportsExhaustedMemory) {
  const support::AllocationFault fault(support::Fault::kMalloc);
  EXPECT_EQ(push(1), -1);
  EXPECT_EQ(frame_list_count(), 0);
  EXPECT_EQ(push(2), 0);
}

TEST_F(LiveFrameList, AClearLeavesNothingToCount) {
  push(1);
  push(2);
  frame_list_clear();
  EXPECT_EQ(frame_list_count(), 0);
}

TEST_F(LiveFrameList, NothingIsKeptOfWhatIsDropped) {
  const std::string piece(5000, 'x');
  const auto push_some = [&piece](int count) {
    for (int i = 0; i < count; i++)
      live_frame_push(piece.data(), static_cast<int32_t>(piece.size()));
  };
  const size_t before = support::heap_in_use();
  push_some(20);  // more than it holds
  frame_list_clear();
  push_some(2);  // not initialised
  frame_list_init();
  push_some(3);
  frame_list_init();
  EXPECT_EQ(support::heap_in_use(), before);
}

}  // namespace
}  // namespace media
