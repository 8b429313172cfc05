#include "config/bst.h"

#include <bit>
#include <cstdio>
#include <cstdlib>

#include "config/precondition.h"

namespace config {
namespace {

constexpr const char* kSource = "bst";
constexpr BstAllocator kDefaultAllocator = {std::malloc, std::free};

BstNode* new_node(const BstTree* tree, void* item) {
  auto* node = static_cast<BstNode*>(tree->allocator->allocate(sizeof(BstNode)));
  if (node != nullptr) *node = {{nullptr, nullptr}, item};
  return node;
}

// The link that holds the node equal to `item`, or the null link where it belongs.
BstNode** find_link(BstTree* tree, const void* item) {
  BstNode** link = &tree->root;
  while (*link != nullptr) {
    const int order = tree->compare(item, (*link)->item, tree->param);
    if (order == 0) break;
    link = &(*link)->link[order > 0 ? 1 : 0];
  }
  return link;
}

// Fills a null link with a new leaf. Null when memory is exhausted.
void** add_leaf(BstTree* tree, BstNode** link, void* item) {
  BstNode* node = new_node(tree, item);
  if (node == nullptr) return nullptr;
  *link = node;
  tree->count++;
  return &node->item;
}

// Turns the tree below `root` into a chain of left links, in descending order. Returns its length.
uint64_t tree_to_vine(BstNode** root) {
  uint64_t length = 0;
  for (BstNode** link = root; *link != nullptr;) {
    BstNode* node = *link;
    BstNode* right = node->link[1];
    if (right == nullptr) {
      link = &node->link[0];
      length++;
      continue;
    }
    node->link[1] = right->link[0];
    right->link[0] = node;
    *link = right;
  }
  return length;
}

// Rotates every second node of the chain to the right side of its successor, `rotations` times.
void compress(BstNode** link, uint64_t rotations) {
  for (; rotations > 0; rotations--) {
    BstNode* red = *link;
    BstNode* black = red->link[0];
    *link = black;
    red->link[0] = black->link[1];
    black->link[1] = red;
    link = &black->link[0];
  }
}

// Nodes of the bottom level of a flat tree, 0 when that level is full.
uint64_t bottom_leaves(uint64_t count) { return count + 1 - std::bit_floor(count + 1); }

// Turns a chain of `count` nodes below `root` into a flat tree.
void vine_to_tree(BstNode** root, uint64_t count) {
  const uint64_t leaves = bottom_leaves(count);
  compress(root, leaves);
  for (uint64_t vine = count - leaves; vine >= 2;) {
    vine /= 2;
    compress(root, vine);
  }
}

// Ends the process when not even a flat tree fits the stack of a traverser: it has a level for each
// halving of its chain, and one for the leaves below.
void require_fitting(uint64_t count) {
  const uint64_t leaves = bottom_leaves(count);
  uint64_t levels = leaves > 0 ? 2 : 1;
  for (uint64_t vine = count - leaves; vine >= 2; vine /= 2) levels++;
  if (levels <= kBstMaxHeight) return;
  std::fprintf(stderr, "libavl: Tree too big (%lu nodes) to handle.\n",
               static_cast<unsigned long>(count));
  std::exit(EXIT_FAILURE);
}

// Copies one item into the node. False when it cannot be copied: the node then holds none.
bool copy_item(const BstTree* tree, const BstNode* from, BstNode* to, BstCopyItem copy) {
  to->item = copy == nullptr ? from->item : copy(from->item, tree->param);
  return to->item != nullptr;
}

// Frees an unfinished copy. Its pending nodes hold no items yet.
void copy_error_recovery(BstTree* copied, BstNode* pending, BstRelease release) {
  while (pending != nullptr) {
    BstNode* node = pending;
    pending = node->link[1];
    node->link[1] = nullptr;
    node->item = nullptr;
  }
  bst_destroy(copied, release);
}

// Copies the nodes in order. A new node whose item and greater side are still to be copied is
// pending: until then its item is the node that it is copied from, and its greater link leads to
// the next pending one. So a chain of any depth needs neither a stack nor memory of its own.
// Returns whether all were copied; if not, `*pending` is what remains of that list.
bool copy_nodes(const BstTree* tree, BstTree* copied, BstCopyItem copy, BstNode** pending) {
  BstNode* from = tree->root;
  BstNode** place = &copied->root;
  for (;;) {
    for (; from != nullptr; from = from->link[0]) {
      BstNode* node = new_node(copied, from);
      if (node == nullptr) return false;
      *place = node;
      place = &node->link[0];
      node->link[1] = *pending;
      *pending = node;
    }
    if (*pending == nullptr) return true;
    BstNode* node = *pending;
    *pending = node->link[1];
    node->link[1] = nullptr;
    from = static_cast<BstNode*>(node->item);
    if (!copy_item(tree, from, node, copy)) return false;
    copied->count++;
    place = &node->link[1];
    from = from->link[1];
  }
}

}  // namespace

BstTree* bst_create(BstCompare compare, void* param, const BstAllocator* allocator) {
  require(compare != nullptr, "compare != ((void *)0)", kSource, __func__);
  if (allocator == nullptr) allocator = &kDefaultAllocator;
  auto* tree = static_cast<BstTree*>(allocator->allocate(sizeof(BstTree)));
  if (tree != nullptr) *tree = {nullptr, compare, param, allocator, 0, 0};
  return tree;
}

void bst_destroy(BstTree* tree, BstRelease release) {
  require(tree != nullptr, "tree != ((void *)0)", kSource, __func__);
  BstNode* node = tree->root;
  while (node != nullptr) {
    BstNode* left = node->link[0];
    if (left != nullptr) {  // rotated up, so that no stack is needed
      node->link[0] = left->link[1];
      left->link[1] = node;
      node = left;
      continue;
    }
    BstNode* right = node->link[1];
    // Only a node of an unfinished copy is without an item.
    if (release != nullptr && node->item != nullptr) release(node->item, tree->param);
    tree->allocator->free(node);
    node = right;
  }
  tree->allocator->free(tree);
}

void* bst_find(const BstTree* tree, const void* item) {
  require(tree != nullptr && item != nullptr, "tree != ((void *)0) && item != ((void *)0)", kSource,
          __func__);
  const BstNode* node = tree->root;
  while (node != nullptr) {
    const int order = tree->compare(item, node->item, tree->param);
    if (order == 0) return node->item;
    node = node->link[order > 0 ? 1 : 0];
  }
  return nullptr;
}

void** bst_probe(BstTree* tree, void* item) {
  require(tree != nullptr && item != nullptr, "tree != ((void *)0) && item != ((void *)0)", kSource,
          __func__);
  BstNode** link = find_link(tree, item);
  return *link != nullptr ? &(*link)->item : add_leaf(tree, link, item);
}

void* bst_delete(BstTree* tree, const void* item) {
  require(tree != nullptr && item != nullptr, "tree != ((void *)0) && item != ((void *)0)", kSource,
          __func__);
  BstNode** link = find_link(tree, item);
  BstNode* node = *link;
  if (node == nullptr) return nullptr;
  void* removed = node->item;
  if (node->link[1] == nullptr) {
    *link = node->link[0];
  } else {
    // The next greater node, which has no left child, takes the place.
    BstNode** next_link = &node->link[1];
    while ((*next_link)->link[0] != nullptr) next_link = &(*next_link)->link[0];
    BstNode* next = *next_link;
    *next_link = next->link[1];
    next->link[0] = node->link[0];
    next->link[1] = node->link[1];
    *link = next;
  }
  tree->allocator->free(node);
  tree->count--;
  tree->generation++;
  return removed;
}

void bst_balance(BstTree* tree) {
  require(tree != nullptr, "tree != ((void *)0)", kSource, __func__);
  require_fitting(tree->count);
  vine_to_tree(&tree->root, tree_to_vine(&tree->root));
  tree->generation++;
}

void bst_fill(BstTree* tree, BstNode* greatest, uint64_t count) {
  require(tree != nullptr && tree->root == nullptr,
          "tree != ((void *)0) && tree->bst_root == ((void *)0)", kSource, __func__);
  // Without greater links this is the chain that a rebalance begins with.
  for (BstNode* node = greatest; node != nullptr; node = node->link[0]) node->link[1] = nullptr;
  tree->root = greatest;
  tree->count = count;
  bst_balance(tree);
}

BstTree* bst_copy(const BstTree* tree, BstCopyItem copy, BstRelease release,
                  const BstAllocator* allocator) {
  require(tree != nullptr, "org != ((void *)0)", kSource, __func__);
  BstTree* copied =
      bst_create(tree->compare, tree->param, allocator != nullptr ? allocator : tree->allocator);
  if (copied == nullptr) return nullptr;
  BstNode* pending = nullptr;
  if (copy_nodes(tree, copied, copy, &pending)) return copied;
  // Items that both trees hold are not the copy's to release.
  copy_error_recovery(copied, pending, copy != nullptr ? release : nullptr);
  return nullptr;
}

void bst_assert_insert(BstTree* tree, void* item) {
  void** slot = bst_probe(tree, item);
  require(slot != nullptr && *slot == item, "p != ((void *)0) && *p == item", kSource, __func__);
}

void* bst_assert_delete(BstTree* tree, const void* item) {
  void* removed = bst_delete(tree, item);
  require(removed != nullptr, "p != ((void *)0)", kSource, __func__);
  return removed;
}

}  // namespace config
