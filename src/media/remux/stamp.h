// The time stamps of the packets that the remux job writes: made from their number alone, since
// what was pushed has none.
#pragma once

#include "base/bytes.h"
#include "media/movie/av_owners.h"

namespace media {

// Stamps the packet that is written as number `index`, counted from 0. `fps` is not 0.
inline void remux_stamp(AVPacket& packet, int64_t index, uint32_t fps, AVRational input,
                        AVRational output) {
  const int64_t frame_us = 1000000 / fps;
  const double tick_us = av_q2d(input) * 1000000;
  const auto pts =
      base::saturate<int64_t>(static_cast<double>(frame_us) * static_cast<double>(index) / tick_us);
  const auto duration = base::saturate<int64_t>(static_cast<double>(frame_us) / tick_us);
  packet.pts = av_rescale_q_rnd(pts, input, output,
                                static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
  packet.dts = packet.pts;
  packet.duration = av_rescale_q(duration, input, output);
  packet.pos = -1;
}

}  // namespace media
