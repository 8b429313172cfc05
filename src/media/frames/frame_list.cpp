#include "media/frames/frame_list.h"

namespace media {
namespace {

FrameQueue queue;

}  // namespace

void frame_list_init() { queue.open(); }

int32_t live_frame_push(const void* bytes, int32_t size) {
  if (bytes == nullptr || size < 1) return -1;
  // A count that is a little stale drops one piece early or late, which is accepted.
  if (frame_list_count() > kLiveFrames) frame_node_free(frame_list_pop());
  FrameNode* node = frame_node_new(bytes, size);
  if (node == nullptr) return -1;
  (void)queue.append(node);
  return 0;
}

FrameNode* frame_list_pop() { return frame_list_count() == 0 ? nullptr : queue.pop(); }

int32_t frame_list_count() { return queue.count(); }

void frame_list_clear() { queue.close(); }

}  // namespace media
