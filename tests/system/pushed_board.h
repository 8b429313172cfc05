// The other board's end of a firmware push.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/fixtures.h"

namespace support {

// Plays the board that an image is pushed to.
class PushedBoard {
 public:
  PushedBoard(PeerLink& peer, uint8_t type) : peer_(peer), type_(type) {}

  // Receives the image, losing every seventh chunk of the first hundred; returns its bytes.
  Bytes receive(milliseconds limit = seconds(40)) {
    size_t mark = 0;
    const Time end = Clock::now() + limit * kSlowdown;
    while (Clock::now() < end && !(complete() && !md5.empty())) {
      const auto frames = peer_.frames(mark);
      mark += frames.size();
      for (const Frame& frame : frames) {
        if (frame.system == (type_ | 0x20)) take(frame);
      }
      if (!md5.empty()) request();
      let_pass(milliseconds(20));
    }
    if (!silent) report(3);
    Bytes image;
    for (const Bytes& chunk : chunks_) image.insert(image.end(), chunk.begin(), chunk.end());
    return image;
  }

  std::string md5;
  size_t starts = 0;
  bool silent = false;  // gives no verdict

 private:
  [[nodiscard]] bool complete() const {
    return !chunks_.empty() &&
           std::ranges::none_of(chunks_, [](const Bytes& chunk) { return chunk.empty(); });
  }
  void take(const Frame& frame) {
    if (frame.id == 76 && frame.u16(28) == 4 && frame.u8(30) == 1) {
      starts++;
      if (!chunks_.empty()) return;
      chunks_.resize((static_cast<size_t>(frame.f32(0)) + 239) / 240);
      report(1);
    } else if (frame.id == 110 && frame.u8(0) == 3) {
      md5.assign(frame.payload.begin() + 3, frame.payload.begin() + 3 + frame.u8(1));
    } else if (frame.id == 110 && frame.u8(0) == 2) {
      EXPECT_EQ(frame.u8(2), 8);
      const size_t index = frame.u8(5) * 256U + frame.u8(6);
      if (++taken_ <= 100 && taken_ % 7 == 0) return;
      ASSERT_LT(index, chunks_.size());
      chunks_[index].assign(frame.payload.begin() + 7, frame.payload.begin() + 3 + frame.u8(1));
    }
  }
  void request() {
    float slots[7];
    std::ranges::fill(slots, 4294967296.0F);
    size_t found = 0;
    for (size_t i = 0; i < chunks_.size() && found < 7; i++) {
      if (chunks_[i].empty()) slots[found++] = static_cast<float>(i);
    }
    if (found > 0) report(2, slots);
  }
  void report(uint8_t state, const float* slots = nullptr) {
    CommandLong command{.command = 4};
    if (slots != nullptr) {
      command = {.command = 4,
                 .param1 = slots[0],
                 .param2 = slots[1],
                 .param3 = slots[2],
                 .param4 = slots[3],
                 .param5 = slots[4],
                 .param6 = slots[5],
                 .param7 = slots[6]};
    }
    Frame frame = command_long(command, static_cast<uint8_t>(type_ << 4 | 8));
    frame.payload[30] = state;
    peer_.send(std::move(frame));
  }

  PeerLink& peer_;
  uint8_t type_;
  std::vector<Bytes> chunks_;
  int taken_ = 0;
};

}  // namespace support
