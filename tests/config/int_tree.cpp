#include "config/int_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>
#include <utility>

namespace config_test {

using namespace config;

namespace {

int live = 0;
int allowed = -1;

void* allocate(size_t size) {
  if (allowed == 0) return nullptr;
  if (allowed > 0) allowed--;
  void* block = std::malloc(size);
  if (block != nullptr) live++;
  return block;
}

void release(void* block) {
  live--;
  std::free(block);
}

}  // namespace

const BstAllocator kCountedMemory = {allocate, release};

void* item(int number) {
  static auto* numbers = [] {
    auto* all = new std::array<int, kNumbers>;
    std::iota(all->begin(), all->end(), 0);
    return all;
  }();
  return &numbers->at(static_cast<size_t>(number));
}

int number_of(const void* item) { return item != nullptr ? *static_cast<const int*>(item) : -1; }

int live_blocks() { return live; }

void fail_after(int allocations) { allowed = allocations; }

int compare_numbers(const void* a, const void* b, void*) { return number_of(a) - number_of(b); }

IntTree::IntTree(BstCompare compare, void* param)
    : tree_(bst_create(compare, param, &kCountedMemory)) {}

IntTree::IntTree(std::initializer_list<int> numbers) : IntTree() {
  for (const int number : numbers) probe(number);
}

IntTree::~IntTree() {
  fail_after(-1);
  bst_destroy(tree_, nullptr);
}

int IntTree::probe(int number) {
  void** slot = bst_probe(tree_, item(number));
  return slot != nullptr ? number_of(*slot) : -1;
}

IntTree::IntTree(Chain chain, BstCompare compare, void* param) : IntTree(compare, param) {
  BstNode** link = &tree_->root;
  for (int number = 0; number < chain.count; number++) {
    auto* node = static_cast<BstNode*>(allocate(sizeof(BstNode)));
    *node = {{nullptr, nullptr}, item(number)};
    *link = node;
    link = &node->link[1];
  }
  tree_->count = static_cast<uint64_t>(chain.count);
}

size_t levels(const BstTree* tree) {
  std::vector<std::pair<const BstNode*, size_t>> open = {{tree->root, 1}};
  size_t deepest = 0;
  while (!open.empty()) {
    const auto [node, level] = open.back();
    open.pop_back();
    if (node == nullptr) continue;
    deepest = std::max(deepest, level);
    open.emplace_back(node->link[0], level + 1);
    open.emplace_back(node->link[1], level + 1);
  }
  return deepest;
}

namespace {

// What a walk from the item of `begin` by `step` meets.
std::vector<int> walked(BstTree* tree, void* (*begin)(BstTraverser*, BstTree*),
                        void* (*step)(BstTraverser*)) {
  std::vector<int> numbers;
  BstTraverser walk;
  for (void* at = begin(&walk, tree); at != nullptr; at = step(&walk)) {
    numbers.push_back(number_of(at));
  }
  return numbers;
}

}  // namespace

std::vector<int> walk_up(BstTree* tree) { return walked(tree, bst_t_first, bst_t_next); }

std::vector<int> walk_down(BstTree* tree) { return walked(tree, bst_t_last, bst_t_prev); }

std::vector<int> range(int first, int last) {
  std::vector<int> numbers(static_cast<size_t>(last - first + 1));
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

}  // namespace config_test
