#include "media/remux/packets.h"

namespace media {
namespace {

FrameQueue queue;

}  // namespace

void remux_packets_init() { queue.open(); }

int32_t remux_push_packet(const void* bytes, int32_t size) {
  if (bytes == nullptr || size < 1) return -1;
  FrameNode* node = frame_node_new(bytes, size);
  return node != nullptr && queue.append(node, kRemuxPackets) ? 0 : -1;
}

FrameNode* remux_pop_packet() { return queue.pop(); }

void remux_clear() { queue.close(); }

}  // namespace media
