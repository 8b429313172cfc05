// Whole datagrams into a channel: mavlink_frame_parse_some and _all against the byte-at-a-time parser.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "flightlink/frame/mavlink_frame.h"
#include "flightlink/frame/message_head.h"

namespace flightlink {
namespace {

Bytes wire_of(const MavlinkMessage& message) {
  Bytes wire(kMavlinkMaxFrame);
  wire.resize(mavlink_frame_to_buffer(wire.data(), &message));
  return wire;
}

// Good frames of every length, damaged ones, cut ones and noise.
Bytes mixed_stream(std::mt19937& random) {
  Bytes stream;
  for (int i = 0; i < 400; i++) {
    MavlinkMessage message{};
    message.msgid = static_cast<uint8_t>(random());
    for (uint8_t& byte : message.payload)
      byte = static_cast<uint8_t>(random() % 64 == 0 ? 0xFE : random());
    const auto length = static_cast<uint8_t>(random() % 3 == 0 ? random() % 4 : random());
    mavlink_frame_seal(&message, 36, static_cast<uint8_t>(i), length,
                       mavlink_crc_extra(message.msgid));
    Bytes wire = wire_of(message);
    if (random() % 16 == 0) wire[random() % wire.size()] ^= 0x10;
    if (random() % 32 == 0) wire.resize(random() % wire.size());
    stream.insert(stream.end(), wire.begin(), wire.end());
  }
  return stream;
}

std::vector<Bytes> frames_byte_by_byte(const Bytes& stream) {
  MavlinkParser parser{};
  MavlinkMessage message{};
  MavlinkParseStatus status{};
  std::vector<Bytes> frames;
  for (const uint8_t byte : stream) {
    if (mavlink_parser_feed(&parser, byte, &message, &status) == 1)
      frames.push_back(wire_of(message));
  }
  return frames;
}

TEST(MavlinkStream, DatagramsOfAnySizeGiveTheFramesOfTheirBytes) {
  in_fresh_process([] {
    std::mt19937 random(1);
    for (int channel = 0; channel < kMavlinkChannels; channel++) {
      const Bytes stream = mixed_stream(random);
      std::vector<Bytes> frames;
      for (std::span<const uint8_t> rest(stream); !rest.empty();) {
        const size_t size = std::min<size_t>(random() % 600, rest.size());
        mavlink_frame_parse_all(channel, rest.first(size), [&](const MavlinkMessage* message) {
          frames.push_back(wire_of(*message));
        });
        rest = rest.subspan(size);
      }
      EXPECT_GT(frames.size(), 150U) << channel;
      EXPECT_EQ(frames, frames_byte_by_byte(stream)) << channel;
    }
  });
}

TEST(MavlinkStream, TakesBytesUpToTheOneThatEndsAGoodFrame) {
  in_fresh_process([] {
    const Bytes two = hex(std::string("00 ") + kFrame0 + kFrame1);
    MavlinkMessage message{};
    bool ended = false;
    EXPECT_EQ(mavlink_frame_parse_some(0, two, &message, &ended), 12U);
    EXPECT_TRUE(ended);
    EXPECT_EQ(message.seq, 0);
    EXPECT_EQ(mavlink_frame_parse_some(0, std::span(two).subspan(12, 10), &message, &ended), 10U);
    EXPECT_FALSE(ended);
    EXPECT_EQ(mavlink_frame_parse_some(0, std::span(two).subspan(22), &message, &ended), 1U);
    EXPECT_TRUE(ended);
    EXPECT_EQ(message.seq, 1);
  });
}

TEST(MavlinkStream, AChannelOutsideTakesAllAndEndsNothing) {
  const Bytes bytes = hex(kFrame0);
  MavlinkMessage message{};
  for (const int channel : {-1, 16, 1000}) {
    bool ended = true;
    EXPECT_EQ(mavlink_frame_parse_some(channel, bytes, &message, &ended), bytes.size());
    EXPECT_FALSE(ended);
  }
}

TEST(MavlinkStream, TwoThreadsAreGivenWholeFramesOnly) {
  in_fresh_process([] {
    const auto reader = [] {
      Bytes stream;
      for (int i = 0; i < 50; i++) {
        for (const uint8_t byte : hex(kFrame0)) stream.push_back(byte);
      }
      for (int i = 0; i < 200; i++) {
        mavlink_frame_parse_all(MAVLINK_CHANNEL_APP, stream, [](const MavlinkMessage* message) {
          EXPECT_EQ(message->checksum,
                    message->payload[message->len] | (message->payload[message->len + 1] << 8));
        });
      }
    };
    std::thread udp(reader);
    std::thread tcp(reader);
    udp.join();
    tcp.join();
  });
}

}  // namespace
}  // namespace flightlink
