// Long random runs against std::map, always the same ones.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <vector>

#include "config/bst.h"
#include "config/int_tree.h"

namespace {

using namespace config;
using namespace config_test;

// A tree and the map that it has to agree with, each with a place in it. No place: behind the ends.
class Pair {
 public:
  explicit Pair(unsigned seed) : random_(seed) { bst_t_first(&walk_, tree_.get()); }

  // One random operation on both.
  void step() {
    const int number = static_cast<int>(random_() % kRange);
    switch (random_() % 12) {
      case 0:
      case 1:
      case 2:
        insert(bst_probe(tree_.get(), item(number)), number);
        break;
      case 3:
      case 4:
        remove(number);
        break;
      case 5:
        EXPECT_EQ(number_of(bst_find(tree_.get(), item(number))),
                  map_.contains(number) ? number : -1);
        break;
      case 6:
        come_to(number, number_of(bst_t_find(&walk_, tree_.get(), item(number))));
        break;
      case 7:
        map_.emplace(number, 0);
        come_to(number, number_of(bst_t_insert(&walk_, tree_.get(), item(number))));
        break;
      case 8:
        if (random_() % 8 == 0) bst_balance(tree_.get());
        break;
      case 9:
        up();
        break;
      case 10:
        down();
        break;
      case 11:
        copy_traverser();
        break;
    }
    EXPECT_EQ(tree_->count, map_.size());
  }

  void compare_walks() {
    std::vector<int> expected;
    for (const auto& [number, unused] : map_) expected.push_back(number);
    EXPECT_EQ(walk_up(tree_.get()), expected);
    EXPECT_EQ(walk_down(tree_.get()), std::vector<int>(expected.rbegin(), expected.rend()));
  }

 private:
  static constexpr int kRange = 400;

  void insert(void** slot, int number) {
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(*slot, item(number));
    map_.emplace(number, 0);
  }

  // The item under the traverser stays.
  void remove(int number) {
    if (place_ == number) return;
    EXPECT_EQ(number_of(bst_delete(tree_.get(), item(number))),
              map_.erase(number) > 0 ? number : -1);
  }

  void come_to(int number, int found) {
    place_.reset();
    if (map_.contains(number)) place_ = number;
    EXPECT_EQ(found, place_.value_or(-1));
  }

  void up() {
    const auto next = place_ ? map_.upper_bound(*place_) : map_.begin();
    place_ = next != map_.end() ? std::optional(next->first) : std::nullopt;
    EXPECT_EQ(number_of(bst_t_next(&walk_)), place_.value_or(-1));
  }

  void down() {
    const auto at = place_ ? map_.lower_bound(*place_) : map_.end();
    place_ = at != map_.begin() ? std::optional(std::prev(at)->first) : std::nullopt;
    EXPECT_EQ(number_of(bst_t_prev(&walk_)), place_.value_or(-1));
  }

  void copy_traverser() {
    BstTraverser copied;
    EXPECT_EQ(number_of(bst_t_copy(&copied, &walk_)), place_.value_or(-1));
    walk_ = copied;
  }

  std::mt19937 random_;
  IntTree tree_;
  BstTraverser walk_{};
  std::map<int, int> map_;
  std::optional<int> place_;
};

TEST(BstProperty, AgreesWithAnOrderedMapOverRandomOperations) {
  for (const unsigned seed : {1U, 2U, 3U, 4U}) {
    SCOPED_TRACE(seed);
    Pair pair(seed);
    for (int i = 0; i < 20000 && !::testing::Test::HasFailure(); i++) {
      pair.step();
      if (i % 500 == 0) pair.compare_walks();
    }
    pair.compare_walks();
  }
}

// Sorted runs make deep paths, so that walks rebalance while other traversers are on their way.
TEST(BstProperty, TraversersSurviveTheRebalancesOfOthers) {
  IntTree tree;
  for (int i = 0; i < 1000; i += 2) tree.probe(i);
  BstTraverser slow;
  EXPECT_EQ(number_of(bst_t_first(&slow, tree.get())), 0);
  // It is always among the numbers below the new one, where none is missing any more.
  for (int step = 1; step <= 500; step++) {
    tree.probe(2 * step - 1);
    if (step % 50 == 0) {
      EXPECT_EQ(walk_up(tree.get()).front(), 0);
    }
    EXPECT_EQ(number_of(bst_t_next(&slow)), step);
  }
}

}  // namespace
