#include "media/movie/duration.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "media/movie/av_input.h"

namespace media {
namespace {

constexpr int64_t kRoundUs = 5000;

int whole_seconds(int64_t us) {
  if (us <= std::numeric_limits<int64_t>::max() - kRoundUs) us += kRoundUs;
  const int64_t seconds = us / AV_TIME_BASE;
  return static_cast<int>(std::clamp<int64_t>(seconds, std::numeric_limits<int>::min(),
                                              std::numeric_limits<int>::max()));
}

}  // namespace

int32_t media_video_duration(const char* path, char* destination, size_t size) {
  if (path == nullptr || destination == nullptr || size == 0) return -1;
  OwnedInput input;
  const int result = open_av_file(path, input);
  if (result < 0) return result;
  if (input->duration != AV_NOPTS_VALUE) {
    std::snprintf(destination, size, "%d", whole_seconds(input->duration));
  }
  return 0;
}

}  // namespace media
