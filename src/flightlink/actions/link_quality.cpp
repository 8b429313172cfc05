#include "flightlink/actions/link_quality.h"

#include <atomic>

#include "camera/commands.h"
#include "camera/settings_table.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

constexpr int kGoodFramesNeeded = 6;
constexpr int kPoorFramesNeeded = 6;

std::atomic<int> good_frames;
std::atomic<int> poor_frames;

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

// The counter is not reset: each further good frame repeats the setting.
int good_frame() {
  const int count = good_frames.load(std::memory_order_relaxed);
  const int now = count < INT32_MAX ? count + 1 : count;
  good_frames.store(now, std::memory_order_relaxed);
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
  good_frames.store(0, std::memory_order_relaxed);
  const uint32_t score = loss_score(command);
  if (score >= 11) return set_rate(score <= 25 ? 0.6 : score <= 100 ? 0.4 : 0.2);
  const int poor = poor_frames.load(std::memory_order_relaxed) + 1;
  poor_frames.store(poor % kPoorFramesNeeded, std::memory_order_relaxed);
  return poor == kPoorFramesNeeded ? set_rate(0.8) : 0;
}

}  // namespace flightlink
