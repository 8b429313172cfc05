// A small JPEG of a recording's first picture.
#pragma once

#include <cstdint>

namespace media {

// Decodes the first picture of the file's first video stream and writes it to `output` as a JPEG of
// exactly that size, in the picture's own chroma format with full range. Returns 0 when the video
// could be opened, whether or not there is a picture now: the caller looks whether `output` exists.
// -1 when the video cannot be opened, a path is null or a side is below 1.
//
// `output` appears whole or not at all: a file that was there stays as it was after every failure
// (no video, nothing that decodes, a picture that a JPEG cannot hold, a disk that is full). Any
// thread may call; the work is done on the caller's thread.
int32_t video_thumbnail(const char* video, const char* output, int32_t width, int32_t height);

}  // namespace media
