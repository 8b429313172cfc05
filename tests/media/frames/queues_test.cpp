// What the live frame list and the packets of the remux job promise alike.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "media/frames/frame_list.h"

namespace media {
namespace {

struct Front {
  const char* name;
  void (*init)();
  int32_t (*push)(const void* bytes, int32_t size);
  FrameNode* (*pop)();
  void (*clear)();
  int held;                  // pieces at most
  int32_t push_while_clear;  // what a push returns then
};

class Queues : public ::testing::TestWithParam<Front> {
 protected:
  Queues() { front_.init(); }
  ~Queues() override { front_.clear(); }

  [[nodiscard]] int32_t push(int value) const { return front_.push(&value, sizeof(value)); }
  [[nodiscard]] int pop() const {
    FrameNode* node = front_.pop();
    int value = -1;
    if (node != nullptr) std::memcpy(&value, node->data, sizeof(value));
    frame_node_free(node);
    return value;
  }
  void expect_pushed(int first, int last) const {
    for (int i = first; i <= last; i++) EXPECT_EQ(push(i), 0) << i;
  }
  // And no other.
  void expect_popped(int first, int last) const {
    for (int i = first; i <= last; i++) EXPECT_EQ(pop(), i);
    EXPECT_EQ(pop(), -1);
  }

  const Front& front_ = GetParam();
};

TEST_P(Queues, GiveThePiecesInOrder) {
  EXPECT_EQ(front_.push("abc", 3), 0);
  EXPECT_EQ(push(9), 0);
  FrameNode* node = front_.pop();
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->size, 3);
  EXPECT_EQ(std::memcmp(node->data, "abc", 3), 0);
  EXPECT_EQ(node->next, nullptr);
  EXPECT_EQ(frame_node_free(node), 0);
  EXPECT_EQ(pop(), 9);
  EXPECT_EQ(front_.pop(), nullptr);
  expect_pushed(10, 10);
  expect_popped(10, 10);
}

TEST_P(Queues, APushOntoAFullOneDropsTheOldest) {
  expect_pushed(1, front_.held + 1);
  expect_popped(2, front_.held + 1);
}

TEST_P(Queues, ThePieceThatFillsOneDropsNothing) {
  expect_pushed(1, front_.held);
  expect_popped(1, front_.held);
}

TEST_P(Queues, RefuseNothing) {
  EXPECT_EQ(front_.push(nullptr, 1), -1);
  EXPECT_EQ(front_.push("a", 0), -1);
  EXPECT_EQ(front_.push("a", -1), -1);
  EXPECT_EQ(front_.pop(), nullptr);
}

TEST_P(Queues, AfterAClearHoldNothingUntilTheNextInit) {
  expect_pushed(1, 2);
  front_.clear();
  EXPECT_EQ(front_.pop(), nullptr);
  EXPECT_EQ(push(3), front_.push_while_clear);
  EXPECT_EQ(front_.pop(), nullptr);
  front_.clear();
  front_.init();
  EXPECT_EQ(front_.pop(), nullptr);
  expect_pushed(4, 4);
  expect_popped(4, 4);
}

TEST_P(Queues, AreSharedByOneProducerAndOneConsumer) {
  constexpr int kPieces = 20000;
  std::thread producer([this] { expect_pushed(1, kPieces); });
  int last = 0;
  while (last < kPieces) {
    const int value = pop();
    if (value == -1) {
      std::this_thread::yield();
      continue;
    }
    ASSERT_GT(value, last);
    last = value;
  }
  producer.join();
  EXPECT_EQ(pop(), -1);
}

INSTANTIATE_TEST_SUITE_P(All, Queues,
                         ::testing::Values(Front{"LiveFrames", frame_list_init, live_frame_push,
                                                 frame_list_pop, frame_list_clear, 11, 0},
                                           Front{"RemuxPackets", remux_packets_init,
                                                 remux_push_packet, remux_pop_packet, remux_clear,
                                                 121, -1}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace media
