#include "media/frames/frame_queue.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "base/relaxed.h"

namespace media {

using base::kRelaxed;

FrameNode* frame_node_new(const void* bytes, int32_t size) {
  const auto length = static_cast<size_t>(size);
  void* block = std::malloc(sizeof(FrameNode) + length);
  if (block == nullptr) return nullptr;
  auto* node =
      new (block) FrameNode{static_cast<uint8_t*>(block) + sizeof(FrameNode), size, nullptr};
  if (length > 0) std::memcpy(node->data, bytes, length);
  return node;
}

int32_t frame_node_free(FrameNode* node) {
  if (node == nullptr) return -1;
  std::free(node);
  return 0;
}

void FrameQueue::open() {
  const base::Lock lock(mutex_);
  free_all();
  open_ = true;
}

void FrameQueue::close() {
  const base::Lock lock(mutex_);
  free_all();
  open_ = false;
}

bool FrameQueue::append(FrameNode* node, int32_t most) {
  const base::Lock lock(mutex_);
  if (!open_) {
    frame_node_free(node);
    return false;
  }
  if (count_.load(kRelaxed) > most) frame_node_free(detach_first());
  if (head_ == nullptr) {
    head_ = node;
  } else {
    tail_->next = node;
  }
  tail_ = node;
  count_.fetch_add(1, kRelaxed);
  return true;
}

FrameNode* FrameQueue::pop() {
  const base::Lock lock(mutex_);
  return open_ ? detach_first() : nullptr;
}

int32_t FrameQueue::count() const { return count_.load(kRelaxed); }

FrameNode* FrameQueue::detach_first() {
  FrameNode* node = head_;
  if (node == nullptr) return nullptr;
  head_ = node->next;
  if (head_ == nullptr) tail_ = nullptr;
  count_.fetch_sub(1, kRelaxed);
  node->next = nullptr;
  return node;
}

void FrameQueue::free_all() {
  while (head_ != nullptr) frame_node_free(detach_first());
}

}  // namespace media
