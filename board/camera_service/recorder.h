// One recording: paints and encodes frames in real time into an MP4 file, on a thread of its own.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "camera_service/mp4_writer.h"

namespace camera_service {

enum class RecordResult {
  kComplete,
  kNoSpace,  // complete as well, but ended by the recorder because the card is nearly full
  kFailed,   // the file is incomplete
};

class Recorder {
 public:
  // Both are called on the recorder's thread: `started` once, with whether the file could be
  // created; `finished` once after that, unless it could not.
  struct Events {
    std::function<void(bool created)> started;
    std::function<void(RecordResult result)> finished;
  };

  // Starts recording into that file. Throws std::system_error when no thread can be started.
  Recorder(std::string path, Events events);
  // Stops, and joins the thread.
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // Asks for the end and returns at once.
  void stop();

 private:
  class Scene;

  void run();
  // `begin_us` is the time of the first frame.
  [[nodiscard]] RecordResult record(Mp4Writer& writer, Scene& scene, uint64_t begin_us);
  // Waits until that time (monotonic us) or until stop(); true for stop().
  [[nodiscard]] bool stopped_before(uint64_t due_us);

  const std::string path_;
  const Events events_;
  std::mutex mutex_;  // guards stopping_
  std::condition_variable wake_;
  bool stopping_ = false;
  pthread_t thread_{};
};

}  // namespace camera_service
