// What the live frame list alone does; what it shares with the remux packets is in queues_test.cpp.
#include "media/frames/frame_list.h"

#include <gtest/gtest.h>

#include "support/allocation_fault.h"

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

}  // namespace
}  // namespace media
