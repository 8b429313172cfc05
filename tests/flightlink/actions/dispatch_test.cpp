// What each received message does. HEARTBEAT of the peer looks at the card and is tested on a
// board.
#include "flightlink/actions/dispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "base/bytes.h"
#include "flightlink/link_suite.h"
#include "flightlink/wire/aircraft_position.h"
#include "flightlink/wire/link_status.h"
#include "support/camera_socket.h"

namespace flightlink {
namespace {

using link_test::CameraSocket;

// The rest of the payload area holds what an earlier, longer frame left there.
MavlinkMessage message_of(uint8_t msgid, const std::string& payload) {
  MavlinkMessage message{};
  std::ranges::fill(message.payload, uint8_t{0xEE});
  const link_test::Bytes bytes = hex(payload);
  std::ranges::copy(bytes, message.payload);
  message.msgid = msgid;
  message.len = static_cast<uint8_t>(bytes.size());
  return message;
}

int common(uint8_t msgid, const std::string& payload) {
  const MavlinkMessage message = message_of(msgid, payload);
  return common_dispatch(&message);
}

int peer(uint8_t msgid, const std::string& payload) {
  const MavlinkMessage message = message_of(msgid, payload);
  return peer_dispatch(&message);
}

TEST(Dispatch, ANullFrameGivesMinusOne) {
  EXPECT_EQ(peer_dispatch(nullptr), -1);
  EXPECT_EQ(common_dispatch(nullptr), -1);
}

TEST(Dispatch, Message24StoresLatitudeAndLongitude) {
  in_fresh_process([] {
    // 225000000 = 0d693a40, -1 = ffffffff
    EXPECT_EQ(common(24, "01 02 03 04 05 06 07 08 40 3a 69 0d ff ff ff ff aa"), 0);
    EXPECT_EQ(get_latitude(), 225000000);
    EXPECT_EQ(get_longitude(), -1);
    EXPECT_EQ(get_altitude(), 0);
  });
}

TEST(Dispatch, FieldsBeyondAShortFrameAreZero) {
  in_fresh_process([] {
    store_latitude(1);
    store_longitude(1);
    EXPECT_EQ(common(24, "01 02 03 04 05 06 07 08 10 20"), 0);
    EXPECT_EQ(get_latitude(), 0x2010);
    EXPECT_EQ(get_longitude(), 0);
    EXPECT_EQ(common(24, ""), 0);
    EXPECT_EQ(get_latitude(), 0);
  });
}

TEST(Dispatch, Message32StoresTheTruncatedFloatAtOffset4) {
  in_fresh_process([] {
    EXPECT_EQ(common(32, "ff ff ff ff 66 66 46 41"), 0);  // 12.4
    EXPECT_EQ(get_altitude(), 12);
    common(32, "ff ff ff ff cd cc 4e c1");  // -12.925
    EXPECT_EQ(get_altitude(), -12);
    common(32, "ff ff ff ff 00 00 c0 7f");  // not a number
    EXPECT_EQ(get_altitude(), 0);
    common(32, "ff ff ff ff 00 00 80 7f");  // infinity
    EXPECT_EQ(get_altitude(), 2147483647);
    common(32, "ff ff ff ff ff ff 7f ff");  // the lowest float
    EXPECT_EQ(get_altitude(), -2147483647 - 1);
  });
}

TEST(Dispatch, Message141StoresTenthsAndTakesOver) {
  in_fresh_process([] {
    common(32, "00 00 00 00 00 00 a0 41");     // 20.0
    EXPECT_EQ(common(141, "00 00 4d 42"), 0);  // 51.25 -> 512.5
    EXPECT_EQ(get_altitude(), 512);
    common(141, "00 00 10 bf");  // -0.5625 -> -5.625
    EXPECT_EQ(get_altitude(), -5);
    common(141, "ec 51 f6 c2");  // -123.16 -> -1231.6
    EXPECT_EQ(get_altitude(), -1231);
    common(32, "00 00 00 00 00 00 a0 41");
    EXPECT_EQ(get_altitude(), -1231);
    common(141, "ff ff 7f 7f");  // times ten is out of the float's range
    EXPECT_EQ(get_altitude(), 2147483647);
  });
}

TEST(Dispatch, Message67SetsTheStreamWordFromByte3) {
  in_fresh_process([] {
    EXPECT_EQ(common(67, "00 00 00 01"), 0);
    EXPECT_EQ(get_stream_on(), 1);
    common(67, "ff ff ff 00");
    EXPECT_EQ(get_stream_on(), 0);
    peer(67, "00 00 00 80");
    EXPECT_EQ(get_stream_on(), 1);
    common(67, "ff ff ff");
    EXPECT_EQ(get_stream_on(), 0);
  });
}

TEST(Dispatch, TheApplicationsHeartbeatIsNotThePeers) {
  in_fresh_process([] {
    link_context_init();
    EXPECT_EQ(common(0, "00 00 00 00 00 00 00 52 03"), 0);
    EXPECT_EQ(mavlink_context.peer_nibble.load(), 0);
    EXPECT_EQ(get_link_status(), 0);
  });
}

class DispatchCommand : public link_test::ReadyCamera {
 protected:
  // A whole COMMAND_LONG; params are 7 floats in hexadecimal.
  static std::string command_payload(const std::string& params, const std::string& command,
                                     const std::string& component) {
    return params + command + " 64 " + component + " 00";
  }

