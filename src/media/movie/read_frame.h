// Length-prefixed H.264 frames become frames with a start code.
#pragma once

#include <cstdint>
#include <cstdio>

namespace media {

// Bytes that mov_read_frame may write behind `size` of its buffer.
inline constexpr uint32_t kMovFrameSlack = 8;

// Reads the next frame at the file's position: a big-endian length of `prefix_size` bytes, 1 to 4,
// and that many bytes, which follow the start code 00 00 00 01 in the buffer. `*remaining` are the
// bytes that are left in the run of frames; it drops by what was taken, and bounds the read. The
// buffer has to be kMovFrameSlack bytes larger than `size`, because a length of up to size + 4 is
// deliberately accepted.
//
// Returns the bytes in the buffer, start code included. -1 for a null argument, for a run that
// holds no more than a prefix, when the prefix cannot be read, for a longer frame ("frame size too
// large:%u, buff size:%u\n"), and when nothing follows the prefix ("frame read error %d\n").
int64_t mov_read_frame(uint8_t* buffer, uint32_t size, uint64_t* remaining, uint32_t prefix_size,
                       std::FILE* file);

}  // namespace media
