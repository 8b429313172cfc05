#include "media/live/video_sender.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "base/text.h"
#include "fake_base/fake_base.h"
#include "flightlink/wire/link_status.h"
#include "support/photo.h"

namespace media {
namespace {

// Receives on the live video port of a loopback address that no other test process uses.
class LiveVideo : public fake_base::FakeBaseTest {
 protected:
  LiveVideo() {
    base::format_text(address_, "127.%d.%d.%d", 1 + (getpid() >> 16) % 250, (getpid() >> 8) & 255,
                      1 + getpid() % 250);
    socket_.reset(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_port = htons(8856);
    own.sin_addr.s_addr = inet_addr(address_);
    const int buffer = 1 << 20;
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof(buffer));
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
    live_video_init();
    live_video_sender_start(address_);
    fake_base::reset();
    want(2, 1);
  }
  ~LiveVideo() override {
    live_video_deinit();
    want(0, 0);
  }

  static void want(int32_t status, int32_t stream_on) {
    flightlink::set_link_status(status);
    flightlink::set_stream_on(stream_on);
  }

  // The next datagram; empty when there is none.
  Bytes receive() {
    Bytes bytes(70000);
    const ssize_t size = recv(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return bytes;
  }

  char address_[32];
  base::Descriptor socket_;
};

Bytes pattern(size_t size) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; i++) bytes[i] = static_cast<uint8_t>(i * 31 + i / 65536);
  return bytes;
}

TEST_F(LiveVideo, APieceOf150000BytesLeavesAsThreeDatagrams) {
  const Bytes piece = pattern(150000);
  EXPECT_EQ(frame_send_udp(piece.data(), 150000), 20976);
  EXPECT_EQ(receive(), Bytes(piece.begin(), piece.begin() + 64512));
  EXPECT_EQ(receive(), Bytes(piece.begin() + 64512, piece.begin() + 129024));
  EXPECT_EQ(receive(), Bytes(piece.begin() + 129024, piece.end()));
  EXPECT_EQ(receive(), Bytes{});
  EXPECT_TRUE(fake_base::sleeps().empty());
}

TEST_F(LiveVideo, APieceOfOneFullDatagramIsNotFollowedByAnEmptyOne) {
  const Bytes piece = pattern(64512);
  EXPECT_EQ(frame_send_udp(piece.data(), 64512), 64512);
  EXPECT_EQ(receive(), piece);
  EXPECT_EQ(receive(), Bytes{});
}

TEST_F(LiveVideo, RefusesNothing) {
  EXPECT_EQ(frame_send_udp(nullptr, 5), -1);
  EXPECT_EQ(frame_send_udp("a", 0), -1);
  EXPECT_EQ(frame_send_udp("a", -3), -1);
  EXPECT_TRUE(fake_base::sleeps().empty());
}

TEST_F(LiveVideo, AFailedSendPausesOneMillisecondAndDropsTheRest) {
  // Nobody may send to this address without asking for broadcast.
  live_video_sender_start("255.255.255.255");
  const Bytes piece = pattern(150000);
  EXPECT_EQ(frame_send_udp(piece.data(), 150000), -1);
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{1000}));
}

TEST_F(LiveVideo, ARoundSendsOnePieceAndPausesTenMilliseconds) {
  live_frame_push("one", 3);
  live_frame_push("two", 3);
  live_video_round();
  EXPECT_EQ(receive(), media_test::text_bytes("one"));
  EXPECT_EQ(receive(), Bytes{});
  EXPECT_EQ(frame_list_count(), 1);
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{10000}));
}

TEST_F(LiveVideo, AnEmptyListCostsOneSleepAndNothingElse) {
  live_video_round();
  EXPECT_EQ(fake_base::events(), (std::vector<std::string>{"sleep 10000"}));
  EXPECT_EQ(receive(), Bytes{});
}

TEST_F(LiveVideo, TenQueuedPiecesTakeAHundredMilliseconds) {
  for (int i = 0; i < 10; i++) live_frame_push("x", 1);
  for (int i = 0; i < 10; i++) live_video_round();
  EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>(10, 10000));
  for (int i = 0; i < 10; i++) EXPECT_EQ(receive().size(), 1U);
  EXPECT_EQ(frame_list_count(), 0);
}

TEST_F(LiveVideo, PiecesThatNobodyWantsAreThrownAway) {
  const int32_t unwanted[][2] = {{0, 1}, {1, 1}, {3, 1}, {2, 0}};
  for (const auto& [status, stream_on] : unwanted) {
    want(status, stream_on);
    live_frame_push("x", 1);
    live_video_round();
    EXPECT_EQ(frame_list_count(), 0) << status << stream_on;
    EXPECT_EQ(receive(), Bytes{}) << status << stream_on;
  }
  want(2, 1);
  live_frame_push("y", 1);
  live_video_round();
  EXPECT_EQ(receive(), media_test::text_bytes("y"));
}

TEST_F(LiveVideo, APieceOfSizeZeroIsFreedAndNotSent) {
  live_video_take(frame_node_new("", 0));
  live_video_take(nullptr);
  EXPECT_EQ(receive(), Bytes{});
  EXPECT_TRUE(fake_base::sleeps().empty());
}

TEST_F(LiveVideo, InitStartsTheSenderAtPriorityOne) {
  flightlink::link_status_deinit();
  flightlink::link_status.client_block[199] = 7;
  EXPECT_EQ(live_video_init(), 0);
  EXPECT_EQ(flightlink::link_status.client_block[199], 0);
  EXPECT_EQ(flightlink::link_status.initialised, 1);
  ASSERT_EQ(fake_base::threads().size(), 1U);
  EXPECT_EQ(fake_base::threads()[0].body, &LiveVideoSenderThread);
  EXPECT_EQ(fake_base::threads()[0].priority, 1);
}

TEST_F(LiveVideo, DeinitMarksTheLockUnusedAndFreesTheList) {
  live_frame_push("x", 1);
  live_video_deinit();
  EXPECT_EQ(flightlink::link_status.initialised, 0);
  EXPECT_EQ(frame_list_count(), 0);
}

}  // namespace
}  // namespace media
