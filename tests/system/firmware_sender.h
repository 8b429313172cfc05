// The application's end of a firmware update: announces an image, starts the transfer and sends
// what is asked for.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "support/child_process.h"
#include "support/fixtures.h"

namespace support {

// What md5sum says.
inline std::string md5_of(const std::string& path) {
  return run_command({"md5sum", path}).output.substr(0, 32);
}

// Bytes without a pattern, the same ones each time.
inline Bytes firmware_image(size_t size) {
  Bytes bytes(size);
  uint32_t state = 20200101;
  for (auto& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(state >> 24);
  }
  return bytes;
}

inline bool is_firmware_report(const Frame& frame) {
  return frame.id == 76 && frame.system == 36 && frame.u16(28) == 4;
}

class FirmwareSender {
 public:
  FirmwareSender(PeerLink& peer, Bytes image) : peer_(peer), image_(std::move(image)) {
    write_file("/tmp/sent_image", {reinterpret_cast<const char*>(image_.data()), image_.size()});
    md5_ = md5_of("/tmp/sent_image");
  }

  [[nodiscard]] std::string content() const { return {image_.begin(), image_.end()}; }
  void claim_md5(std::string md5) { md5_ = std::move(md5); }

  // Each returns the answer's confirmation; nothing when none came.
  std::optional<int> announce(std::optional<float> size = {}) {
    Frame frame = command_long(
        {.command = 4, .param1 = size.value_or(static_cast<float>(image_.size()))}, 0x48);
    frame.payload[30] = 1;
    return answer_to(std::move(frame), 1);
  }
  std::optional<int> start_again() { return answer_to(start_frame(), 3); }

  void start() {
    mark_ = peer_.mark();
    peer_.send(start_frame());
  }

  // Index and bytes of a chunk; beyond the image a chunk has none.
  void send_chunk(uint32_t index) {
    const size_t from = std::min(image_.size(), size_t{index} * 240);
    const size_t size = std::min<size_t>(240, image_.size() - from);
    Bytes payload(254);
    payload[0] = 2;
    payload[1] = static_cast<uint8_t>(size + 4);
    payload[2] = 4;
    for (size_t i = 0; i < 4; i++) payload[3 + i] = static_cast<uint8_t>(index >> (24 - 8 * i));
    std::copy_n(image_.data() + from, size, payload.data() + 7);
    peer_.send(message(110, std::move(payload)));
    chunks_sent_++;
  }

  // Sends what is asked for until the final report, whose confirmation it returns; nothing when the
  // time is over. `lose` is asked for each index whether that chunk gets lost.
  std::optional<int> serve(
      milliseconds limit,
      const std::function<bool(uint32_t)>& lose = [](uint32_t) { return false; }) {
    const Time end = Clock::now() + limit * kSlowdown;
    while (Clock::now() < end) {
      const auto frames = peer_.frames(mark_);
      mark_ += frames.size();
      for (const Frame& frame : frames) {
        if (!is_firmware_report(frame)) continue;
        if (frame.u8(30) == 3) return frame.u8(32);
        if (frame.u8(30) != 2) continue;
        count(frame);
        for (size_t i = 0; i < 7; i++) {
          const float slot = frame.f32(4 * i);
          if (slot < 4294967296.0F && !lose(static_cast<uint32_t>(slot))) {
            send_chunk(static_cast<uint32_t>(slot));
          }
        }
      }
      let_pass(milliseconds(1));
    }
    return std::nullopt;
  }

  // Reports with seven indices, and rounds of requests: within one the indices only rise.
  [[nodiscard]] size_t full_reports() const { return full_reports_; }
  [[nodiscard]] size_t rounds() const { return rounds_; }
  [[nodiscard]] size_t chunks_sent() const { return chunks_sent_; }

 private:
  [[nodiscard]] Frame start_frame() const {
    Bytes payload(254);
    payload[0] = 3;
    payload[1] = static_cast<uint8_t>(md5_.size());
    payload[2] = 4;
    std::copy(md5_.begin(), md5_.end(), payload.begin() + 3);
    return message(110, std::move(payload));
  }
  std::optional<int> answer_to(Frame frame, uint8_t state) {
    const size_t mark = peer_.mark();
    peer_.send(std::move(frame));
    const auto answer = peer_.wait_for(
        [state](const Frame& f) { return is_firmware_report(f) && f.u8(30) == state; }, seconds(5),
        mark);
    mark_ = peer_.mark();
    if (!answer) return std::nullopt;
    return answer->u8(32);
  }

  void count(const Frame& report) {
    if (report.f32(0) <= last_index_) rounds_++;
    if (report.f32(24) < 4294967296.0F) full_reports_++;
    for (size_t i = 0; i < 7 && report.f32(4 * i) < 4294967296.0F; i++) {
      last_index_ = report.f32(4 * i);
    }
  }

  PeerLink& peer_;
  Bytes image_;
  std::string md5_;
  size_t mark_ = 0;
  size_t full_reports_ = 0;
  size_t rounds_ = 0;
  float last_index_ = 4294967296.0F;
  size_t chunks_sent_ = 0;
};

}  // namespace support
