// Playback of a recording on the media channel.
#pragma once

#include <cstdint>

#include "media/transfer_context.h"

namespace media {

// The largest frame that is played, start code included, and one byte for the channel.
inline constexpr uint32_t kPlaybackBuffer = 2097152;

// TransferHandler: plays the recording of the item's path from the context's `seek_time` on, as
// H.264 with start codes on channel 3, frames as fast as the socket takes them. The "TIME" notice
// and the parameter sets come first, and again after every seek. Only the first NAL unit of each
// sample is sent. At the end "TRANSCOMPLETE"; nothing when transfer_interrupted, or when the file
// is no recording with an H.264 track.
//
// A frame of at most kTransferChunk bytes is one datagram. A larger one leaves in pieces that start
// one byte early: the first piece begins with the byte before the frame, a 3, and the frame's last
// byte is never sent. The phone application expects the shift; do not align.
int32_t video_streamer(WorkItem* item, TransferContext* context);

}  // namespace media
