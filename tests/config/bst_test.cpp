#include "config/bst.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <bit>
#include <vector>

#include "config/int_tree.h"

namespace {

using namespace config;
using namespace config_test;

TEST(Bst, AnEmptyTreeHoldsNothing) {
  const IntTree tree;
  EXPECT_EQ(tree->count, 0U);
  EXPECT_EQ(bst_find(tree.get(), item(1)), nullptr);
  EXPECT_EQ(bst_delete(tree.get(), item(1)), nullptr);
  EXPECT_EQ(tree->generation, 0U);
  bst_balance(tree.get());
  EXPECT_EQ(tree->root, nullptr);
}

TEST(Bst, DestroyingAnEmptyTreeFreesOnlyTheTree) {
  const int before = live_blocks();
  BstTree* tree = bst_create(compare_numbers, nullptr, &kCountedMemory);
  EXPECT_EQ(live_blocks(), before + 1);
  bst_destroy(tree, [](void*, void*) { ADD_FAILURE() << "there is nothing to release"; });
  EXPECT_EQ(live_blocks(), before);
}

TEST(Bst, DestroyingReleasesEveryItemOnceWithTheParameter) {
  const int before = live_blocks();
  std::vector<int> released;
  BstTree* tree = bst_create(compare_numbers, &released, &kCountedMemory);
  for (const int number : {4, 2, 6, 1, 3, 5, 7}) EXPECT_NE(bst_probe(tree, item(number)), nullptr);
  bst_destroy(tree, [](void* at, void* param) {
    static_cast<std::vector<int>*>(param)->push_back(number_of(at));
  });
  EXPECT_EQ(released, range(1, 7));
  EXPECT_EQ(live_blocks(), before);
}

TEST(Bst, TheDefaultAllocatorStandsIn) {
  BstTree* tree = bst_create(compare_numbers, nullptr, nullptr);
  ASSERT_NE(tree, nullptr);
  EXPECT_NE(bst_probe(tree, item(1)), nullptr);
  EXPECT_EQ(bst_find(tree, item(1)), item(1));
  bst_destroy(tree, nullptr);
}

TEST(Bst, CreateWithoutMemoryGivesNothing) {
  fail_after(0);
  EXPECT_EQ(bst_create(compare_numbers, nullptr, &kCountedMemory), nullptr);
  fail_after(-1);
}

TEST(Bst, ProbeOfAnEqualItemGivesTheSlotOfTheStoredOne) {
  IntTree tree{5, 3, 8};
  int other_three = 3;
  void** slot = bst_probe(tree.get(), &other_three);
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(*slot, item(3));
  EXPECT_EQ(tree->count, 3U);
}

TEST(Bst, ProbeAddsALeafAndDoesNotRebalance) {
  const IntTree tree{1, 2, 3};
  EXPECT_EQ(number_of(tree->root->item), 1);
  EXPECT_EQ(number_of(tree->root->link[1]->item), 2);
  EXPECT_EQ(number_of(tree->root->link[1]->link[1]->item), 3);
  EXPECT_EQ(tree->count, 3U);
  EXPECT_EQ(tree->generation, 0U);
}

TEST(Bst, ProbeWithoutMemoryLeavesTheTreeAsItWas) {
  IntTree tree{5, 3, 8};
  fail_after(0);
  EXPECT_EQ(bst_probe(tree.get(), item(4)), nullptr);
  EXPECT_NE(bst_probe(tree.get(), item(8)), nullptr);  // needs none
  EXPECT_EQ(tree->count, 3U);
  EXPECT_EQ(walk_up(tree.get()), (std::vector<int>{3, 5, 8}));
}

TEST(Bst, FindComparesWithTheParameter) {
  int sign = -1;
  const IntTree tree(
      [](const void* a, const void* b, void* param) {
        return *static_cast<int*>(param) * compare_numbers(a, b, nullptr);
      },
      &sign);
  for (const int number : {1, 2, 3}) EXPECT_NE(bst_probe(tree.get(), item(number)), nullptr);
  EXPECT_EQ(bst_find(tree.get(), item(2)), item(2));
  EXPECT_EQ(bst_find(tree.get(), item(4)), nullptr);
  EXPECT_EQ(walk_up(tree.get()), (std::vector<int>{3, 2, 1}));
}

struct Deletion {
  const char* name;
  int number;
  std::vector<int> left;
  int root;
};

class BstDelete : public ::testing::TestWithParam<Deletion> {};

//        50
//    20      70
//  10  30  60  90
//            80
TEST_P(BstDelete, TakesOneItemOut) {
  const IntTree tree{50, 20, 70, 10, 30, 60, 90, 80};
  const int before = live_blocks();
  EXPECT_EQ(bst_delete(tree.get(), item(GetParam().number)), item(GetParam().number));
  EXPECT_EQ(walk_up(tree.get()), GetParam().left);
  EXPECT_EQ(number_of(tree->root->item), GetParam().root);
  EXPECT_EQ(tree->count, 7U);
  EXPECT_EQ(tree->generation, 1U);
  EXPECT_EQ(live_blocks(), before - 1);
}

INSTANTIATE_TEST_SUITE_P(
    Places, BstDelete,
    ::testing::Values(Deletion{"Leaf", 10, {20, 30, 50, 60, 70, 80, 90}, 50},
                      Deletion{"OnlySmallerBelow", 90, {10, 20, 30, 50, 60, 70, 80}, 50},
                      Deletion{"GreaterChildHasNoSmaller", 20, {10, 30, 50, 60, 70, 80, 90}, 50},
                      Deletion{"GreaterChildHasSmaller", 70, {10, 20, 30, 50, 60, 80, 90}, 50},
                      Deletion{"Root", 50, {10, 20, 30, 60, 70, 80, 90}, 60}),
    [](const auto& row) { return row.param.name; });

TEST(Bst, DeletingWhatIsNotThereChangesNothing) {
  const IntTree tree{1, 2};
  EXPECT_EQ(bst_delete(tree.get(), item(3)), nullptr);
  EXPECT_EQ(tree->count, 2U);
  EXPECT_EQ(tree->generation, 0U);
}

TEST(Bst, BalancingGivesTheLeastHeight) {
  constexpr struct {
    int count;
    size_t levels;
  } kRows[] = {{1, 1},  {2, 2},  {3, 2},  {4, 3},  {7, 3},     {8, 4},
               {31, 5}, {32, 6}, {40, 6}, {63, 6}, {1023, 10}, {1024, 11}};
  for (const auto& row : kRows) {
    const IntTree tree(Chain{row.count});
    bst_balance(tree.get());
    EXPECT_EQ(levels(tree.get()), row.levels) << row.count;
    EXPECT_EQ(tree->generation, 1U);
    EXPECT_EQ(walk_up(tree.get()), range(0, row.count - 1));
  }
}

TEST(Bst, MoreItemsThanATraverserCanReachEndTheProcess) {
  const IntTree tree;
  tree->count = 0xffffffff;
  bst_balance(tree.get());  // fits in 32 levels
  tree->count = 0x100000000;
  EXPECT_EXIT(bst_balance(tree.get()), ::testing::ExitedWithCode(1),
              "^libavl: Tree too big \\(4294967296 nodes\\) to handle\\.\n$");
}

// The numbers below `count` as bst_fill takes them; a greater link may be anything.
BstNode* descending_chain(int count) {
  static BstNode stray;
  BstNode* greatest = nullptr;
  for (int number = 0; number < count; number++) {
    auto* node = static_cast<BstNode*>(kCountedMemory.allocate(sizeof(BstNode)));
    *node = {{greatest, &stray}, item(number)};
    greatest = node;
  }
  return greatest;
}

TEST(BstFill, MakesAFlatTreeThatOwnsTheNodes) {
  const int before = live_blocks();
  for (const int count : {1, 2, 3, 4, 1023, 1024, 100000}) {
    const IntTree tree;
    bst_fill(tree.get(), descending_chain(count), static_cast<uint64_t>(count));
    EXPECT_EQ(tree->count, static_cast<uint64_t>(count));
    EXPECT_EQ(levels(tree.get()), std::bit_width(static_cast<unsigned>(count)));
    EXPECT_EQ(walk_up(tree.get()), range(0, count - 1));
    EXPECT_EQ(bst_find(tree.get(), item(count / 2)), item(count / 2));
    EXPECT_EQ(bst_find(tree.get(), item(count)), nullptr);
  }
  EXPECT_EQ(live_blocks(), before);
}

TEST(BstFill, WithoutNodesTheTreeStaysEmpty) {
  const IntTree tree;
  bst_fill(tree.get(), nullptr, 0);
  EXPECT_EQ(tree->root, nullptr);
  EXPECT_EQ(tree->count, 0U);
}

// On a stack that holds no 100000 calls, however small.
void* use_long_chain(void*) {
  const int before = live_blocks();
  {
    const IntTree tree(Chain{100000});
    BstTree* copied = bst_copy(tree.get(), nullptr, nullptr, nullptr);
    EXPECT_EQ(live_blocks(), before + 2 * 100001);
    EXPECT_EQ(levels(copied), 100000U);
    EXPECT_EQ(walk_up(copied), range(0, 99999));
    EXPECT_EQ(levels(copied), 17U);
    bst_destroy(copied, nullptr);
  }
  EXPECT_EQ(live_blocks(), before);
  return nullptr;
}

TEST(Bst, AChainOfAHundredThousandNeedsLittleStack) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 0x80000), 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, use_long_chain, nullptr), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

}  // namespace
