// The bridge: what a frame on the serial line does, through a pseudo terminal.
#include "flightlink/links/serial_link.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>

#include "flightlink/link_suite.h"
#include "flightlink/wire/aircraft_position.h"
#include "flightlink/wire/serial_line.h"
#include "support/app_session.h"
#include "support/camera_socket.h"
#include "support/pty.h"

namespace flightlink {
namespace {

using link_test::AppSession;
using link_test::Pty;

// Message 30 from system 1, component 0, sequence 9.
const std::string kAttitude =
    "fe 1c 09 01 00 1e 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f "
    "10 11 12 13 14 15 16 17 18 19 1a 1b 93 fc ";
// Message 32 with 123.9 at offset 4.
const std::string kAltitude =
    "fe 1c 07 01 00 20 00 00 00 00 cd cc f7 42 00 00 00 00 00 00 00 00 "
    "00 00 00 00 00 00 00 00 00 00 00 00 de 75 ";
// COMMAND_LONG 203, param2 45.5; from system 3, and from system 2 with param7 3 and 2.
const std::string kHead =
    "00 00 00 00 00 00 36 42 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ";
const std::string kCommand3 = "fe 21 01 03 00 4c " + kHead + "00 00 00 00 cb 00 00 00 00 ef f2 ";
const std::string kRecord = "fe 21 01 02 00 4c " + kHead + "00 00 40 40 cb 00 00 00 00 47 ea ";
const std::string kStop = "fe 21 02 02 00 4c " + kHead + "00 00 00 40 cb 00 00 00 00 ff 78 ";

// The bridge's line set up on a pseudo terminal.
class Line {
 public:
  Line() : near_(open(far.name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(serial_line_set_opt(near_.get(), 115200, 8, 'N', 1, 0), 0);
    serial_link.fd.store(near_.get());
  }
  ~Line() { serial_link.reset(); }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  Pty far;

 private:
  base::Descriptor near_;
};

// Bytes on the line, and the bridge serves until it has taken them.
void put(const Line& line, const Bytes& bytes) {
  for (size_t at = 0; at < bytes.size(); at += 1000) {
    const size_t end = std::min(at + 1000, bytes.size());
    line.far.write_bytes(Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                               bytes.begin() + static_cast<std::ptrdiff_t>(end)));
    pollfd readable{serial_link.fd.load(), POLLIN, 0};
    EXPECT_EQ(poll(&readable, 1, 3000), 1);
    while (poll(&readable, 1, 20) == 1) serial_link_serve();
  }
}

// A frame of the flight controller that the application gets as it is, and the altitude behind it.
void expect_passed(const std::string& frame, int32_t altitude) {
  AppSession application;
  const Line line;
  put(line, hex(frame));
  EXPECT_EQ(application.received(), hex(frame));
  EXPECT_EQ(get_altitude(), altitude);
}

TEST(SerialBridge, FramesReachTheApplicationUnchanged) {
  in_fresh_process([] {
    expect_passed(kAttitude, 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 1U);
  });
}

TEST(SerialBridge, Message32StoresTheAltitudeAndIsPassed) {
  in_fresh_process([] { expect_passed(kAltitude, 123); });
}

TEST(SerialBridge, ACommandOfAnotherSystemStoresItsSecondParameterAndIsPassed) {
  in_fresh_process([] { expect_passed(kCommand3, 45); });
}

TEST(SerialBridge, AnUnstorableFloatIsSaturated) {
  in_fresh_process([] {
    link_context_init();
    MavlinkMessage message{};
    message.msgid = 32;
    message.len = 28;
    message.payload[6] = 0xC0;  // NaN
    message.payload[7] = 0x7F;
    store_altitude_from_32(5);
    serial_link_route(&message);
    EXPECT_EQ(get_altitude(), 0);
    message.payload[6] = 0x80;  // minus infinity
    message.payload[7] = 0xFF;
    serial_link_route(&message);
    EXPECT_EQ(get_altitude(), INT32_MIN);
    message.len = 6;  // half a float: the bytes behind the frame are not read
    serial_link_route(&message);
    EXPECT_EQ(get_altitude(), 0);
  });
}

class CameraCommands : public link_test::ReadyCamera {
 protected:
  // ReadyCamera clears the link's record; the session comes after it.
  AppSession application_;
  link_test::CameraSocket service_;
  Line line_;
};

TEST_F(CameraCommands, Param7Of3RecordsAndNothingIsPassedOn) {
  camera::confirm(camera::kCameraMode, camera::kModeVideo);
  put(line_, hex(kRecord));
  EXPECT_EQ(service_.sent(), "{\"msg_id\":513,\"token\":7}");
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 1);
  EXPECT_EQ(application_.received(), Bytes());
}

TEST_F(CameraCommands, Param7Of2StopsAndNothingIsPassedOn) {
  supervisor::set_record_ack_via_uart(1);
  supervisor::set_recording(1);
  put(line_, hex(kStop));
  EXPECT_EQ(service_.sent(), "{\"msg_id\":514,\"token\":7}");
  EXPECT_EQ(supervisor::get_record_ack_via_uart(), 0);
  EXPECT_EQ(application_.received(), Bytes());
}

TEST_F(CameraCommands, OtherCommandsOfSystem2EndHere) {
  MavlinkMessage message{};
  message.msgid = 76;
  message.payload[26] = 0x40;  // param7 3
  message.payload[27] = 0x40;
  message.payload[28] = 204;
  mavlink_frame_seal(&message, 2, 0, 33, 152);
  serial_link_route(&message);
  // param7 4 and 5 of command 203, and 2 of another one.
  for (const uint8_t low : std::initializer_list<uint8_t>{0x80, 0xA0, 0x00}) {
    message.payload[26] = low;
    message.payload[28] = low == 0x00 ? 180 : 203;
    mavlink_frame_seal(&message, 2, 0, 33, 152);
    serial_link_route(&message);
  }
  EXPECT_EQ(service_.sent(), "");
  EXPECT_EQ(application_.received(), Bytes());
  EXPECT_EQ(get_altitude(), 0);
}

TEST(SerialBridge, NoiseIsOutlivedAndTheNextFrameArrives) {
  in_fresh_process([] {
    AppSession application;
    const Line line;
    Bytes noise(20000);
    uint32_t random = 12345;
    for (uint8_t& byte : noise) {
      random = random * 1664525 + 1013904223;
      byte = static_cast<uint8_t>(random >> 24);
    }
    put(line, noise);
    put(line, Bytes(300, 0));  // ends whatever was half-read
    application.received();
    put(line, hex(kAttitude + kAltitude));
    EXPECT_EQ(application.received(), hex(kAttitude + kAltitude));
  });
}

TEST(SerialBridge, AFrameMayComeByteByByte) {
  in_fresh_process([] {
    AppSession application;
    const Line line;
    for (const uint8_t byte : hex(kAttitude)) {
      EXPECT_EQ(application.received(), Bytes());
      put(line, {byte});
    }
    EXPECT_EQ(application.received(), hex(kAttitude));
  });
}

TEST(SerialBridge, HasAParserOfItsOwn) {
  in_fresh_process([] {
    AppSession application;
    const Line line;
    const Bytes frame = hex(kAttitude);
    put(line, Bytes(frame.begin(), frame.begin() + 10));
    MavlinkMessage message;
    MavlinkParseStatus status;
    for (int channel = 0; channel < kMavlinkChannels; channel++) {
      mavlink_frame_parse(channel, 0xFE, &message, &status);
    }
    put(line, Bytes(frame.begin() + 10, frame.end()));
    EXPECT_EQ(application.received(), frame);
  });
}

TEST(SerialBridge, WithoutAnApplicationFramesAreDropped) {
  in_fresh_process([] {
    AppSession application;
    mavlink_context.link_state.store(0);
    const Line line;
    put(line, hex(kAttitude));
    EXPECT_EQ(application.received(), Bytes());
  });
}

TEST(SerialBridge, ALineThatHasHungUpDoesNotSpin) {
  in_fresh_process([] {
    fake_base::reset();
    Line line;
    line.far.hang_up();
    serial_link_serve();
    EXPECT_THAT(fake_base::sleeps(), ElementsAre(10000U));
  });
}

TEST(SerialBridge, TwoSilentSecondsAreNoFault) {
  in_fresh_process([] {
    fake_base::reset();
    const Line line;
    const auto begin = std::chrono::steady_clock::now();
    serial_link_serve();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1990));
    EXPECT_THAT(fake_base::sleeps(), ::testing::IsEmpty());
  });
}

TEST(SerialWrite, WritesRawBytesAndIsRefusedWhileTheLineIsClosed) {
  in_fresh_process([] {
    const Bytes bytes = hex("00 0a 0d 03 04 11 13 7f ff fe");
    EXPECT_EQ(serial_write(bytes.data(), bytes.size()), -1);
    const Line line;
    EXPECT_EQ(serial_write(bytes.data(), bytes.size()), 10);
    EXPECT_EQ(line.far.read_bytes(bytes.size()), bytes);
  });
}

}  // namespace
}  // namespace flightlink
