// Playback of a recording on the media channel.
#pragma once

#include <cstdint>

#include "media/channel/transfer_context.h"

namespace media {

// The largest frame that is played, start code included, and one byte for the channel.
inline constexpr uint32_t kPlaybackBuffer = 2097152;

// TransferHandler: plays the recording of the item's path from the context's `seek_time` on, as
// H.264 with start codes on channel 3, frames as fast as the socket takes them. The "TIME" notice
// and the parameter sets come first, and again after every seek. Only the first NAL unit of each
// sample is sent. At the end "TRANSCOMPLETE"; directly behind the parameter sets when the time
// comes to a sample behind the last one, as a time beyond the end does in a recording without a
// table of key frames. Nothing when transfer_interrupted, or when the file is no recording with an
// H.264 track. A recording with 64-bit chunk offsets is not played either, see mov_atom_handler.
//
// A frame of at most kTransferChunk bytes is one datagram. A larger one leaves in pieces that start
// one byte early: the first piece begins with the byte before the frame, a 3, and the frame's last
// byte is never sent. The phone application expects the shift; do not align.
int32_t video_streamer(WorkItem* item, TransferContext* context);

}  // namespace media
