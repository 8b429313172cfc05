// Firmware messages as the far ends send them, and what comes back.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "flightlink/actions/dispatch.h"
#include "flightlink/firmware/push.h"
#include "flightlink/firmware/receive.h"
#include "flightlink/link_suite.h"

namespace link_test {

// A frame that has arrived at the peer: its sequence number and checksum are other tests' matter.
struct Sent {
  uint8_t system;
  uint8_t id;
  Bytes payload;
};

inline constexpr uint8_t kFromApplication = 0x48;
inline constexpr uint8_t kFromGimbal = 0x78;
inline constexpr uint8_t kFromFlightController = 0x38;
inline constexpr uint8_t kFromRepeater = 0x58;
inline constexpr const char* kMd5 = "0123456789abcdef0123456789abcdef";

// The seven parameters of a report, as hexadecimal text: the indices that are given, then empty
// slots (4294967296.0 is 4f800000).
inline std::string slots(const std::string& indices) {
  std::string text = indices.empty() ? "" : indices + " ";
  const auto given = static_cast<size_t>(std::ranges::count(indices, ' ') + 1) / 4;
  for (size_t i = indices.empty() ? 0 : given; i < 7; i++) text += "00 00 80 4f ";
  return text;
}

// Everything of firmware is as at program start, and no camera service is connected.
class FirmwareTest : public fake_base::FakeBaseTest {
 protected:
  FirmwareTest() {
    flightlink::firmware_receive.reset();
    flightlink::firmware_push.reset();
  }

  static flightlink::MavlinkMessage command(uint8_t sysid, uint8_t state,
                                            std::vector<float> parameters) {
    flightlink::MavlinkMessage message{};
    message.msgid = 76;
    message.sysid = sysid;
    message.len = 33;
    for (size_t i = 0; i < parameters.size(); i++) {
      base::store_f32le(message.payload + 4 * i, parameters[i]);
    }
    message.payload[28] = 4;
    message.payload[30] = state;
    return message;
  }
  static int announce(float size, uint8_t sysid = kFromApplication) {
    const auto message = command(sysid, 1, {size});
    return flightlink::common_dispatch(&message);
  }
  static int report(uint8_t sysid, uint8_t state, std::vector<float> parameters = {}) {
    const auto message = command(sysid, state, std::move(parameters));
    return flightlink::peer_dispatch(&message);
  }
  static int heartbeat() {
    flightlink::MavlinkMessage message{};
    message.len = 9;
    return flightlink::peer_dispatch(&message);
  }

  // A message 110: opcode, length byte, board byte 4, data.
  static flightlink::MavlinkMessage firmware(uint8_t opcode, uint8_t length, const Bytes& data) {
    flightlink::MavlinkMessage message{};
    message.msgid = 110;
    message.len = 254;
    message.payload[0] = opcode;
    message.payload[1] = length;
    message.payload[2] = 4;
    std::ranges::copy(data, message.payload + 3);
    return message;
  }
  static int start(const std::string& md5 = kMd5) {
    const auto message = firmware(3, static_cast<uint8_t>(md5.size()), {md5.begin(), md5.end()});
    return flightlink::common_dispatch(&message);
  }
  // The first bytes of the index, then `bytes`.
  static Bytes chunk_data(uint32_t index, const Bytes& bytes) {
    Bytes data{static_cast<uint8_t>(index >> 24), static_cast<uint8_t>(index >> 16),
               static_cast<uint8_t>(index >> 8), static_cast<uint8_t>(index)};
    data.insert(data.end(), bytes.begin(), bytes.end());
    return data;
  }
  static int chunk(uint32_t index, const Bytes& bytes) {
    const auto message =
        firmware(2, static_cast<uint8_t>(bytes.size() + 4), chunk_data(index, bytes));
    return flightlink::common_dispatch(&message);
  }

  // The next frame at the peer; id 255 when there is none.
  Sent next() {
    const Bytes frame = peer.next();
    if (frame.size() < 8) return {0, 255, {}};
    return {frame[3], frame[5], Bytes(frame.begin() + 6, frame.end() - 2)};
  }
  std::vector<Sent> all() {
    std::vector<Sent> frames;
    for (Sent sent = next(); sent.id != 255; sent = next()) frames.push_back(sent);
    return frames;
  }
  void expect_report(const std::string& indices, const std::string& state_board_result) {
    const Sent sent = next();
    EXPECT_EQ(sent.system, 36);
    EXPECT_EQ(sent.id, 76);
    EXPECT_EQ(sent.payload, hex(slots(indices) + "04 00 " + state_board_result));
  }
  void expect_nothing_sent() { EXPECT_EQ(next().id, 255); }

  PeerCapture peer;
};

}  // namespace link_test
