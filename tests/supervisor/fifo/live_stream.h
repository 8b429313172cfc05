// A live stream out of the recording fakes: one video and one audio track with rings of their own,
// and the reader attached to both.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fake_base/fake_base.h"
#include "supervisor/fifo/fake_amba_net_fifo.h"
#include "supervisor/fifo/reader.h"

namespace live_test {

using Bytes = std::vector<uint8_t>;
using Calls = std::vector<std::string>;

inline constexpr uint32_t kVideoRing = 1000;
inline constexpr uint32_t kAudioRing = 140000;

// Ring bytes: position modulo 251, so that every piece tells where it comes from.
extern uint8_t video_ring[kVideoRing];
extern uint8_t audio_ring[kAudioRing];

// The audio copy buffer of the cycle: the last block of its size that was allocated.
uint8_t* audio_copy();

// Everything as at the start of a cycle, with the media of the usual stream but nothing attached.
class LiveCycle : public fake_base::FakeBaseTest {
 protected:
  LiveCycle();
  ~LiveCycle() override;

  // Calls of the library since the last look.
  static Calls calls();
  // What has been pushed into the live frame list, oldest first.
  static std::vector<Bytes> pieces();
};

// The same with both readers attached and the indicator, the calls and the sleeps forgotten.
class LiveStream : public LiveCycle {
 protected:
  LiveStream();

  // Puts an entry into the FIFO and announces it.
  static void announce_video(uint8_t type, uint64_t address, uint32_t size);
  static void announce_audio(uint8_t type, uint64_t address, uint32_t size, uint64_t stamp = 0);

  static uint64_t video_at(uint32_t offset) {
    return reinterpret_cast<uint64_t>(video_ring) + offset;
  }
  static uint64_t audio_at(uint32_t offset) {
    return reinterpret_cast<uint64_t>(audio_ring) + offset;
  }
  static Bytes video_bytes(uint32_t offset, uint32_t size) {
    return {video_ring + offset, video_ring + offset + size};
  }
};

}  // namespace live_test

namespace supervisor {

using live_test::Calls;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

}  // namespace supervisor
