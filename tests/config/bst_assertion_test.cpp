// Violated preconditions: the process aborts and names the source, the operation and the condition.
#include <gtest/gtest.h>

#include <string>

#include "config/bst.h"
#include "config/int_tree.h"

namespace {

using namespace config;
using namespace config_test;

// "PROGRAM: bst:LINE: FUNCTION: Assertion `TEXT' failed."
std::string message(const char* function, const std::string& text) {
  std::string quoted;
  for (const char c : text) {
    if (std::string("()*").find(c) != std::string::npos) quoted += '\\';
    quoted += c;
  }
  return ": bst:[0-9]+: " + std::string(function) + ": Assertion `" + quoted + "' failed\\.";
}

TEST(BstAssertionDeathTest, TreeOperationsWantTheirArguments) {
  const std::string both = "tree != ((void *)0) && item != ((void *)0)";
  const IntTree tree{1};
  EXPECT_DEATH(static_cast<void>(bst_create(nullptr, nullptr, nullptr)),
               message("bst_create", "compare != ((void *)0)"));
  EXPECT_DEATH(bst_destroy(nullptr, nullptr), message("bst_destroy", "tree != ((void *)0)"));
  EXPECT_DEATH(static_cast<void>(bst_find(nullptr, item(1))), message("bst_find", both));
  EXPECT_DEATH(static_cast<void>(bst_find(tree.get(), nullptr)), message("bst_find", both));
  EXPECT_DEATH(static_cast<void>(bst_probe(nullptr, item(1))), message("bst_probe", both));
  EXPECT_DEATH(static_cast<void>(bst_probe(tree.get(), nullptr)), message("bst_probe", both));
  const std::string empty = "tree != ((void *)0) && tree->bst_root == ((void *)0)";
  EXPECT_DEATH(bst_fill(nullptr, nullptr, 0), message("bst_fill", empty));
  EXPECT_DEATH(bst_fill(tree.get(), nullptr, 0), message("bst_fill", empty));
  EXPECT_DEATH(bst_delete(nullptr, item(1)), message("bst_delete", both));
  EXPECT_DEATH(bst_delete(tree.get(), nullptr), message("bst_delete", both));
  EXPECT_DEATH(bst_balance(nullptr), message("bst_balance", "tree != ((void *)0)"));
  EXPECT_DEATH(static_cast<void>(bst_copy(nullptr, nullptr, nullptr, nullptr)),
               message("bst_copy", "org != ((void *)0)"));
}

TEST(BstAssertionDeathTest, TraverserOperationsWantTheirArguments) {
  const std::string two = "tree != ((void *)0) && trav != ((void *)0)";
  const std::string three = "trav != ((void *)0) && tree != ((void *)0) && item != ((void *)0)";
  const std::string copied = "trav != ((void *)0) && src != ((void *)0)";
  const std::string replaced =
      "trav != ((void *)0) && trav->bst_node != ((void *)0) && new != ((void *)0)";
  const IntTree tree{1};
  BstTraverser walk;
  bst_t_first(&walk, tree.get());
  EXPECT_DEATH(bst_t_first(nullptr, tree.get()), message("bst_t_first", two));
  EXPECT_DEATH(bst_t_first(&walk, nullptr), message("bst_t_first", two));
  EXPECT_DEATH(bst_t_last(nullptr, tree.get()), message("bst_t_last", two));
  EXPECT_DEATH(bst_t_last(&walk, nullptr), message("bst_t_last", two));
  EXPECT_DEATH(bst_t_next(nullptr), message("bst_t_next", "trav != ((void *)0)"));
  EXPECT_DEATH(bst_t_prev(nullptr), message("bst_t_prev", "trav != ((void *)0)"));
  EXPECT_DEATH(bst_t_find(nullptr, tree.get(), item(1)), message("bst_t_find", three));
  EXPECT_DEATH(bst_t_find(&walk, nullptr, item(1)), message("bst_t_find", three));
  EXPECT_DEATH(bst_t_find(&walk, tree.get(), nullptr), message("bst_t_find", three));
  EXPECT_DEATH(bst_t_insert(nullptr, tree.get(), item(1)), message("bst_t_insert", three));
  EXPECT_DEATH(bst_t_insert(&walk, nullptr, item(1)), message("bst_t_insert", three));
  EXPECT_DEATH(bst_t_insert(&walk, tree.get(), nullptr), message("bst_t_insert", three));
  EXPECT_DEATH(bst_t_copy(nullptr, &walk), message("bst_t_copy", copied));
  EXPECT_DEATH(bst_t_copy(&walk, nullptr), message("bst_t_copy", copied));
  EXPECT_DEATH(bst_t_replace(nullptr, item(1)), message("bst_t_replace", replaced));
  EXPECT_DEATH(bst_t_replace(&walk, nullptr), message("bst_t_replace", replaced));
  EXPECT_EQ(bst_t_next(&walk), nullptr);
  EXPECT_DEATH(bst_t_replace(&walk, item(1)), message("bst_t_replace", replaced));
}

TEST(BstAssertionDeathTest, InsertWantsANewItemAndMemory) {
  const std::string text = "p != ((void *)0) && *p == item";
  const IntTree tree;
  int other_one = 1;
  bst_assert_insert(tree.get(), item(1));
  EXPECT_EQ(bst_find(tree.get(), item(1)), item(1));
  EXPECT_DEATH(bst_assert_insert(tree.get(), &other_one), message("bst_assert_insert", text));
  fail_after(0);
  EXPECT_DEATH(bst_assert_insert(tree.get(), item(2)), message("bst_assert_insert", text));
}

TEST(BstAssertionDeathTest, DeleteWantsAnItemThatIsThere) {
  const IntTree tree{1};
  EXPECT_EQ(bst_assert_delete(tree.get(), item(1)), item(1));
  EXPECT_DEATH(bst_assert_delete(tree.get(), item(1)),
               message("bst_assert_delete", "p != ((void *)0)"));
}

// An order that changes under the tree is a caller's error that a stale traverser notices.
TEST(BstAssertionDeathTest, AChangedOrderIsNoticed) {
  int sign = 1;
  const BstCompare compare = [](const void* a, const void* b, void* param) {
    return *static_cast<int*>(param) * compare_numbers(a, b, nullptr);
  };
  const IntTree tree(Chain{40}, compare, &sign);
  BstTraverser walk;
  bst_t_find(&walk, tree.get(), item(3));
  EXPECT_EQ(bst_delete(tree.get(), item(39)), item(39));
  sign = -1;  // every way leads to the smaller side
  EXPECT_DEATH(bst_t_next(&walk), message("trav_refresh", "i != ((void *)0)"));
}

TEST(BstAssertionDeathTest, APathThatNoStackHoldsIsNoticed) {
  const IntTree tree(Chain{40});
  BstTraverser walk;
  bst_t_first(&walk, tree.get());
  // As if the traverser had stood on the deepest node all the time.
  walk.node = tree->root;
  while (walk.node->link[1] != nullptr) walk.node = walk.node->link[1];
  walk.generation--;
  EXPECT_DEATH(bst_t_next(&walk), message("trav_refresh", "trav->bst_height < 32"));
}

}  // namespace
