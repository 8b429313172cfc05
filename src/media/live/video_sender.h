// The live video sender: takes the pieces of the live frame list one by one and sends them to the
// peer as UDP datagrams while the peer asks for the stream; otherwise it throws them away.
//
// Wire: consecutive datagrams of at most 64512 bytes of plain encoded video, without any header, to
// UDP port 8856 of the peer. No connection and no acknowledgement.
#pragma once

#include <cstdint>

#include "media/frames/frame_list.h"

namespace media {

inline constexpr const char kLiveVideoPeer[] = "192.168.31.111";
inline constexpr uint16_t kLiveVideoPort = 8856;
inline constexpr int32_t kLiveVideoDatagram = 64512;  // bytes at most
inline constexpr int kLiveVideoSendBuffer = 2097152;  // SO_SNDBUF, bytes
// IP_TOS: DSCP CS5, on Wi-Fi the access category of video. A download cannot hold live video up.
inline constexpr int kLiveVideoService = 0xA0;
inline constexpr unsigned kLiveVideoPauseUs = 10000;      // after every round
inline constexpr unsigned kLiveVideoErrorPauseUs = 1000;  // after a failed send

// Prepares the link status block and the live frame list and starts the sender. Returns 0. Called
// once.
int32_t live_video_init();

// Marks the link status block's lock unused and frees the live frame list.
void live_video_deinit();

// Opens the stream socket towards `address` (dotted, at most 200 bytes; null: kLiveVideoPeer) and
// starts LiveVideoSenderThread with SCHED_RR priority 1. Failures are not reported: without a
// socket every send fails. Not to be called while the thread runs.
void live_video_sender_start(const char* address = nullptr);

// Sends one piece. Returns what the last send returned: the bytes of the last datagram, or, after a
// pause of 1 ms, the result below 1 that ended it (the rest of the piece is dropped); -1 for null
// or a size below 1. The sender thread only.
int32_t frame_send_udp(const void* data, int32_t size);

// What one round does with the piece it took, which it frees; null is ignored.
void live_video_take(FrameNode* piece);

// One round of LiveVideoSenderThread: takes the oldest piece, if there is one, then pauses 10 ms.
void live_video_round();

// Thread body; the argument is ignored. Never returns.
void* LiveVideoSenderThread(void* argument);

}  // namespace media
