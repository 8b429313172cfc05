#include "media/frames/frame_list.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "support/allocation_fault.h"

namespace media {
namespace {

class LiveFrameList : public ::testing::Test {
 protected:
  LiveFrameList() { frame_list_init(); }
  ~LiveFrameList() override { frame_list_clear(); }

  static int32_t push(uint8_t byte) { return live_frame_push(&byte, 1); }

  static int pop_byte() {
    FrameNode* node = frame_list_pop();
    const int byte = node == nullptr ? -1 : node->data[0];
    frame_node_free(node);
    return byte;
  }
};

TEST_F(LiveFrameList, GivesThePiecesInOrder) {
  EXPECT_EQ(live_frame_push("abc", 3), 0);
  EXPECT_EQ(push(9), 0);
  FrameNode* node = frame_list_pop();
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->size, 3);
  EXPECT_EQ(std::memcmp(node->data, "abc", 3), 0);
  EXPECT_EQ(node->next, nullptr);
  EXPECT_EQ(frame_node_free(node), 0);
  EXPECT_EQ(pop_byte(), 9);
  EXPECT_EQ(frame_list_pop(), nullptr);
  EXPECT_EQ(frame_list_count(), 0);
  EXPECT_EQ(push(10), 0);
  EXPECT_EQ(pop_byte(), 10);
}

TEST_F(LiveFrameList, TwelfthPushDropsTheOldest) {
  for (uint8_t i = 1; i <= 11; i++) EXPECT_EQ(push(i), 0);
  EXPECT_EQ(frame_list_count(), 11);
  EXPECT_EQ(push(12), 0);
  EXPECT_EQ(frame_list_count(), 11);
  for (int i = 2; i <= 12; i++) EXPECT_EQ(pop_byte(), i);
  EXPECT_EQ(pop_byte(), -1);
}

TEST_F(LiveFrameList, RefusesNothing) {
  EXPECT_EQ(live_frame_push(nullptr, 1), -1);
  EXPECT_EQ(live_frame_push("a", 0), -1);
  EXPECT_EQ(live_frame_push("a", -1), -1);
  EXPECT_EQ(frame_list_count(), 0);
  EXPECT_EQ(frame_node_free(nullptr), -1);
}

TEST_F(LiveFrameList, ReportsExhaustedMemory) {
  const support::AllocationFault fault(support::Fault::kMalloc);
  EXPECT_EQ(push(1), -1);
  EXPECT_EQ(frame_list_count(), 0);
  EXPECT_EQ(push(2), 0);
}

TEST_F(LiveFrameList, AfterAClearPiecesAreLostUntilTheNextInit) {
  push(1);
  push(2);
  frame_list_clear();
  EXPECT_EQ(frame_list_count(), 0);
  EXPECT_EQ(push(3), 0);
  EXPECT_EQ(frame_list_pop(), nullptr);
  frame_list_init();
  EXPECT_EQ(push(4), 0);
  EXPECT_EQ(pop_byte(), 4);
}

TEST_F(LiveFrameList, OneProducerAndOneConsumerShareIt) {
  constexpr int kPieces = 20000;
  std::thread producer([] {
    for (int i = 1; i <= kPieces; i++) live_frame_push(&i, sizeof(i));
  });
  int last = 0;
  while (last < kPieces) {
    FrameNode* node = frame_list_pop();
    if (node == nullptr) {
      std::this_thread::yield();
      continue;
    }
    int value = 0;
    std::memcpy(&value, node->data, sizeof(value));
    ASSERT_GT(value, last);
    last = value;
    frame_node_free(node);
  }
  producer.join();
  EXPECT_EQ(frame_list_count(), 0);
}

}  // namespace
}  // namespace media
