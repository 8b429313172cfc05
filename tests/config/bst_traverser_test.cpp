#include <gtest/gtest.h>

#include <vector>

#include "config/bst.h"
#include "config/int_tree.h"

namespace {

using namespace config;
using namespace config_test;

TEST(BstTraverser, AnEmptyTreeHasNeitherFirstNorLast) {
  const IntTree tree;
  BstTraverser walk;
  EXPECT_EQ(bst_t_first(&walk, tree.get()), nullptr);
  EXPECT_EQ(bst_t_next(&walk), nullptr);
  EXPECT_EQ(bst_t_last(&walk, tree.get()), nullptr);
  EXPECT_EQ(bst_t_prev(&walk), nullptr);
}

TEST(BstTraverser, StartsAgainBehindEitherEnd) {
  const IntTree tree{2, 1, 3};
  BstTraverser walk;
  EXPECT_EQ(number_of(bst_t_last(&walk, tree.get())), 3);
  EXPECT_EQ(bst_t_next(&walk), nullptr);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 1);
  EXPECT_EQ(bst_t_prev(&walk), nullptr);
  EXPECT_EQ(number_of(bst_t_prev(&walk)), 3);
  EXPECT_EQ(number_of(bst_t_prev(&walk)), 2);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 3);
}

TEST(BstTraverser, FortyAscendingItemsForceARebalance) {
  IntTree tree;
  for (int i = 0; i < 40; i++) tree.probe(i);
  EXPECT_EQ(levels(tree.get()), 40U);
  EXPECT_EQ(walk_up(tree.get()), range(0, 39));
  EXPECT_EQ(tree->generation, 1U);
  EXPECT_EQ(levels(tree.get()), 6U);
}

TEST(BstTraverser, FortyDescendingItemsForceARebalance) {
  IntTree tree;
  for (int i = 40; i-- > 0;) tree.probe(i);
  EXPECT_EQ(walk_up(tree.get()), range(0, 39));
  EXPECT_EQ(tree->generation, 1U);
  std::vector<int> down = range(0, 39);
  EXPECT_EQ(walk_down(tree.get()), std::vector<int>(down.rbegin(), down.rend()));
}

TEST(BstTraverser, ThirtyTwoNodesOfAPathFitTheStack) {
  const IntTree fits(Chain{33});
  EXPECT_EQ(walk_up(fits.get()), range(0, 32));
  EXPECT_EQ(fits->generation, 0U);
  BstTraverser walk;
  EXPECT_EQ(number_of(bst_t_find(&walk, fits.get(), item(32))), 32);
  EXPECT_EQ(walk.height, 32U);
  EXPECT_EQ(fits->generation, 0U);

  const IntTree too_deep(Chain{34});
  EXPECT_EQ(number_of(bst_t_find(&walk, too_deep.get(), item(33))), 33);
  EXPECT_EQ(too_deep->generation, 1U);
  EXPECT_EQ(number_of(bst_t_prev(&walk)), 32);
}

TEST(BstTraverser, AWalkForcesARebalanceAlsoInItsMiddle) {
  // 50, then 100 to 139 behind it, the smaller ones last: the long path hangs below the next item.
  IntTree tree{50, 40, 139};
  for (int i = 138; i >= 100; i--) tree.probe(i);
  BstTraverser walk;
  EXPECT_EQ(number_of(bst_t_first(&walk, tree.get())), 40);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 50);
  EXPECT_EQ(tree->generation, 0U);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 100);
  EXPECT_EQ(tree->generation, 1U);
  for (int i = 101; i <= 139; i++) EXPECT_EQ(number_of(bst_t_next(&walk)), i);
  EXPECT_EQ(bst_t_next(&walk), nullptr);
}

TEST(BstTraverser, FindOfAMissingItemHasNoCurrentOne) {
  const IntTree tree{2, 1, 3};
  BstTraverser walk;
  EXPECT_EQ(bst_t_find(&walk, tree.get(), item(4)), nullptr);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 1);
}

TEST(BstTraverser, InsertComesToTheNewItem) {
  const IntTree tree{2, 4};
  BstTraverser walk;
  EXPECT_EQ(bst_t_insert(&walk, tree.get(), item(3)), item(3));
  EXPECT_EQ(tree->count, 3U);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 4);
}

TEST(BstTraverser, InsertComesToTheEqualItemThatIsThere) {
  const IntTree tree{2, 4};
  int other_two = 2;
  BstTraverser walk;
  EXPECT_EQ(bst_t_insert(&walk, tree.get(), &other_two), item(2));
  EXPECT_EQ(tree->count, 2U);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 4);
}

TEST(BstTraverser, InsertWithoutMemoryHasNoCurrentItem) {
  const IntTree tree{2, 4};
  BstTraverser walk;
  fail_after(0);
  EXPECT_EQ(bst_t_insert(&walk, tree.get(), item(3)), nullptr);
  EXPECT_EQ(tree->count, 2U);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 2);
}

