#include "media/movie/av_messages.h"

#include <cstdarg>
#include <cstdio>

namespace media {
namespace {

thread_local bool dumping = false;

// libavutil's callback for every message, of any thread.
void take_message(void* sender, int level, const char* format, va_list arguments) {
  if (dumping && level <= AV_LOG_INFO) {
    std::vfprintf(stderr, format, arguments);
  } else {
    av_log_default_callback(sender, level, format, arguments);
  }
}

}  // namespace

void quiet_av_messages() {
  av_log_set_level(AV_LOG_FATAL);
  av_log_set_callback(take_message);
}

void dump_av_output(AVFormatContext& output, const char* path) {
  dumping = true;
  av_dump_format(&output, 0, path, 1);
  dumping = false;
}

}  // namespace media
