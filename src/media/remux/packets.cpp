#include "media/remux/packets.h"

#include <mutex>

namespace media {
namespace {

struct PacketList {
  FrameNode* head;
  FrameNode* tail;
  int32_t count;
  bool usable;
  std::mutex mutex;  // stays when the list is cleared: a thread may be inside a push or pop
};

PacketList list{};

// These three under the mutex.

FrameNode* detach_first() {
  FrameNode* node = list.head;
  if (node == nullptr) return nullptr;
  list.head = node->next;
  if (list.head == nullptr) list.tail = nullptr;
  list.count--;
  node->next = nullptr;
  return node;
}

void append(FrameNode* node) {
  if (list.head == nullptr) {
    list.head = node;
  } else {
    list.tail->next = node;
  }
  list.tail = node;
  list.count++;
}

void free_all() {
  while (list.head != nullptr) frame_node_free(detach_first());
}

}  // namespace

void remux_packets_init() {
  const std::lock_guard lock(list.mutex);
  free_all();
  list.usable = true;
}

int32_t remux_push_packet(const void* bytes, int32_t size) {
  if (bytes == nullptr || size < 1) return -1;
  FrameNode* node = frame_node_new(bytes, size);
  if (node == nullptr) return -1;
  const std::lock_guard lock(list.mutex);
  if (!list.usable) {
    frame_node_free(node);
    return -1;
  }
  if (list.count > kRemuxPackets) frame_node_free(detach_first());
  append(node);
  return 0;
}

FrameNode* remux_pop_packet() {
  const std::lock_guard lock(list.mutex);
  return list.usable ? detach_first() : nullptr;
}

void remux_clear() {
  const std::lock_guard lock(list.mutex);
  free_all();
  list.usable = false;
}

}  // namespace media