TEST(BstTraverser, InsertsBelowAPathThatIsTooDeep) {
  const IntTree tree(Chain{40});
  BstTraverser walk;
  EXPECT_EQ(bst_t_insert(&walk, tree.get(), item(40)), item(40));
  EXPECT_EQ(tree->generation, 1U);
  EXPECT_EQ(number_of(bst_t_prev(&walk)), 39);
}

TEST(BstTraverser, ACopyGoesItsOwnWay) {
  const IntTree tree{2, 1, 3};
  BstTraverser one;
  BstTraverser other;
  bst_t_first(&one, tree.get());
  EXPECT_EQ(number_of(bst_t_copy(&other, &one)), 1);
  for (const int next : {2, 3}) EXPECT_EQ(number_of(bst_t_next(&other)), next);
  EXPECT_EQ(number_of(bst_t_next(&one)), 2);
  EXPECT_EQ(number_of(bst_t_copy(&one, &one)), 2);
  EXPECT_EQ(bst_t_next(&other), nullptr);
  EXPECT_EQ(bst_t_copy(&one, &other), nullptr);
  EXPECT_EQ(number_of(bst_t_next(&one)), 1);
}

TEST(BstTraverser, ACopyOfAStaleOneFindsItsWayToo) {
  const IntTree tree(Chain{20});
  BstTraverser stale;
  bst_t_find(&stale, tree.get(), item(12));
  bst_balance(tree.get());
  BstTraverser fresh;
  bst_t_find(&fresh, tree.get(), item(3));
  EXPECT_EQ(number_of(bst_t_copy(&fresh, &stale)), 12);
  for (int i = 11; i >= 0; i--) EXPECT_EQ(number_of(bst_t_prev(&fresh)), i);
  EXPECT_EQ(bst_t_prev(&fresh), nullptr);
}

TEST(BstTraverser, ReplacePutsAnEqualItemIntoThePlace) {
  const IntTree tree{2, 1, 3};
  int other_two = 2;
  BstTraverser walk;
  bst_t_find(&walk, tree.get(), item(2));
  EXPECT_EQ(bst_t_replace(&walk, &other_two), item(2));
  EXPECT_EQ(bst_find(tree.get(), item(2)), &other_two);
  EXPECT_EQ(tree->count, 3U);
  EXPECT_EQ(tree->generation, 0U);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 3);
}

TEST(BstTraverser, GoesOnAfterARebalance) {
  const IntTree tree(Chain{20});
  BstTraverser up;
  BstTraverser down;
  bst_t_find(&up, tree.get(), item(12));
  bst_t_find(&down, tree.get(), item(12));
  bst_balance(tree.get());
  for (int i = 13; i < 20; i++) EXPECT_EQ(number_of(bst_t_next(&up)), i);
  EXPECT_EQ(bst_t_next(&up), nullptr);
  for (int i = 11; i >= 0; i--) EXPECT_EQ(number_of(bst_t_prev(&down)), i);
  EXPECT_EQ(bst_t_prev(&down), nullptr);
}

TEST(BstTraverser, LooksForItsPathOnceAfterAChange) {
  int compared = 0;
  const IntTree tree(
      [](const void* a, const void* b, void* param) {
        ++*static_cast<int*>(param);
        return compare_numbers(a, b, nullptr);
      },
      &compared);
  for (const int number : {4, 2, 6, 1, 3, 5, 7}) (void)bst_probe(tree.get(), item(number));
  BstTraverser walk;
  EXPECT_EQ(number_of(bst_t_first(&walk, tree.get())), 1);
  (void)bst_delete(tree.get(), item(7));
  compared = 0;
  EXPECT_EQ(number_of(bst_t_next(&walk)), 2);
  EXPECT_EQ(compared, 2);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 3);
  EXPECT_EQ(compared, 2);
}

TEST(BstTraverser, GoesOnAfterADeletionThatMovesItsNode) {
  // 60 is the next greater of 50 and takes its place.
  const IntTree tree{50, 20, 70, 60, 90};
  BstTraverser walk;
  bst_t_find(&walk, tree.get(), item(60));
  EXPECT_EQ(bst_delete(tree.get(), item(50)), item(50));
  EXPECT_EQ(number_of(bst_t_prev(&walk)), 20);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 60);
  EXPECT_EQ(number_of(bst_t_next(&walk)), 70);
}

TEST(BstTraverser, BehindTheEndItNoticesChangesToo) {
  const IntTree tree{1, 2};
  BstTraverser walk;
  bst_t_last(&walk, tree.get());
  EXPECT_EQ(bst_t_next(&walk), nullptr);
  EXPECT_EQ(bst_delete(tree.get(), item(1)), item(1));
  EXPECT_EQ(number_of(bst_t_next(&walk)), 2);
}

}  // namespace