  CameraSocket service_;
};

constexpr const char* kZero = "00 00 00 00 ";
constexpr const char* kOne = "00 00 80 3f ";
constexpr const char* kTwo = "00 00 00 40 ";
constexpr const char* kThree = "00 00 40 40 ";

std::string repeated(const char* text, int count) {
  std::string all;
  for (int i = 0; i < count; i++) all += text;
  return all;
}

TEST_F(DispatchCommand, Command2IsACameraAction) {
  supervisor::set_photo_mode(9);
  const std::string payload = command_payload(kOne + repeated(kZero, 6), "02 00", "00");
  EXPECT_EQ(peer(76, payload), 0);
  EXPECT_EQ(service_.sent(), "{\"msg_id\":769,\"token\":7}");
  EXPECT_EQ(supervisor::get_photo_mode(), 0);
  EXPECT_EQ(common(76, payload), -1);  // the photo is pending
}

TEST_F(DispatchCommand, Command2TakesItsValueFromParam2) {
  // action 9 (41100000), signal 39.5 (421e0000)
  EXPECT_EQ(
      common(76, command_payload("00 00 10 41 00 00 1e 42 " + repeated(kTwo, 5), "02 00", "00")),
      0);
  EXPECT_EQ(service_.sent(), "{\"msg_id\":16,\"token\":7,\"param\":\"512\"}");
}

TEST_F(DispatchCommand, Command203IsDigicamControlByParam7) {
  const std::string params = repeated(kZero, 4) + kTwo + kThree + kOne;
  EXPECT_EQ(common(76, command_payload(params, "cb 00", "00")), 0);
  EXPECT_EQ(service_.sent(), "{\"msg_id\":769,\"token\":7}");
  EXPECT_EQ(supervisor::get_photo_mode(), 3);
  EXPECT_EQ(supervisor::get_photo_sequence(), 3);
}

TEST_F(DispatchCommand, Command203OfComponent14IsNoDigicamControl) {
  // Link quality keeps counters, which other tests want at 0.
  in_fresh_process([this] {
    const std::string params = repeated(kZero, 4) + kTwo + kThree + kOne;
    common(76, command_payload(params, "cb 00", "0e"));
    EXPECT_EQ(service_.sent(), "");
    EXPECT_EQ(supervisor::get_photo_mode(), 0);
    EXPECT_EQ(supervisor::get_photo_sequence(), 0);
    // 8.0 + 12.0 = 20 lost: 0.6 of 2048.
    const std::string lost = kZero + std::string("00 00 20 41 00 00 a0 41 ") + repeated(kZero, 4);
    EXPECT_EQ(common(76, command_payload(lost, "cb 00", "0e")), 0);
    EXPECT_EQ(service_.sent(), "{\"msg_id\":16,\"token\":7,\"param\":\"1228\"}");
  });
}

TEST_F(DispatchCommand, Command180IsASettingByComponent) {
  EXPECT_EQ(common(76, command_payload(kTwo + repeated(kZero, 6), "b4 00", "0d")), 0);
  EXPECT_EQ(service_.sent(), "{\"msg_id\":2,\"token\":7,\"param\":\"2\",\"type\":\"sharpness\"}");
  // Refused while the setting is unanswered.
  EXPECT_EQ(peer(76, command_payload(kTwo + repeated(kZero, 6), "b4 00", "0d")), -1);
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(DispatchCommand, Message56AsksForTheCard) {
  EXPECT_EQ(common(56, ""), 0);
  EXPECT_EQ(service_.sent(), "{\"msg_id\":4097,\"token\":7}");
  EXPECT_EQ(supervisor::get_sd_query_pending(), 1);
}

TEST_F(DispatchCommand, Message56IsRefusedUnlessTheCameraIsReady) {
  supervisor::set_video_flowing(0);
  EXPECT_EQ(common(56, "00 00"), -1);
  EXPECT_EQ(service_.sent(), "");
  EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
  supervisor::set_video_flowing(1);
  camera::cam_json_withdraw();
  EXPECT_EQ(common(56, "00 00"), -2);
  EXPECT_EQ(supervisor::get_sd_query_pending(), 0);
}

TEST_F(DispatchCommand, OtherCommandsAndCutOnesDoNothing) {
  for (const char* command : {"00 00", "01 00", "02 01", "cb 01", "ff ff"}) {
    EXPECT_EQ(common(76, command_payload(repeated(kOne, 7), command, "00")), 0) << command;
  }
  // Cut before its command field: the stale bytes behind are not a command.
  MavlinkMessage message = message_of(76, command_payload(repeated(kOne, 7), "02 00", "00"));
  message.len = 28;
  EXPECT_EQ(common_dispatch(&message), 0);
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(DispatchCommand, UnknownMessagesDoNothing) {
  for (const int msgid : {1, 23, 25, 66, 68, 75, 77, 120, 140, 255}) {
    EXPECT_EQ(common(static_cast<uint8_t>(msgid), repeated(kOne, 8)), 0) << msgid;
    EXPECT_EQ(peer(static_cast<uint8_t>(msgid), repeated(kOne, 8)), 0) << msgid;
  }
  EXPECT_EQ(service_.sent(), "");
}

TEST_F(DispatchCommand, AFullLengthFrameIsReadInItsBounds) {
  in_fresh_process([this] {
    MavlinkMessage message{};
    std::ranges::fill(message.payload, uint8_t{0xFF});
    message.len = 255;
    for (const int msgid : {24, 32, 67, 76, 141}) {
      message.msgid = static_cast<uint8_t>(msgid);
      EXPECT_EQ(peer_dispatch(&message), 0) << msgid;
    }
    EXPECT_EQ(get_latitude(), -1);
    EXPECT_EQ(get_longitude(), -1);
    EXPECT_EQ(get_altitude(), 0);  // not a number
    EXPECT_EQ(get_stream_on(), 1);
    EXPECT_EQ(service_.sent(), "");
  });
}

}  // namespace
}  // namespace flightlink
