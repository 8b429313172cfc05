// A tree of numbers whose memory is counted and can be made to fail.
#pragma once

#include <cstddef>
#include <vector>

#include "config/bst.h"

namespace config_test {

inline constexpr int kNumbers = 200000;

// The one item for that number, 0 <= number < kNumbers.
void* item(int number);
// -1 for null.
int number_of(const void* item);

// Blocks that are allocated and not freed.
int live_blocks();
// That many allocations succeed, all later ones fail, until no longer wanted (-1).
void fail_after(int allocations);

extern const config::BstAllocator kCountedMemory;

// By number; `param` is not used.
int compare_numbers(const void* a, const void* b, void* param);

// 0, 1, ... count - 1 as a chain of greater links, as probing in that order makes it.
struct Chain {
  int count;
};

class IntTree {
 public:
  explicit IntTree(config::BstCompare compare = compare_numbers, void* param = nullptr);
  // With these numbers, probed in this order.
  IntTree(std::initializer_list<int> numbers);
  explicit IntTree(Chain chain, config::BstCompare compare = compare_numbers,
                   void* param = nullptr);
  ~IntTree();
  IntTree(const IntTree&) = delete;
  IntTree& operator=(const IntTree&) = delete;

  [[nodiscard]] config::BstTree* get() const { return tree_; }
  config::BstTree* operator->() const { return tree_; }

  // The number in the slot that bst_probe gives; -1 for none.
  int probe(int number);

 private:
  config::BstTree* tree_;
};

// Levels of nodes; 0 for an empty tree. Needs little stack, however deep the tree is.
size_t levels(const config::BstTree* tree);
// Every number from the smallest on, by a walk, and from the greatest on.
std::vector<int> walk_up(config::BstTree* tree);
std::vector<int> walk_down(config::BstTree* tree);
// first, first + 1, ... last
std::vector<int> range(int first, int last);

}  // namespace config_test
