#include "media/remux/packets.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace media {
namespace {

class RemuxPackets : public ::testing::Test {
 protected:
  RemuxPackets() { remux_packets_init(); }
  ~RemuxPackets() override { remux_clear(); }

  static int32_t push(int value) { return remux_push_packet(&value, sizeof(value)); }

  static int pop() {
    FrameNode* node = remux_pop_packet();
    int value = -1;
    if (node != nullptr) std::memcpy(&value, node->data, sizeof(value));
    frame_node_free(node);
    return value;
  }
};

TEST_F(RemuxPackets, GivesThePacketsInOrder) {
  EXPECT_EQ(remux_push_packet("abc", 3), 0);
  EXPECT_EQ(push(9), 0);
  FrameNode* node = remux_pop_packet();
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->size, 3);
  EXPECT_EQ(std::memcmp(node->data, "abc", 3), 0);
  EXPECT_EQ(node->next, nullptr);
  frame_node_free(node);
  EXPECT_EQ(pop(), 9);
  EXPECT_EQ(remux_pop_packet(), nullptr);
  EXPECT_EQ(push(10), 0);
  EXPECT_EQ(pop(), 10);
}

TEST_F(RemuxPackets, APushOntoAListOf121PacketsDropsTheOldest) {
  for (int i = 1; i <= 121; i++) EXPECT_EQ(push(i), 0);
  EXPECT_EQ(push(122), 0);
  for (int i = 2; i <= 122; i++) EXPECT_EQ(pop(), i);
  EXPECT_EQ(pop(), -1);
}

TEST_F(RemuxPackets, TheHundredAndTwentyFirstPacketDropsNothing) {
  for (int i = 1; i <= 121; i++) EXPECT_EQ(push(i), 0);
  for (int i = 1; i <= 121; i++) EXPECT_EQ(pop(), i);
  EXPECT_EQ(pop(), -1);
}

TEST_F(RemuxPackets, RefusesNothing) {
  EXPECT_EQ(remux_push_packet(nullptr, 1), -1);
  EXPECT_EQ(remux_push_packet("a", 0), -1);
  EXPECT_EQ(remux_push_packet("a", -1), -1);
  EXPECT_EQ(remux_pop_packet(), nullptr);
}

TEST_F(RemuxPackets, WithoutAListNothingIsPushedOrPopped) {
  push(1);
  remux_clear();
  EXPECT_EQ(remux_pop_packet(), nullptr);
  EXPECT_EQ(push(2), -1);
  remux_clear();
  remux_packets_init();
  EXPECT_EQ(remux_pop_packet(), nullptr);
  EXPECT_EQ(push(3), 0);
  EXPECT_EQ(pop(), 3);
}

TEST_F(RemuxPackets, AProducerAndAConsumerShareIt) {
  constexpr int kPackets = 20000;
  std::thread producer([] {
    for (int i = 1; i <= kPackets; i++) push(i);
  });
  int last = 0;
  while (last < kPackets) {
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

}  // namespace
}  // namespace media
