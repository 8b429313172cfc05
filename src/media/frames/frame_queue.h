// A queue of frames on the heap, guarded by its own mutex: what the live frame list and the packets of the
// remux job have in common. A frame is copied once, into its node's heap block. Any thread may call.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

#include "base/mutex.h"

namespace media {

struct FrameNode {
  uint8_t* data;  // in the node's own heap block
  int32_t size;   // bytes
  FrameNode* next;
};

// A node with a copy of `size` bytes (0 or more) that is in no queue; null when memory is exhausted.
[[nodiscard]] FrameNode* frame_node_new(const void* bytes, int32_t size);

// Returns 0; -1 for null.
int32_t frame_node_free(FrameNode* node);

class FrameQueue {
 public:
  // Empty and open. Call before the first append and after every close.
  void open();
  // Frees every node; appends and pops find no queue until the next open. The mutex stays: a thread
  // may be inside one of them.
  void close();
  // Takes the node, after freeing the oldest one if there are more than `most`. False while the
  // queue is not open; the node is freed then.
  bool append(FrameNode* node, int32_t most = std::numeric_limits<int32_t>::max());
  // The oldest node, which becomes the caller's; null when there is none, or no queue.
  [[nodiscard]] FrameNode* pop();
  // Read without the lock.
  [[nodiscard]] int32_t count() const;

 private:
  FrameNode* detach_first() REQUIRES(mutex_);
  void free_all() REQUIRES(mutex_);

  base::Mutex mutex_;
  FrameNode* head_ GUARDED_BY(mutex_) = nullptr;
  FrameNode* tail_ GUARDED_BY(mutex_) = nullptr;
  bool open_ GUARDED_BY(mutex_) = false;
  std::atomic<int32_t> count_{0};  // changed under the mutex
};

}  // namespace media
