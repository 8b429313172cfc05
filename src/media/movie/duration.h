// How long a recording is.
#pragma once

#include <cstddef>
#include <cstdint>

namespace media {

// Writes the duration that the file's container reports, in whole seconds with "%d", cut to `size`
// bytes with the terminator. Half a second counts as nothing, 5 ms below the next second as that
// second. Without a duration (a photo) `destination` stays as it was. Returns 0; a negative error
// of libavformat when the file cannot be opened; -1 when an argument is null or `size` is 0. Reads
// the file's header only. Any thread.
int32_t media_video_duration(const char* path, char* destination, size_t size);

}  // namespace media
