// The traversers of bst.h: the path from the root to the current node is kept on a stack.
#include <algorithm>

#include "config/bst.h"
#include "config/precondition.h"

namespace config {
namespace {

constexpr const char* kSource = "bst";

// False when the stack is full: the tree has then been rebalanced and the step starts again.
bool push(BstTraverser* trav, BstNode* node) {
  if (trav->height == kBstMaxHeight) {
    bst_balance(trav->tree);
    return false;
  }
  trav->stack[trav->height++] = node;
  return true;
}

void start(BstTraverser* trav, BstTree* tree) {
  trav->tree = tree;
  trav->node = nullptr;
  trav->height = 0;
  trav->generation = tree->generation;
}

// Nothing but an order that has changed under the tree can make this fail: no deletion and no
// rebalance takes a node deeper than a stack reaches.
void trav_refresh(BstTraverser* trav) {
  const BstTree* tree = trav->tree;
  if (trav->generation == tree->generation) return;
  trav->generation = tree->generation;
  if (trav->node == nullptr) return;
  trav->height = 0;
  BstNode* node = tree->root;
  while (node != trav->node) {
    require(node != nullptr, "i != ((void *)0)", kSource, __func__);
    require(trav->height < kBstMaxHeight, "trav->bst_height < 32", kSource, __func__);
    trav->stack[trav->height++] = node;
    const int order = tree->compare(trav->node->item, node->item, tree->param);
    node = node->link[order > 0 ? 1 : 0];
  }
}

// To the outermost node on that side of `node`, pushing the nodes passed; null when the stack was
// full.
BstNode* outermost(BstTraverser* trav, BstNode* node, int side) {
  while (node->link[side] != nullptr) {
    if (!push(trav, node)) return nullptr;
    node = node->link[side];
  }
  return node;
}

void* outermost_of_tree(BstTraverser* trav, BstTree* tree, int side) {
  for (;;) {
    start(trav, tree);
    if (tree->root == nullptr) return nullptr;
    BstNode* node = outermost(trav, tree->root, side);
    if (node == nullptr) continue;
    trav->node = node;
    return node->item;
  }
}

// One item further toward `side` (1 greater, 0 smaller).
void* step(BstTraverser* trav, int side) {
  for (;;) {
    trav_refresh(trav);
    BstNode* node = trav->node;
    if (node == nullptr) return outermost_of_tree(trav, trav->tree, 1 - side);
    if (node->link[side] != nullptr) {
      if (!push(trav, node)) continue;
      node = outermost(trav, node->link[side], 1 - side);
      if (node == nullptr) continue;
    } else {
      const BstNode* below = nullptr;
      do {
        below = node;
        node = trav->height > 0 ? trav->stack[--trav->height] : nullptr;
      } while (node != nullptr && node->link[side] == below);
    }
    trav->node = node;
    return node != nullptr ? node->item : nullptr;
  }
}

}  // namespace

void* bst_t_first(BstTraverser* trav, BstTree* tree) {
  require(tree != nullptr && trav != nullptr, "tree != ((void *)0) && trav != ((void *)0)", kSource,
          __func__);
  return outermost_of_tree(trav, tree, 0);
}

void* bst_t_last(BstTraverser* trav, BstTree* tree) {
  require(tree != nullptr && trav != nullptr, "tree != ((void *)0) && trav != ((void *)0)", kSource,
          __func__);
  return outermost_of_tree(trav, tree, 1);
}

void* bst_t_next(BstTraverser* trav) {
  require(trav != nullptr, "trav != ((void *)0)", kSource, __func__);
  return step(trav, 1);
}

void* bst_t_prev(BstTraverser* trav) {
  require(trav != nullptr, "trav != ((void *)0)", kSource, __func__);
  return step(trav, 0);
}

void* bst_t_find(BstTraverser* trav, BstTree* tree, const void* item) {
  require(trav != nullptr && tree != nullptr && item != nullptr,
          "trav != ((void *)0) && tree != ((void *)0) && item != ((void *)0)", kSource, __func__);
  start(trav, tree);
  for (BstNode* node = tree->root; node != nullptr;) {
    const int order = tree->compare(item, node->item, tree->param);
    if (order == 0) {
      trav->node = node;
      return node->item;
    }
    if (push(trav, node)) {
      node = node->link[order > 0 ? 1 : 0];
    } else {
      start(trav, tree);
      node = tree->root;
    }
  }
  return nullptr;
}

void* bst_t_insert(BstTraverser* trav, BstTree* tree, void* item) {
  require(trav != nullptr && tree != nullptr && item != nullptr,
          "trav != ((void *)0) && tree != ((void *)0) && item != ((void *)0)", kSource, __func__);
  start(trav, tree);
  if (bst_probe(tree, item) == nullptr) return nullptr;
  return bst_t_find(trav, tree, item);
}

void* bst_t_copy(BstTraverser* trav, const BstTraverser* from) {
  require(trav != nullptr && from != nullptr, "trav != ((void *)0) && src != ((void *)0)", kSource,
          __func__);
  if (trav != from) {
    trav->tree = from->tree;
    trav->node = from->node;
    std::copy_n(from->stack, from->height, trav->stack);
    trav->height = from->height;
    trav->generation = from->generation;
  }
  return trav->node != nullptr ? trav->node->item : nullptr;
}

void* bst_t_replace(BstTraverser* trav, void* item) {
  require(trav != nullptr && trav->node != nullptr && item != nullptr,
          "trav != ((void *)0) && trav->bst_node != ((void *)0) && new != ((void *)0)", kSource,
          __func__);
  void* old = trav->node->item;
  trav->node->item = item;
  return old;
}

}  // namespace config
