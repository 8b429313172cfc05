// Message 111: the clock of this machine, of the camera service, and the two replies.
#include "flightlink/actions/camera_clock.h"

#include <gtest/gtest.h>

#include "base/bytes.h"
#include "flightlink/actions/dispatch.h"
#include "flightlink/link_suite.h"
#include "support/camera_socket.h"

namespace flightlink {
namespace {

using link_test::CameraSocket;

// `used` of the payload's 12 bytes belong to the frame.
MavlinkMessage clock_message(uint64_t ms, int32_t hours, uint8_t used = 12) {
  MavlinkMessage message{};
  message.msgid = 111;
  message.len = used;
  base::store_u64le(message.payload, ms);
  base::store_u32le(message.payload + 8, static_cast<uint32_t>(hours));
  return message;
}

class CameraClock : public link_test::ReadyCamera {
 protected:
  CameraClock() { supervisor::set_clock_set_ok(0); }
  ~CameraClock() override { supervisor::set_clock_set_ok(0); }

  // Through the dispatcher, as both links do it.
  static int set(uint64_t ms, int32_t hours) {
    const MavlinkMessage message = clock_message(ms, hours);
    return peer_dispatch(&message);
  }
  void expect_clock(uint64_t ms, int32_t hours, const char* seconds, const char* text) {
    fake_base::reset();
    EXPECT_EQ(set(ms, hours), 0);
    EXPECT_THAT(fake_base::events(), ElementsAre(std::string("clock ") + seconds));
    EXPECT_EQ(
        service_.sent(),
        std::string(R"({"msg_id":2,"token":7,"type":"camera_clock","param":")") + text + "\"}");
    EXPECT_THAT(peer_.all(), IsEmpty());
  }

  CameraSocket service_;
  PeerCapture peer_;
};

TEST_F(CameraClock, SetsTheShiftedTimeAndTellsTheCamera) {
  expect_clock(1577836800999, 8, "1577865600", "2020-01-01 08:00:00");
  EXPECT_EQ(mavlink_context.last_clock.load(), 1577865600U);
}

TEST_F(CameraClock, TheOffsetMayBeNegativeAndMillisecondsAreDropped) {
  expect_clock(1577836800000, 0, "1577836800", "2020-01-01 00:00:00");
  expect_clock(1577836799999, 0, "1577836799", "2019-12-31 23:59:59");
  expect_clock(1577836800000, -5, "1577818800", "2019-12-31 19:00:00");
  expect_clock(1582934400000, 24, "1583020800", "2020-03-01 00:00:00");
  expect_clock(0, 0, "0", "1970-01-01 00:00:00");
}

TEST_F(CameraClock, TimesBeyond32BitsKeepTheirLowBitsAsLastClock) {
  expect_clock(4294967296000, 0, "4294967296", "2106-02-07 06:28:16");
  EXPECT_EQ(mavlink_context.last_clock.load(), 0U);
  expect_clock(0, -1, "-3600", "1969-12-31 23:00:00");
  EXPECT_EQ(mavlink_context.last_clock.load(), 4294963696U);
}

TEST_F(CameraClock, FarYearsAreToldWithAllTheirDigits) {
  // 18446744073709551 + 2147483647 * 3600
  expect_clock(UINT64_MAX, INT32_MAX, "18454475014838751", "584801003-01-10 21:25:51");
}

TEST_F(CameraClock, ARefusedClockIsAnsweredWith4) {
  in_fresh_process([] {
    PeerCapture peer;
    fake_base::fail_next_clock();
    EXPECT_EQ(set(1577836800999, 8), 0);
    EXPECT_EQ(peer.next(), hex("fe 07 00 24 00 34 00 00 6f 04 00 00 00 80 39"));
    EXPECT_EQ(peer.next(), Bytes());
    EXPECT_EQ(mavlink_context.last_clock.load(), 1577865600U);
  });
  EXPECT_EQ(service_.sent(), "");
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(CameraClock, AConfirmedClockLocksItAndIsAnsweredWith0) {
  in_fresh_process([this] {
    supervisor::set_clock_set_ok(1);
    mavlink_context.last_clock.store(5);
    EXPECT_EQ(set(1577836800999, 8), 0);
    EXPECT_THAT(fake_base::events(), IsEmpty());
    EXPECT_EQ(service_.sent(), "");
    EXPECT_EQ(mavlink_context.last_clock.load(), 5U);
    const std::vector<Bytes> frames = peer_.all();
    ASSERT_EQ(frames.size(), 1U);
    ASSERT_EQ(frames[0].size(), 15U);
    EXPECT_EQ(Bytes(frames[0].begin(), frames[0].begin() + 13),
              hex("fe 07 00 24 00 34 00 00 6f 00 00 00 00"));
  });
}

TEST_F(CameraClock, OnlyAFlagOf1LocksIt) {
  supervisor::set_clock_set_ok(2);
  expect_clock(0, 1, "3600", "1970-01-01 01:00:00");
}

TEST_F(CameraClock, FieldsBeyondAShortFrameAreZero) {
  const MavlinkMessage no_offset = clock_message(1577836800000, 8, 8);
  EXPECT_EQ(set_camera_clock(&no_offset), 0);
  const MavlinkMessage empty = clock_message(1577836800000, 8, 0);
  EXPECT_EQ(set_camera_clock(&empty), 0);
  EXPECT_THAT(fake_base::events(), ElementsAre("clock 1577836800", "clock 0"));
}

TEST_F(CameraClock, WithoutAConnectionOnlyThisClockIsSet) {
  camera::cam_json_withdraw();
  EXPECT_EQ(set(1577836800999, 8), 0);
  EXPECT_THAT(fake_base::events(), ElementsAre("clock 1577865600"));
  EXPECT_THAT(peer_.all(), IsEmpty());
}

TEST_F(CameraClock, ANullMessageGivesMinusOne) {
  EXPECT_EQ(set_camera_clock(nullptr), -1);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

}  // namespace
}  // namespace flightlink
