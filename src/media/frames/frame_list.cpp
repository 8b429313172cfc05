#include "media/frames/frame_list.h"

namespace media {
namespace {

FrameQueue live;
FrameQueue remux;

bool whole(const void* bytes, int32_t size) { return bytes != nullptr && size >= 1; }

}  // namespace

void frame_list_init() { live.open(); }

int32_t live_frame_push(const void* bytes, int32_t size) {
  if (!whole(bytes, size)) return -1;
  // A count that is a little stale drops one piece early or late, which is accepted.
  if (frame_list_count() > kLiveFrames) frame_node_free(frame_list_pop());
  FrameNode* node = frame_node_new(bytes, size);
  if (node == nullptr) return -1;
  (void)live.append(node);
  return 0;
}

FrameNode* frame_list_pop() { return frame_list_count() == 0 ? nullptr : live.pop(); }

int32_t frame_list_count() { return live.count(); }

void frame_list_clear() { live.close(); }

void remux_packets_init() { remux.open(); }

void remux_clear() { remux.close(); }

int32_t remux_push_packet(const void* bytes, int32_t size) {
  if (!whole(bytes, size)) return -1;
  FrameNode* node = frame_node_new(bytes, size);
  return node != nullptr && remux.append(node, kRemuxPackets) ? 0 : -1;
}

FrameNode* remux_pop_packet() { return remux.pop(); }

}  // namespace media
