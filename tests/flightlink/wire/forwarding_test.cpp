// Frames passed on to the flight side, and the command that nothing in this system sends.
#include "flightlink/wire/forwarding.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "flightlink/link_suite.h"
#include "flightlink/wire/reports.h"

namespace flightlink {
namespace {

void put(MavlinkMessage* message, const Bytes& payload) {
  std::ranges::copy(payload, message->payload);
}

TEST(ForwardCommandLong, GoesToThePeerWithSystemId35) {
  in_fresh_process([] {
    PeerCapture peer;
    MavlinkMessage message{};
    message.msgid = 76;
    put(&message, hex("00 00 80 3f 00 00 00 40 " + zeros(16) + "00 00 e0 40 cb 00 01 02 03"));
    mavlink_frame_seal(&message, 9, 4, 33, 152);
    EXPECT_EQ(forward_command_long(&message), 41);
    EXPECT_EQ(peer.next(), hex("fe 21 00 23 00 4c 00 00 80 3f 00 00 00 40 " + zeros(16) +
                               "00 00 e0 40 cb 00 01 02 03 db 09"));
    EXPECT_EQ(forward_command_long(nullptr), -1);
    EXPECT_EQ(peer.next(), Bytes());
  });
}

TEST(ForwardCommandLong, AShortFrameIsFilledWithZeros) {
  in_fresh_process([] {
    PeerCapture peer;
    MavlinkMessage message{};
    message.msgid = 76;
    put(&message, Bytes(33, 0xEE));  // bytes of an earlier frame
    put(&message, hex("00 00 80 3f 00 00 00 40"));
    mavlink_frame_seal(&message, 9, 4, 8, 152);
    put(&message, hex("00 00 80 3f 00 00 00 40"));
    forward_command_long(&message);
    peer.next();
    forward_command_long(&message);
    // The explicit finaliser counts.
    EXPECT_EQ(peer.next(), hex("fe 21 01 23 00 4c 00 00 80 3f 00 00 00 40 " + zeros(25) + "cb d5"));
  });
}

TEST(ForwardStream, EveryGoodFrameButMessage36GoesOnUnchanged) {
  in_fresh_process([] {
    PeerCapture peer;
    const Bytes stream_on = hex("fe 06 00 09 00 43 00 00 00 01 00 00 54 69");
    const Bytes servo = hex("fe 25 00 01 00 24 " + zeros(37) + "b2 77");
    Bytes bytes = servo;
    bytes.insert(bytes.end(), stream_on.begin(), stream_on.end());
    forward_stream(bytes.data(), bytes.size());
    EXPECT_EQ(peer.next(), stream_on);
    EXPECT_EQ(peer.next(), Bytes());
    // A parser of its own: half a frame here does not disturb the link's channel.
    forward_stream(stream_on.data(), 5);
    MavlinkMessage message;
    MavlinkParseStatus status;
    int frames = 0;
    for (const uint8_t byte : stream_on) {
      frames += mavlink_frame_parse(MAVLINK_CHANNEL_APP, byte, &message, &status);
    }
    EXPECT_EQ(frames, 1);
    forward_stream(stream_on.data() + 5, stream_on.size() - 5);
    EXPECT_EQ(peer.next(), stream_on);
  });
}

TEST(Reports, Command520) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_command_520(), 41);
    EXPECT_EQ(peer.next(),
              hex("fe 21 00 23 00 4c 00 00 80 3f " + zeros(24) + "08 02 64 00 00 8f 90"));
  });
}

}  // namespace
}  // namespace flightlink
