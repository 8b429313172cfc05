// What the remux job is told and what it reports.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

namespace media {

inline constexpr uint32_t kRemuxDefaultFps = 30;

enum RemuxState : uint32_t {
  kRemuxStarted = 1,
  kRemuxWriting = 2,  // the header is written
  kRemuxWaiting = 3,  // a second of packets without a key frame has passed; repeated
  kRemuxFinished = 4,
  kRemuxFailed = 5,
};

// Plain words are relaxed atomics. `path` and `on_state` are set by remux_start; they may be
// changed only while no job runs.
struct RemuxJob {
  char path[200];
  std::atomic<uint32_t> fps;  // of the packets, set by who starts the job; 0 counts as 30
  pthread_t thread;
  std::atomic<uint32_t> stop;   // 1: asked to end, or ended
  std::atomic<uint32_t> state;  // last one reported
  void (*on_state)(uint32_t state);
};

// The one instance.
extern RemuxJob remux_job;

// Keeps the state and tells on_state. The job's thread, or another while no job runs.
void remux_report(uint32_t state);

}  // namespace media
