#include "media/movie/av_input.h"

#include <cerrno>
#include <climits>
#include <cstdio>

namespace media {

int open_av_file(const char* path, OwnedInput& input) {
  char url[PATH_MAX + 8];
  const int length = std::snprintf(url, sizeof(url), "file:%s", path);
  if (length < 0 || static_cast<size_t>(length) >= sizeof(url)) return AVERROR(ENAMETOOLONG);
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "file", 0);
  AVFormatContext* context = nullptr;
  const int result = avformat_open_input(&context, url, nullptr, &options);
  av_dict_free(&options);
  if (result < 0) return result;
  input.reset(context);
  return 0;
}

AVStream* first_video_stream(const AVFormatContext& input) {
  for (unsigned i = 0; i < input.nb_streams; i++) {
    if (input.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) return input.streams[i];
  }
  return nullptr;
}

}  // namespace media
