// Writes an MP4 file (ISO/IEC 14496-12) with one H.264 track, on FFmpeg. One thread at a time.
#pragma once

#include <memory>
#include <string>

#include "camera_service/picture.h"

namespace camera_service {

class Mp4Writer {
 public:
  static constexpr int kWidth = 1280;
  static constexpr int kHeight = 720;
  static constexpr int kFramesPerSecond = 30;
  static constexpr int kKeyFrameDistance = 15;

  // Creates the file. Check good().
  explicit Mp4Writer(const std::string& path);
  // Without close() the file stays incomplete and cannot be played.
  ~Mp4Writer();
  Mp4Writer(const Mp4Writer&) = delete;
  Mp4Writer& operator=(const Mp4Writer&) = delete;

  // False once anything has failed; nothing more is written then.
  [[nodiscard]] bool good() const;
  // The frame to paint next; only valid while good(), until write_frame().
  [[nodiscard]] Canvas frame();
  // Encodes the painted frame and writes what the encoder gives.
  void write_frame();
  // Writes what is left and the index. False when the file is not complete.
  [[nodiscard]] bool close();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace camera_service
