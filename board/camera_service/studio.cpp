#include "camera_service/studio.h"

#include <cerrno>
#include <cstdio>
#include <span>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "camera_service/jpeg.h"
#include "camera_service/member_thread.h"

namespace camera_service {
namespace {

constexpr int kSensorNoise = 7;

// How a picture is stored.
struct Format {
  int width, height;
  int quality;  // of the JPEG
};
constexpr Format kPhoto{4000, 3000, 90};
constexpr Format kThumbnail{160, 120, 80};

PhotoResult write_file(const std::string& path, std::span<const uint8_t> bytes) {
  base::File file(std::fopen(path.c_str(), "wbe"));
  if (!file) return PhotoResult::kFailed;
  errno = 0;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  if (written && std::fclose(file.release()) == 0) return PhotoResult::kOk;
  return errno == ENOSPC ? PhotoResult::kNoSpace : PhotoResult::kFailed;
}

void paint_target(const Canvas& canvas, const Studio::Job& job) {
  const int cell = 24;
  const int x = 200 + job.number * 370 % (kPhoto.width - 800);
  const int y = kPhoto.height * 2 / 5 + job.number * 230 % (kPhoto.height / 3);
  paint_rectangle(canvas, x, y, 400, 400, kWhite);
  paint_rectangle(canvas, x + 60, y + 60, 280, 280, kRed);
  paint_rectangle(canvas, x + 140, y + 140, 120, 120, kWhite);
  paint_rectangle(canvas, 100, 100, static_cast<int>(job.caption.size() + 1) * 4 * cell, 7 * cell,
                  kBlack);
  paint_text(canvas, 100 + 2 * cell, 100 + cell, cell, job.caption, kWhite);
}

}  // namespace

Studio::Studio() { thread_ = start_member_thread<&Studio::run>(this, "studio thread"); }

Studio::~Studio() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_one();
  ::pthread_join(thread_, nullptr);
}

void Studio::take(Job job, Done done) {
  {
    const std::lock_guard lock(mutex_);
    jobs_.emplace_back(std::move(job), std::move(done));
  }
  wake_.notify_one();
}

// Default scheduling. Owns the two pictures; shares the queue under mutex_. Ends when the studio is
// destroyed.
void Studio::run() {
  Picture scene(kPhoto.width, kPhoto.height);
  Picture photo(kPhoto.width, kPhoto.height);
  paint_landscape(scene.canvas(), kSensorNoise);
  while (true) {
    std::unique_lock lock(mutex_);
    wake_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
    if (ending_) return;
    auto [job, done] = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    done(expose(job, scene, photo));
  }
}

PhotoResult Studio::expose(Job& job, Picture& scene, Picture& photo) const {
  const Canvas canvas = photo.canvas();
  copy_canvas(scene.canvas(), canvas);
  paint_target(canvas, job);
  Picture small = shrink(canvas, kThumbnail.width, kThumbnail.height);
  const std::vector<uint8_t> thumbnail = encode_jpeg(small.canvas(), kThumbnail.quality);
  const std::vector<uint8_t> jpeg = encode_jpeg(canvas, kPhoto.quality);
  if (jpeg.empty() || thumbnail.empty()) return PhotoResult::kFailed;
  job.fields.width = kPhoto.width;
  job.fields.height = kPhoto.height;
  PhotoResult result =
      write_file(job.working_path, with_app1(jpeg, exif_block(job.mode, job.fields, thumbnail)));
  if (result == PhotoResult::kOk &&
      std::rename(job.working_path.c_str(), job.complete_path.c_str()) != 0)
    result = PhotoResult::kFailed;
  if (result != PhotoResult::kOk) std::remove(job.working_path.c_str());
  return result;
}

}  // namespace camera_service
