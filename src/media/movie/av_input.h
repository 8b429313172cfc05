// Opening files with libavformat, and what the users of an input share.
#pragma once

#include "media/movie/av_owners.h"

namespace media {

// Opens the file and reads its header, but not its streams. Only plain files are opened: neither a
// name with a protocol in front nor a file that names other places makes it connect anywhere.
// Returns 0 with the input, or a negative error of libavformat.
[[nodiscard]] int open_av_file(const char* path, OwnedInput& input);

// The first stream of type video; null when there is none. Belongs to the input.
[[nodiscard]] AVStream* first_video_stream(const AVFormatContext& input);

}  // namespace media
