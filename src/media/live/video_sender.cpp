#include "media/live/video_sender.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <csignal>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/text.h"
#include "base/thread.h"
#include "flightlink/wire/link_status.h"

namespace media {
namespace {

struct LiveVideoSender {
  base::Descriptor socket;
  sockaddr_in peer;
  pthread_t thread;
};

LiveVideoSender sender{};

bool is_wanted() {
  return flightlink::get_link_status() == flightlink::kLinkStatusWantsLiveVideo &&
         flightlink::get_stream_on() != 0;
}

}  // namespace

int32_t live_video_init() {
  flightlink::link_status_init();
  frame_list_init();
  live_video_sender_start();
  return 0;
}

void live_video_deinit() {
  flightlink::link_status_deinit();
  frame_list_clear();
}

void live_video_sender_start(const char* address) {
  char text[200];
  base::format_text(text, "%.199s", address == nullptr ? kLiveVideoPeer : address);
  sender.peer = {};
  sender.peer.sin_family = AF_INET;
  sender.peer.sin_port = htons(kLiveVideoPort);
  sender.peer.sin_addr.s_addr = inet_addr(text);
  sender.socket.reset(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const int buffer = kLiveVideoSendBuffer;
  (void)setsockopt(sender.socket.get(), SOL_SOCKET, SO_SNDBUF, &buffer, sizeof(buffer));
  (void)setsockopt(sender.socket.get(), IPPROTO_IP, IP_TOS, &kLiveVideoService,
                   sizeof(kLiveVideoService));
  // The queue of the interface itself has its own idea of what goes first.
  const int interactive = 6;
  (void)setsockopt(sender.socket.get(), SOL_SOCKET, SO_PRIORITY, &interactive, sizeof(interactive));
  (void)base::start_worker(LiveVideoSenderThread, nullptr, 1, &sender.thread);
}

int32_t frame_send_udp(const void* data, int32_t size) {
  if (data == nullptr || size < 1) return -1;
  const auto* bytes = static_cast<const uint8_t*>(data);
  int32_t sent = 0;
  for (int32_t done = 0; done < size; done += sent) {
    const auto length = static_cast<size_t>(std::min(size - done, kLiveVideoDatagram));
    sent = static_cast<int32_t>(sendto(sender.socket.get(), bytes + done, length, 0,
                                       reinterpret_cast<const sockaddr*>(&sender.peer),
                                       sizeof(sender.peer)));
    if (sent < 1) {
      base::sleep_us(kLiveVideoErrorPauseUs);
      return sent;
    }
  }
  return sent;
}

void live_video_take(FrameNode* piece) {
  if (piece == nullptr) return;
  if (piece->data != nullptr && piece->size != 0 && is_wanted()) {
    (void)frame_send_udp(piece->data, piece->size);
  }
  frame_node_free(piece);
}

void live_video_round() {
  live_video_take(frame_list_pop());
  // Deliberate after every piece, even with more waiting: the pacing is part of the design.
  base::sleep_us(kLiveVideoPauseUs);
}

// SCHED_RR priority 1, one below every other worker. Owns the stream socket once started; shares
// the live frame list (its mutex) and the two words of link_status (relaxed). Runs until the
// process ends.
void* LiveVideoSenderThread(void* /*argument*/) {
  base::detach_self();
  std::signal(SIGPIPE, SIG_IGN);
  for (;;) live_video_round();
  return nullptr;
}

}  // namespace media
