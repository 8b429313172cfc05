#include "camera_service/recorder.h"

#include <fmt/core.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "camera_service/card.h"
#include "camera_service/member_thread.h"
#include "camera_service/mp4_writer.h"
#include "camera_service/picture.h"

namespace camera_service {
namespace {

// Kept free on the card, so that the index of the file always fits.
constexpr uint64_t kReservedBytes = 4U << 20;
constexpr int kSpaceCheckFrames = 15;
constexpr int kMostOwedFrames = 300;
constexpr uint64_t kFrameUs = 1'000'000 / Mp4Writer::kFramesPerSecond;
constexpr int kNoiseTop = 216;
constexpr int kNoiseRows = 504;
constexpr int kNoiseLevels = 16;

}  // namespace

// What is painted on every frame: the landscape, a running counter, an orbiting target and a band
// of noise that no prediction can compress, so that the file grows as fast as a camera's.
class Recorder::Scene {
 public:
  Scene() : background_(Mp4Writer::kWidth, Mp4Writer::kHeight), noise_(1 << 20) {
    paint_landscape(background_.canvas(), 3);
    Noise source(77);
    for (uint8_t& level : noise_) level = static_cast<uint8_t>(120 + source.next() % kNoiseLevels);
  }

  void paint(const Canvas& frame, int number) {
    copy_canvas(background_.canvas(), frame);
    for (int row = 0; row < kNoiseRows; row++) {
      const size_t from = (source_.next() >> 8) % (noise_.size() - Mp4Writer::kWidth);
      std::memcpy(frame.plane[0] + static_cast<std::ptrdiff_t>(kNoiseTop + row) * frame.stride[0],
                  noise_.data() + from, Mp4Writer::kWidth);
    }
    const double angle = number * 0.07;
    const int x = Mp4Writer::kWidth / 2 + static_cast<int>(400 * std::cos(angle));
    const int y = Mp4Writer::kHeight / 2 + static_cast<int>(220 * std::sin(angle));
    paint_rectangle(frame, x - 50, y - 50, 100, 100, kWhite);
    paint_rectangle(frame, x - 30, y - 30, 60, 60, kRed);
    const int seconds = number / Mp4Writer::kFramesPerSecond;
    const std::string text =
        fmt::format("REC {:02}:{:02} F{:06}", seconds / 60, seconds % 60, number);
    paint_rectangle(frame, 30, 30, static_cast<int>(text.size()) * 40 + 30, 80, kBlack);
    paint_text(frame, 50, 46, 10, text, kWhite);
  }

 private:
  Picture background_;
  std::vector<uint8_t> noise_;
  Noise source_{4711};
};

Recorder::Recorder(std::string path, Events events)
    : path_(std::move(path)), events_(std::move(events)) {
  thread_ = start_member_thread<&Recorder::run>(this, "recorder thread");
}

Recorder::~Recorder() {
  stop();
  ::pthread_join(thread_, nullptr);
}

void Recorder::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
}

// Default scheduling. Owns the writer and the scene; shares stopping_ under mutex_. Ends after
// stop(), on a full card, or on an error.
void Recorder::run() {
  Scene scene;
  Mp4Writer writer(path_);
  const uint64_t begin = base::monotonic_us();
  events_.started(writer.good());
  if (writer.good()) events_.finished(record(writer, scene, begin));
}

RecordResult Recorder::record(Mp4Writer& writer, Scene& scene, uint64_t begin_us) {
  int frames = 0;
  bool no_space = false;
  const auto due = [&] { return begin_us + static_cast<uint64_t>(frames) * kFrameUs; };
  const auto add_frame = [&] {
    scene.paint(writer.frame(), frames);
    writer.write_frame();
    frames++;
    no_space = frames % kSpaceCheckFrames == 0 && free_bytes(path_) < kReservedBytes;
  };
  while (writer.good() && !no_space && !stopped_before(due())) add_frame();
  // Frames that a busy machine still owes, so that the length of the video is the real one.
  const uint64_t end = base::monotonic_us();
  for (int i = 0; i < kMostOwedFrames && due() < end && writer.good() && !no_space; i++)
    add_frame();
  if (!writer.close()) return RecordResult::kFailed;
  return no_space ? RecordResult::kNoSpace : RecordResult::kComplete;
}

bool Recorder::stopped_before(uint64_t due_us) {
  const uint64_t now = base::monotonic_us();
  const std::chrono::microseconds pause(due_us > now ? due_us - now : 0);
  std::unique_lock lock(mutex_);
  return wake_.wait_for(lock, pause, [this] { return stopping_; });
}

}  // namespace camera_service
