#include "groundstation/media/playback.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace groundstation {
namespace {

using Bytes = std::vector<uint8_t>;

// A frame of `size` bytes with its start code; no byte of it is 0.
Bytes frame(size_t size, uint8_t type = 0x41) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; i++) bytes[i] = static_cast<uint8_t>(1 + i % 200);
  std::fill_n(bytes.begin(), 3, uint8_t{0});
  bytes[3] = 1;
  bytes[4] = type;
  return bytes;
}

struct Player {
  Bytes written;
  bool refuse = false;
  PlaybackStream stream{[this](std::span<const uint8_t> bytes) {
    written.insert(written.end(), bytes.begin(), bytes.end());
    return !refuse;
  }};

  // Sends a frame as the camera does.
  void send(const Bytes& frame, int leave_out = -1) {
    if (frame.size() < 8182) {
      EXPECT_TRUE(stream.feed(frame));
      return;
    }
    Bytes slot{3};
    slot.insert(slot.end(), frame.begin(), frame.end() - 1);
    int piece = 0;
    for (size_t at = 0; at < slot.size(); at += 8181, piece++) {
      if (piece == leave_out) continue;
      EXPECT_TRUE(stream.feed({slot.data() + at, std::min<size_t>(8181, slot.size() - at)}));
    }
  }
};

const Bytes kSets{0, 0, 0, 1, 0x67, 1, 2, 0, 0, 0, 1, 0x68, 3};

TEST(PlaybackStream, ShortFramesAreAsTheyAre) {
  Player player;
  player.send(kSets);
  player.send(frame(8181, 0x65));
  player.send(frame(100));
  player.stream.finish();
  Bytes expected = kSets;
  for (const Bytes& next : {frame(8181, 0x65), frame(100)}) {
    expected.insert(expected.end(), next.begin(), next.end());
  }
  EXPECT_EQ(player.written, expected);
  EXPECT_EQ(player.stream.figures().pictures, 2U);
  EXPECT_EQ(player.stream.figures().parameter_sets, 1U);
  EXPECT_TRUE(player.stream.missing().empty());
}

TEST(PlaybackStream, LongFramesLackOnlyTheirLastByte) {
  for (const size_t size : {8182, 9000, 16361, 16362, 16363, 50'000}) {
    Player player;
    player.send(kSets);
    player.send(frame(size, 0x65));
    player.send(frame(50));
    player.stream.finish();
    Bytes expected = kSets;
    const Bytes whole = frame(size, 0x65);
    expected.insert(expected.end(), whole.begin(), whole.end() - 1);
    const size_t missing_at = expected.size();
    const Bytes last = frame(50);
    expected.insert(expected.end(), last.begin(), last.end());
    EXPECT_EQ(player.written, expected) << size;
    ASSERT_EQ(player.stream.missing().size(), 1U) << size;
    EXPECT_EQ(player.stream.missing()[0].picture, 1U);
    EXPECT_EQ(player.stream.missing()[0].at, missing_at);
    EXPECT_EQ(player.stream.figures().pictures, 2U);
  }
}

TEST(PlaybackStream, FinishClosesAFrameOfWholePieces) {
  Player player;
  player.send(frame(16362));
  EXPECT_TRUE(player.stream.missing().empty());
  player.stream.finish();
  ASSERT_EQ(player.stream.missing().size(), 1U);
  EXPECT_EQ(player.stream.missing()[0].at, 16361U);
}

TEST(PlaybackStream, PiecesWithoutABeginningAreLeftOut) {
  Player player;
  player.send(kSets);
  player.send(frame(20'000), 0);
  player.send(frame(60));
  EXPECT_EQ(player.written.size(), kSets.size() + 60);
  EXPECT_EQ(player.stream.figures().stray, 2U);
}

TEST(PlaybackStream, AWriterThatRefusesIsReported) {
  Player player;
  player.refuse = true;
  EXPECT_FALSE(player.stream.feed(kSets));
}

TEST(PlaybackStream, EmptyAndTinyDatagramsAreStray) {
  Player player;
  EXPECT_TRUE(player.stream.feed({}));
  EXPECT_TRUE(player.stream.feed(Bytes{0, 0, 0, 1}));
  EXPECT_TRUE(player.stream.feed(Bytes{3}));
  EXPECT_EQ(player.stream.figures().stray, 3U);
  EXPECT_TRUE(player.written.empty());
}

}  // namespace
}  // namespace groundstation
