// Takes photos: paints the scene, encodes it, and writes it to the card, on a thread of its own so
// that the command server always answers.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "camera_service/exif_block.h"
#include "camera_service/picture.h"

namespace camera_service {

enum class PhotoResult { kOk, kNoSpace, kFailed };

class Studio {
 public:
  struct Job {
    std::string working_path;   // where the photo is written
    std::string complete_path;  // and what it is renamed to when all of it is there
    std::string caption;        // painted into the photo
    int number;                 // moves the target in the photo
    ExifMode mode;
    ExifFields fields;  // width and height are filled in
  };
  // Called on the studio's thread. Unless the result is kOk, neither path exists.
  using Done = std::function<void(PhotoResult)>;

  // Starts the thread, which prepares the scene at once.
  Studio();
  // Finishes the photo that is being taken, gives up the waiting ones, and joins the thread.
  ~Studio();
  Studio(const Studio&) = delete;
  Studio& operator=(const Studio&) = delete;

  void take(Job job, Done done);

 private:
  void run();
  [[nodiscard]] PhotoResult expose(Job& job, Picture& scene, Picture& photo) const;

  std::mutex mutex_;  // guards jobs_ and ending_
  std::condition_variable wake_;
  std::deque<std::pair<Job, Done>> jobs_;
  bool ending_ = false;
  pthread_t thread_{};
};

}  // namespace camera_service
