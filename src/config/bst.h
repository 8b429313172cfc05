// An ordered tree of opaque items: a plain binary search tree with unique items, ordered by the
// caller's comparison, with traversers that survive changes of the tree, and a whole-tree
// rebalance.
//
// A traverser keeps the path from the root on a stack of 32 nodes; where a path would be longer it
// has the whole tree rebalanced, which any tree of up to 2^32 - 1 items fits. A violated
// precondition aborts the process, naming the source `bst` and the operation, also with NDEBUG. The
// tree owns its nodes; items belong to whoever gives them, until bst_destroy hands each to a
// release callback.
//
// One thread at a time per tree. Only once bst_balance has been called and while nothing is added
// may several threads search and walk it at once, each with its own traverser: then no walk is deep
// enough to rebalance.
#pragma once

#include <cstddef>
#include <cstdint>

namespace config {

inline constexpr size_t kBstMaxHeight = 32;

// Negative, 0 or positive for a before, equal to or after b.
using BstCompare = int (*)(const void* a, const void* b, void* param);
using BstRelease = void (*)(void* item, void* param);
// Returns the copy, null when it cannot be made.
using BstCopyItem = void* (*)(void* item, void* param);

struct BstAllocator {
  void* (*allocate)(size_t size);  // null when memory is exhausted
  void (*free)(void* block);
};

struct BstNode {
  BstNode* link[2];  // 0 smaller, 1 greater
  void* item;        // never null
};

struct BstTree {
  BstNode* root;
  BstCompare compare;
  void* param;  // given to every callback
  const BstAllocator* allocator;
  uint64_t count;
  uint64_t generation;  // grows with every rebalance and deletion: saved paths are stale then
};

struct BstTraverser {
  BstTree* tree;
  BstNode* node;  // null: before the first and after the last item
  BstNode* stack[kBstMaxHeight];
  size_t height;
  uint64_t generation;
};

// A new empty tree, null when memory is exhausted. A null allocator stands for malloc and free; any
// other must outlive the tree.
[[nodiscard]] BstTree* bst_create(BstCompare compare, void* param, const BstAllocator* allocator);
// Frees every node, handing each item to `release` (may be null), then the tree. Takes no memory
// and no stack, however deep the tree is.
void bst_destroy(BstTree* tree, BstRelease release);

// The stored item that compares equal; null when there is none.
[[nodiscard]] void* bst_find(const BstTree* tree, const void* item);
// The slot of the stored item that compares equal, or of `item`, which is then added as a leaf. The
// slot lives as long as its item is in the tree. Null, with the tree unchanged, when memory is
// exhausted.
[[nodiscard]] void** bst_probe(BstTree* tree, void* item);
// Fills an empty tree with `count` nodes, as flat as it can be. They are linked through link[0] from
// `greatest` on, in descending order. Each heads a block of the tree's allocator, which is the
// tree's from then on, and has its item set; the item may be in the same block.
void bst_fill(BstTree* tree, BstNode* greatest, uint64_t count);
// Removes the item that compares equal and returns it; null when there is none. A traverser that
// stood on it must be started anew; all others go on.
void* bst_delete(BstTree* tree, const void* item);
// Makes the tree as flat as it can be (Day, Stout and Warren). A tree of more than 2^32 - 1 items
// ends the process with status 1 and a line on standard error.
void bst_balance(BstTree* tree);

// A copy with the same shape. `copy` makes the items, in ascending order (null: both trees hold the
// same ones). A null allocator stands for the one of `tree`. When `copy` or the allocator fails,
// the items that were copied are handed to `release` (may be null), the copy is freed and null is
// returned.
[[nodiscard]] BstTree* bst_copy(const BstTree* tree, BstCopyItem copy, BstRelease release,
                                const BstAllocator* allocator);

// bst_probe, which aborts when an equal item is already there or memory is exhausted.
void bst_assert_insert(BstTree* tree, void* item);
// bst_delete, which aborts when the item is not there.
void* bst_assert_delete(BstTree* tree, const void* item);

// Traversers. Each returns the item it has come to, null for none. A traverser without a current
// item starts again: next at the smallest, prev at the greatest.
void* bst_t_first(BstTraverser* trav, BstTree* tree);
void* bst_t_last(BstTraverser* trav, BstTree* tree);
void* bst_t_next(BstTraverser* trav);
void* bst_t_prev(BstTraverser* trav);
// Null when no item compares equal; the traverser then has no current item.
void* bst_t_find(BstTraverser* trav, BstTree* tree, const void* item);
// Adds the item unless an equal one is there; comes to whichever is in the tree. Null when memory
// is exhausted; the traverser then has no current item.
void* bst_t_insert(BstTraverser* trav, BstTree* tree, void* item);
// Comes to the place where `from` stands.
void* bst_t_copy(BstTraverser* trav, const BstTraverser* from);
// Puts an item that compares equal into the current place; returns the old one.
void* bst_t_replace(BstTraverser* trav, void* item);

}  // namespace config
