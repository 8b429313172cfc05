#include "flightlink/actions/link_quality.h"

#include <cstdint>

#include "base/mutex.h"
#include "camera/commands.h"
#include "camera/settings_table.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

constexpr int kGoodFramesNeeded = 6;
constexpr int kPoorFramesNeeded = 6;

struct FrameCounts {
  base::Mutex lock;  // a leaf: one count
  int good GUARDED_BY(lock);
  int poor GUARDED_BY(lock);
};

FrameCounts counts{};

int set_rate(double factor) {
  const double rate = camera::cam_get_stream_bitrate() * factor;
  return camera::cam_set_stream_bitrate(base::saturate<int32_t>(rate));
}

// Percent of the frames that arrived.
int64_t arrival_rate(const CommandLong& command) {
  const int64_t sent = parameter(command.param[0]);
  const int64_t arrived = parameter(command.param[6]);
  return sent == 0 ? 0 : arrived * 100 / sent;
}

int count_good_frame() {
  const base::Lock lock(counts.lock);
  if (counts.good < INT32_MAX) counts.good++;
  return counts.good;
}

void forget_good_frames() {
  const base::Lock lock(counts.lock);
  counts.good = 0;
}

// Whether it is the last one of so many, after which they are counted anew.
bool count_poor_frame() {
  const base::Lock lock(counts.lock);
  counts.poor = (counts.poor + 1) % kPoorFramesNeeded;
  return counts.poor == 0;
}

// The counter is not reset: each further good frame repeats the setting.
int good_frame() {
  const int now = count_good_frame();
  if (now < kGoodFramesNeeded) return 0;
  return set_rate(now <= 10 ? 1.0 : now <= 20 ? 1.5 : 1.7);
}

uint32_t loss_score(const CommandLong& command) {
  constexpr double kWeights[] = {0.8, 0.6, 0.3, 0.1, 0.1};
  double score = 0;
  for (size_t i = 0; i < 5; i++) score += kWeights[i] * parameter(command.param[i + 1]);
  return base::saturate<uint32_t>(score);
}

}  // namespace

int link_quality_control(const CommandLong& command) {
  if (get_throttle_flag() != 0) return 0;
  if (arrival_rate(command) == 100) return good_frame();
  forget_good_frames();
  const uint32_t score = loss_score(command);
  if (score >= 11) return set_rate(score <= 25 ? 0.6 : score <= 100 ? 0.4 : 0.2);
  return count_poor_frame() ? set_rate(0.8) : 0;
}

}  // namespace flightlink
