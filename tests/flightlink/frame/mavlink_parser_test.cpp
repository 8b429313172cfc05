// The byte-at-a-time parser: states, snapshots, bad frames and the shared channel.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>

#include "flightlink/frame/mavlink_frame.h"
#include "flightlink/frame/message_head.h"
#include "support/patience.h"

namespace flightlink {
namespace {

class MavlinkParserTest : public ::testing::Test {
 protected:
  uint8_t feed(uint8_t byte) { return mavlink_parser_feed(&parser_, byte, &message_, &status_); }
  // How many good frames the bytes end.
  int feed_all(const std::string& text) {
    int frames = 0;
    for (const uint8_t byte : hex(text)) frames += feed(byte);
    return frames;
  }

  // What the last snapshot says: the sequence that is expected next, and the good frames so far.
  void expect_snapshot(int next_sequence, int frames) const {
    EXPECT_EQ(status_.current_rx_seq, next_sequence);
    EXPECT_EQ(status_.packet_rx_success_count, frames);
  }

  MavlinkParser parser_{};
  MavlinkMessage message_{};
  MavlinkParseStatus status_{};
};

TEST_F(MavlinkParserTest, WalksThroughTheStates) {
  const Bytes bytes = hex(kFrame0);
  const int states[] = {2, 4, 3, 5, 6, 7, 7, 7, 8, 9, 1};
  const int indices[] = {0, 0, 0, 0, 0, 0, 1, 2, 3, 3, 3};
  for (size_t i = 0; i < bytes.size(); i++) {
    EXPECT_EQ(feed(bytes[i]), i == 10 ? 1 : 0) << i;
    EXPECT_EQ(status_.parse_state, states[i]) << i;
    EXPECT_EQ(status_.packet_idx, indices[i]) << i;
    EXPECT_EQ(status_.packet_rx_success_count, i == 10 ? 1 : 0) << i;
  }
  EXPECT_EQ(head_of(message_), (Bytes{0xFE, 3, 0, 36, 0, 77}));
  EXPECT_EQ(message_.checksum, 0x3D85);
  EXPECT_EQ(Bytes(message_.payload, message_.payload + 5), hex("d1 07 00 85 3d"));
}

TEST_F(MavlinkParserTest, OutputIsLeftAloneUntilAFrameEnds) {
  message_.msgid = 0xEE;
  for (const uint8_t byte : hex("fe 03 00 24 00 4d d1 07 00 85")) {
    feed(byte);
    EXPECT_EQ(message_.msgid, 0xEE);
  }
  feed(0x3D);
  EXPECT_EQ(message_.msgid, 77);
}

TEST_F(MavlinkParserTest, SnapshotHoldsTheNextSequenceAndTheCount) {
  feed(0x00);
  EXPECT_EQ(status_.parse_state, 0);
  expect_snapshot(1, 0);
  EXPECT_EQ(feed_all(std::string(kFrame0) + kFrame1), 2);
  expect_snapshot(2, 2);
  EXPECT_EQ(feed_all("fe 03 ff 24 00 4d d1 07 00 ac cf"), 1);
  expect_snapshot(0, 3);
}

TEST_F(MavlinkParserTest, SnapshotLeavesTheOtherFieldsAlone) {
  status_.msg_received = 0xA1;
  status_.buffer_overrun = 0xA2;
  status_.parse_error = 0xA3;
  status_.current_tx_seq = 0xA4;
  EXPECT_EQ(feed_all(kFrame0), 1);
  EXPECT_EQ(status_.msg_received, 0xA1);
  EXPECT_EQ(status_.buffer_overrun, 0xA2);
  EXPECT_EQ(status_.parse_error, 0xA3);
  EXPECT_EQ(status_.current_tx_seq, 0xA4);
}

TEST_F(MavlinkParserTest, EveryByteGivesAWholeSnapshot) {
  EXPECT_EQ(feed_all(kFrame1), 1);
  for (const uint8_t byte : hex("55 fe 03 05 24 00 4d d1 07 00 00")) {
    status_.current_rx_seq = 99;
    status_.packet_rx_success_count = 99;
    status_.packet_rx_drop_count = 99;
    feed(byte);
    expect_snapshot(2, 1);
    EXPECT_EQ(status_.packet_rx_drop_count, 0);
  }
}

TEST_F(MavlinkParserTest, LengthZeroGoesStraightToTheChecksum) {
  EXPECT_EQ(feed_all("fe 00 05 01 00 00"), 0);
  EXPECT_EQ(status_.parse_state, 8);
  EXPECT_EQ(feed_all("0e 20"), 1);
  EXPECT_EQ(head_of(message_), (Bytes{0xFE, 0, 5, 1, 0, 0}));
  EXPECT_EQ(Bytes(message_.payload, message_.payload + 2), hex("0e 20"));
}

TEST_F(MavlinkParserTest, AnIdOutsideTheSetHasTheExtraZero) {
  EXPECT_EQ(feed_all("fe 00 05 01 00 03 f7 18"), 1);
  EXPECT_EQ(message_.msgid, 3);
}

TEST_F(MavlinkParserTest, Length255IsTakenWhole) {
  EXPECT_EQ(feed_all("fe ff 07 02 00 6e"), 0);
  for (int i = 0; i < 254; i++) EXPECT_EQ(feed(static_cast<uint8_t>(i)), 0);
  EXPECT_EQ(status_.parse_state, 7);
  EXPECT_EQ(status_.packet_idx, 254);
  feed(254);
  EXPECT_EQ(status_.parse_state, 8);
  EXPECT_EQ(status_.packet_idx, 255);
  EXPECT_EQ(feed_all("21 35"), 1);
  EXPECT_EQ(message_.len, 255);
  EXPECT_EQ(message_.payload[254], 254);
  EXPECT_EQ(message_.payload[255], 0x21);
  EXPECT_EQ(message_.payload[256], 0x35);
  EXPECT_EQ(feed_all(kFrame0), 1);
}

TEST_F(MavlinkParserTest, AnyLengthIsAcceptedForAnyId) {
  EXPECT_EQ(feed_all("fe 01 00 24 00 4c 80 03 96"), 1);
  EXPECT_EQ(message_.msgid, 76);
  EXPECT_EQ(message_.len, 1);
}

TEST_F(MavlinkParserTest, NoiseBeforeTheStartIsSkippedWithoutErrors) {
  for (int byte = 0; byte < 0xFE; byte++) {
    EXPECT_EQ(feed(static_cast<uint8_t>(byte)), 0);
    EXPECT_EQ(status_.parse_state, 0);
    EXPECT_EQ(status_.packet_rx_drop_count, 0);
  }
  feed(0xFF);
  EXPECT_EQ(feed_all(kFrame0), 1);
  EXPECT_EQ(status_.packet_rx_drop_count, 0);
  for (const uint8_t byte : hex("00 55 ff")) {
    feed(byte);
    EXPECT_EQ(status_.parse_state, 1);
    EXPECT_EQ(status_.packet_rx_drop_count, 0);
  }
}

TEST_F(MavlinkParserTest, AStartByteInHeaderOrPayloadIsData) {
  EXPECT_EQ(feed_all("fe 03 fe fe 00 4d fe fe fe 0e 98"), 1);
  EXPECT_EQ(message_.sysid, 0xFE);
  EXPECT_EQ(message_.payload[2], 0xFE);
}

TEST_F(MavlinkParserTest, ABadFirstChecksumByteStillConsumesTheSecond) {
  EXPECT_EQ(feed_all("fe 03 00 24 00 4d d1 07 00 86"), 0);
  EXPECT_EQ(status_.parse_state, 10);
  EXPECT_EQ(feed(0x3D), 0);
  EXPECT_EQ(status_.parse_state, 1);
  EXPECT_EQ(status_.packet_rx_success_count, 0);
  EXPECT_EQ(message_.checksum, 0x3D86);
  EXPECT_EQ(message_.msgid, 77);
  EXPECT_EQ(Bytes(message_.payload, message_.payload + 5), hex("d1 07 00 86 3d"));
}

TEST_F(MavlinkParserTest, ABadSecondChecksumByteDropsTheFrame) {
  EXPECT_EQ(feed_all("fe 03 00 24 00 4d d1 07 00 85"), 0);
  EXPECT_EQ(status_.parse_state, 9);
  EXPECT_EQ(feed(0x3C), 0);
  EXPECT_EQ(message_.checksum, 0x3C85);
  EXPECT_EQ(feed_all(kFrame1), 1);
  EXPECT_EQ(status_.packet_rx_success_count, 1);
}

TEST_F(MavlinkParserTest, TheDropCountOfABadFrameShowsOnceAndOneCallLater) {
  feed_all("fe 03 00 24 00 4d d1 07 00 85");
  feed(0x00);
  EXPECT_EQ(status_.packet_rx_drop_count, 0);
  feed(0x00);
  EXPECT_EQ(status_.packet_rx_drop_count, 1);
  feed(0x00);
  EXPECT_EQ(status_.packet_rx_drop_count, 0);
}

TEST_F(MavlinkParserTest, ABadFrameLeavesTheLastSequence) {
  EXPECT_EQ(feed_all(kFrame1), 1);
  EXPECT_EQ(feed_all("fe 03 09 24 00 4d d1 07 00 00 00"), 0);
  expect_snapshot(2, 1);
}

TEST_F(MavlinkParserTest, StartByteAsSecondChecksumByteStartsTheNextFrame) {
  // First byte right, second wrong.
  EXPECT_EQ(feed_all("fe 03 00 24 00 4d d1 07 00 85 fe"), 0);
  EXPECT_EQ(message_.checksum, 0xFE85);
  EXPECT_EQ(feed_all("03 01 24 00 4d d1 07 00 3a bc"), 1);
  EXPECT_EQ(message_.seq, 1);
  // First byte wrong.
  EXPECT_EQ(feed_all("fe 03 00 24 00 4d d1 07 00 00 fe"), 0);
  EXPECT_EQ(feed_all("03 01 24 00 4d d1 07 00 3a bc"), 1);
  EXPECT_EQ(status_.packet_rx_success_count, 2);
}

TEST_F(MavlinkParserTest, StartByteAsFirstChecksumByteStartsNothing) {
  EXPECT_EQ(feed_all("fe 03 00 24 00 4d d1 07 00 fe 03"), 0);
  EXPECT_EQ(status_.parse_state, 1);
  EXPECT_EQ(feed_all("03 01 24 00 4d d1 07 00 3a bc"), 0);
  EXPECT_EQ(feed_all(kFrame0), 1);
}

TEST_F(MavlinkParserTest, StartByteAsSecondByteOfAGoodFrameIsNotAStart) {
  EXPECT_EQ(feed_all("fe 03 11 24 00 4d d1 07 01 9a fe"), 1);
  EXPECT_EQ(status_.parse_state, 1);
  EXPECT_EQ(feed_all("03 01 24 00 4d d1 07 00 3a bc"), 0);
}

TEST(MavlinkChannel, ChannelsAreIndependent) {
  in_fresh_process([] {
    MavlinkMessage message{};
    MavlinkParseStatus status{};
    const Bytes bytes = hex(kFrame0);
    for (int channel = 0; channel < 16; channel++) {
      for (size_t i = 0; i < 5; i++) mavlink_frame_parse(channel, bytes[i], &message, &status);
    }
    for (int channel = 0; channel < 16; channel++) {
      int frames = 0;
      for (size_t i = 5; i < bytes.size(); i++) {
        frames += mavlink_frame_parse(channel, bytes[i], &message, &status);
      }
      EXPECT_EQ(frames, 1) << channel;
      EXPECT_EQ(status.packet_rx_success_count, 1) << channel;
    }
  });
}

TEST(MavlinkChannel, NumbersOutsideAreRefused) {
  MavlinkMessage message{};
  MavlinkParseStatus status{};
  status.parse_state = kMavlinkGotPayload;
  for (const int channel : {-1, 16, 1000}) {
    for (const uint8_t byte : hex(kFrame0)) {
      EXPECT_EQ(mavlink_frame_parse(channel, byte, &message, &status), 0);
    }
  }
  EXPECT_EQ(message.msgid, 0);
  EXPECT_EQ(status.parse_state, kMavlinkGotPayload);
}

TEST(MavlinkChannel, AHalfFrameIsCompletedByTheNextStream) {
  in_fresh_process([] {
    MavlinkMessage message{};
    MavlinkParseStatus status{};
    int frames = 0;
    const std::string half = "fe 03 00 24 00 4d ";
    // The new stream's frame becomes payload and checksum of the old half and is lost with it.
    for (const uint8_t byte : hex(half + kFrame0)) {
      frames += mavlink_frame_parse(MAVLINK_CHANNEL_APP, byte, &message, &status);
    }
    EXPECT_EQ(frames, 0);
    for (const uint8_t byte : hex(kFrame1)) {
      frames += mavlink_frame_parse(MAVLINK_CHANNEL_APP, byte, &message, &status);
    }
    EXPECT_EQ(frames, 1);
    EXPECT_EQ(message.seq, 1);
  });
}

TEST(MavlinkChannel, BytesOfTwoThreadsInterleaveAndTheParserRecovers) {
  in_fresh_process([] {
    std::atomic<int> frames{0};
    std::atomic<int> rounds{0};
    std::latch both(2);
    const auto reader = [&] {
      both.arrive_and_wait();
      MavlinkMessage message{};
      MavlinkParseStatus status{};
      const Bytes bytes = hex(kFrame0);
      // Until they have met, and lost a frame by it, often enough: soon on two idle processors; on
      // busy ones they meet when the machine changes from one to the other.
      const support::Time end = support::Clock::now() + support::seconds(2);
      while (rounds - frames < 300 && support::Clock::now() < end) {
        rounds++;
        for (const uint8_t byte : bytes) {
          if (mavlink_frame_parse(MAVLINK_CHANNEL_APP, byte, &message, &status) != 1) continue;
          frames++;
          // What a thread is given is a whole frame with its checksum.
          EXPECT_EQ(message.checksum,
                    message.payload[message.len] | (message.payload[message.len + 1] << 8));
        }
      }
    };
    std::thread udp(reader);
    std::thread tcp(reader);
    udp.join();
    tcp.join();
    MavlinkMessage message{};
    MavlinkParseStatus status{};
    for (int i = 0; i < 300; i++) mavlink_frame_parse(0, 0x00, &message, &status);
    EXPECT_EQ(status.parse_state, kMavlinkIdle);
    int good = 0;
    for (const uint8_t byte : hex(kFrame1)) good += mavlink_frame_parse(0, byte, &message, &status);
    EXPECT_EQ(good, 1);
    // Each of them was given to one thread, and counted once.
    EXPECT_EQ(status.packet_rx_success_count, static_cast<uint16_t>(frames.load() + 1));
  });
}

TEST(MavlinkFinalize, CountersLoseNoNumberBetweenThreads) {
  in_fresh_process([] {
    const auto work = [] {
      MavlinkMessage message{};
      for (int i = 0; i < 500; i++) mavlink_frame_finalize_app(&message, 9, 50);
    };
    std::thread one(work);
    std::thread two(work);
    one.join();
    two.join();
    MavlinkMessage message{};
    mavlink_frame_finalize_app(&message, 9, 50);
    EXPECT_EQ(message.seq, 1000 % 256);
  });
}

}  // namespace
}  // namespace flightlink
