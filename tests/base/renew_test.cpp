#include "base/renew.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "base/mutex.h"

namespace {

struct Record {
  base::Mutex lock;
  base::Semaphore slots{2};
  std::atomic<int32_t> word;
  std::atomic<int32_t> answer{42};
  uint8_t bytes[100];
  std::unique_ptr<std::shared_ptr<int>> owned;
};

TEST(Renew, EveryMemberHasTheValueOfItsDeclaration) {
  Record record{};
  EXPECT_TRUE(record.slots.wait());
  record.word = record.answer = 7;
  record.bytes[99] = 7;
  base::renew(record);
  EXPECT_EQ(record.slots.count(), 2);
  EXPECT_EQ(record.word, 0);
  EXPECT_EQ(record.answer, 42);
  EXPECT_EQ(record.bytes[99], 0);
  EXPECT_TRUE(record.lock.try_lock());
  record.lock.unlock();
}

TEST(Renew, WhatTheRecordOwnsIsFreed) {
  const auto shared = std::make_shared<int>(1);
  Record record{};
  record.owned = std::make_unique<std::shared_ptr<int>>(shared);
  base::renew(record);
  EXPECT_EQ(record.owned, nullptr);
  EXPECT_EQ(shared.use_count(), 1);
}

}  // namespace
