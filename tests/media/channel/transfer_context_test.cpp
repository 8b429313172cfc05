#include "media/channel/transfer_context.h"

#include <functional>

#include "fake_base/fake_base.h"
#include "media/channel/transfer_rig.h"

namespace media {
namespace {

std::string ran;
std::function<void(WorkItem*)> inside;

int32_t note_name(WorkItem* item, TransferContext* /*context*/) {
  ran += item->work.name;
  if (inside) inside(item);
  return 0;
}

class TransferQueue : public fake_base::FakeBaseTest {
 protected:
  TransferQueue() {
    ran.clear();
    inside = nullptr;
  }

  void queue(const char* name, int32_t droppable = 1) {
    TransferWork work{};
    work.name[0] = name[0];
    transfer_queue(work, note_name, 0, droppable, &rig_.context);
  }

  media_test::TransferRig rig_;
};

TEST_F(TransferQueue, ItemsRunInTheOrderInWhichTheyCame) {
  for (const char* name : {"a", "b", "c"}) queue(name);
  EXPECT_EQ(rig_.context.new_work, 1);
  media_test::run_queue();
  EXPECT_EQ(ran, "abc");
  EXPECT_EQ(rig_.context.queued, 0U);
}

TEST_F(TransferQueue, ItemIsMadeFresh) {
  fake_base::advance_us(4294967296);  // 1000 s on the clock at first
  queue("a");
  const WorkItem& item = *rig_.context.queue;
  EXPECT_EQ(item.id, 1000000000U);
  EXPECT_EQ(item.rerun, 0);
  EXPECT_EQ(item.notify, 1);
  EXPECT_EQ(item.droppable, 1);
  EXPECT_EQ(item.cancel_on_new_work, 0);
}

TEST_F(TransferQueue, ItemsOfOneMicrosecondHaveIdsOfTheirOwn) {
  for (const char* name : {"a", "b", "c"}) queue(name);
  const WorkItem& first = *rig_.context.queue;
  EXPECT_EQ(first.next->id, first.id + 1);
  EXPECT_EQ(first.next->next->id, first.id + 2);
}

TEST_F(TransferQueue, ItemThatAsksForItRunsAgainAfterTheFreshOnes) {
  queue("a");
  queue("b");
  inside = [](WorkItem* item) {
    if (ran == "a") item->rerun = 1;
  };
  media_test::run_queue();
  EXPECT_EQ(ran, "aba");
}

TEST_F(TransferQueue, StartOfAnItemClearsTheFlags) {
  queue("a");
  rig_.context.cancel = 1;
  inside = [this](WorkItem*) {
    EXPECT_EQ(rig_.context.cancel, 0);
    EXPECT_EQ(rig_.context.new_work, 0);
    EXPECT_EQ(rig_.context.queued, 1U);
  };
  media_test::run_queue();
  EXPECT_EQ(ran, "a");
}

TEST_F(TransferQueue, HeldStreamThrowsDroppableItemsAwayUnrun) {
  queue("a");
  queue("b", 0);
  queue("c");
  rig_.context.stream_hold = 1;
  rig_.context.cancel = 1;
  transfer_work_once(&rig_.context);
  EXPECT_EQ(ran, "");
  EXPECT_EQ(rig_.context.cancel, 1);  // nothing was started
  media_test::run_queue();
  EXPECT_EQ(ran, "b");
}

TEST_F(TransferQueue, FloodIsCutOff) {
  for (size_t i = 0; i < kTransferQueueLimit; i++) queue("a");
  rig_.context.new_work = 0;
  queue("b");
  EXPECT_EQ(rig_.context.new_work, 0);
  media_test::run_queue();
  EXPECT_EQ(ran, std::string(kTransferQueueLimit, 'a'));
}

TEST_F(TransferQueue, WhatInterruptsARunningItem) {
  TransferContext& context = rig_.context;
  WorkItem item{};
  EXPECT_FALSE(transfer_interrupted(item, context));
  context.new_work = 1;
  EXPECT_FALSE(transfer_interrupted(item, context));
  item.cancel_on_new_work = 1;
  EXPECT_TRUE(transfer_interrupted(item, context));
  context.new_work = 0;
  item.rerun = 1;
  EXPECT_TRUE(transfer_interrupted(item, context));
  item.rerun = 0;
  for (std::atomic<int32_t>* word :
       {&context.cancel, &context.stream_hold, &context.stream_hold_id}) {
    word->store(1);
    EXPECT_TRUE(transfer_interrupted(item, context));
    word->store(0);
  }
  EXPECT_FALSE(transfer_interrupted(item, context));
}

}  // namespace
}  // namespace media
