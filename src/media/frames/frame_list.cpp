#include "media/frames/frame_list.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace media {
namespace {

struct FrameList {
  FrameNode* head;
  FrameNode* tail;
  std::atomic<int32_t> count;  // changed under the mutex, read without it
  bool usable;
  std::mutex mutex;
};

FrameList list{};

void free_all() {
  while (list.head != nullptr) {
    FrameNode* next = list.head->next;
    frame_node_free(list.head);
    list.head = next;
  }
  list.tail = nullptr;
  list.count.store(0, std::memory_order_relaxed);
}

// False when the list is not initialised.
bool append(FrameNode* node) {
  const std::lock_guard lock(list.mutex);
  if (!list.usable) return false;
  if (list.head == nullptr) {
    list.head = node;
  } else {
    list.tail->next = node;
  }
  list.tail = node;
  list.count.fetch_add(1, std::memory_order_relaxed);
  return true;
}

}  // namespace

void frame_list_init() {
  const std::lock_guard lock(list.mutex);
  free_all();
  list.usable = true;
}

int32_t live_frame_push(const void* bytes, int32_t size) {
  if (bytes == nullptr || size < 1) return -1;
  // A count that is a little stale drops one piece early or late, which is accepted.
  if (frame_list_count() > kLiveFrames) frame_node_free(frame_list_pop());
  FrameNode* node = frame_node_new(bytes, size);
  if (node == nullptr) return -1;
  if (!append(node)) frame_node_free(node);
  return 0;
}

FrameNode* frame_list_pop() {
  if (frame_list_count() == 0) return nullptr;
  const std::lock_guard lock(list.mutex);
  FrameNode* node = list.head;
  if (!list.usable || node == nullptr) return nullptr;
  list.head = node->next;
  if (list.head == nullptr) list.tail = nullptr;
  list.count.fetch_sub(1, std::memory_order_relaxed);
  node->next = nullptr;
  return node;
}

int32_t frame_list_count() { return list.count.load(std::memory_order_relaxed); }

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

void frame_list_clear() {
  const std::lock_guard lock(list.mutex);
  free_all();
  list.usable = false;
}

}  // namespace media
