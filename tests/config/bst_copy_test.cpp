#include <gtest/gtest.h>

#include <vector>

#include "config/bst.h"
#include "config/int_tree.h"

namespace {

using namespace config;
using namespace config_test;

// Makes and frees items; what is alive is counted in the tree's parameter.
struct Copies {
  int live = 0;
  int allowed = -1;
};

void* copy_number(void* at, void* param) {
  auto* copies = static_cast<Copies*>(param);
  if (copies->allowed == 0) return nullptr;
  if (copies->allowed > 0) copies->allowed--;
  copies->live++;
  return new int(number_of(at));
}

void free_number(void* at, void* param) {
  static_cast<Copies*>(param)->live--;
  delete static_cast<int*>(at);
}

bool same_shape(const BstNode* a, const BstNode* b) {
  if (a == nullptr || b == nullptr) return a == b;
  return number_of(a->item) == number_of(b->item) && same_shape(a->link[0], b->link[0]) &&
         same_shape(a->link[1], b->link[1]);
}

class BstCopy : public ::testing::Test {
 protected:
  BstCopy() {
    for (const int number : {50, 20, 70, 10, 30, 60, 90, 80, 25}) {
      EXPECT_EQ(tree_.probe(number), number);
    }
    before_ = live_blocks();
  }
  ~BstCopy() override {
    EXPECT_EQ(live_blocks(), before_);
    EXPECT_EQ(copies_.live, 0);
    EXPECT_EQ(walk_up(tree_.get()), (std::vector<int>{10, 20, 25, 30, 50, 60, 70, 80, 90}));
    EXPECT_EQ(tree_->generation, 0U);
  }

  Copies copies_;
  IntTree tree_{compare_numbers, &copies_};
  int before_ = 0;
};

TEST_F(BstCopy, HasTheSameShapeAndItemsOfItsOwn) {
  BstTree* copied = bst_copy(tree_.get(), copy_number, free_number, nullptr);
  ASSERT_NE(copied, nullptr);
  EXPECT_TRUE(same_shape(copied->root, tree_->root));
  EXPECT_EQ(copied->count, 9U);
  EXPECT_EQ(copies_.live, 9);
  EXPECT_NE(bst_find(copied, item(30)), item(30));
  free_number(bst_delete(copied, item(50)), &copies_);
  EXPECT_EQ(walk_up(copied), (std::vector<int>{10, 20, 25, 30, 60, 70, 80, 90}));
  bst_destroy(copied, free_number);
}

TEST_F(BstCopy, WithoutACopierBothHoldTheSameItems) {
  BstTree* copied = bst_copy(tree_.get(), nullptr, nullptr, nullptr);
  ASSERT_NE(copied, nullptr);
  EXPECT_TRUE(same_shape(copied->root, tree_->root));
  EXPECT_EQ(bst_find(copied, item(30)), item(30));
  EXPECT_EQ(copied->allocator, &kCountedMemory);
  bst_destroy(copied, nullptr);
}

TEST_F(BstCopy, TakesItsMemoryWhereItIsTold) {
  static constexpr BstAllocator kOther = {std::malloc, std::free};
  BstTree* copied = bst_copy(tree_.get(), nullptr, nullptr, &kOther);
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(live_blocks(), before_);
  bst_destroy(copied, nullptr);
}

TEST_F(BstCopy, OfAnEmptyTreeIsEmpty) {
  const IntTree empty;
  BstTree* copied = bst_copy(empty.get(), copy_number, free_number, nullptr);
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(copied->root, nullptr);
  bst_destroy(copied, nullptr);
}

// One allocation for the tree and nine for nodes.
TEST_F(BstCopy, FailsCleanlyAtEveryAllocation) {
  for (int allocations = 0; allocations < 10; allocations++) {
    fail_after(allocations);
    EXPECT_EQ(bst_copy(tree_.get(), copy_number, free_number, nullptr), nullptr) << allocations;
    EXPECT_EQ(live_blocks(), before_) << allocations;
    EXPECT_EQ(copies_.live, 0) << allocations;
  }
  fail_after(10);
  BstTree* copied = bst_copy(tree_.get(), copy_number, free_number, nullptr);
  ASSERT_NE(copied, nullptr);
  bst_destroy(copied, free_number);
  fail_after(-1);
}

TEST_F(BstCopy, FailsCleanlyAtEveryItem) {
  for (int items = 0; items < 9; items++) {
    copies_.allowed = items;
    EXPECT_EQ(bst_copy(tree_.get(), copy_number, free_number, nullptr), nullptr) << items;
    EXPECT_EQ(live_blocks(), before_) << items;
    EXPECT_EQ(copies_.live, 0) << items;
  }
}

TEST_F(BstCopy, AFailedCopyDoesNotReleaseSharedItems) {
  fail_after(7);
  EXPECT_EQ(bst_copy(
                tree_.get(), nullptr,
                [](void*, void*) { ADD_FAILURE() << "the item is the other tree's"; }, nullptr),
            nullptr);
  fail_after(-1);
}

}  // namespace
