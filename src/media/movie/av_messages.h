// What FFmpeg's libraries say on standard error.
#pragma once

#include "media/movie/av_owners.h"

namespace media {

// Until now the libraries have said everything from AV_LOG_INFO on; from now on, in the whole
// process, only what is fatal and the dump below. Once at start-up.
void quiet_av_messages();

// Prints the format dump of an output whose bytes go to `path`. A message of the level AV_LOG_INFO,
// which is printed even when the libraries are quiet: their level belongs to all threads and stays
// as it is. Any thread.
void dump_av_output(AVFormatContext& output, const char* path);

}  // namespace media
