// MAVLink 1 frames as the tests see them: written and read here independently of the program under
// test, with a checksum and a table of CRC extra bytes of their own.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/peer_socket.h"

namespace support {

struct Frame {
  uint8_t sequence = 0;
  uint8_t system = 0;
  uint8_t component = 0;
  uint8_t id = 0;
  Bytes payload;
  Time arrived{};

  // Little-endian payload fields; the test fails and 0 comes back where the payload is too short.
  [[nodiscard]] uint8_t u8(size_t offset) const;
  [[nodiscard]] uint16_t u16(size_t offset) const;
  [[nodiscard]] uint32_t u32(size_t offset) const;
  [[nodiscard]] float f32(size_t offset) const;
};

// The bytes of a frame, checksum included. The test fails for an id that the table lacks.
Bytes encode(const Frame& frame);
// The datagram as one frame, if it is exactly one with a good checksum.
std::optional<Frame> decode(const Datagram& datagram);

// Messages that the peer sends. `sysid` is the sender's.
Frame heartbeat(uint8_t system_status, uint32_t custom_mode = 0, uint8_t sysid = 9);
struct CommandLong {
  uint16_t command = 0;
  float param1 = 0, param2 = 0, param3 = 0, param4 = 0, param5 = 0, param6 = 0, param7 = 0;
  uint8_t target_component = 0;
  uint8_t confirmation = 0;
};
Frame command_long(const CommandLong& command, uint8_t sysid = 9);
// Message 24: degrees x 1e7.
Frame raw_position(int32_t latitude, int32_t longitude);
// Message 141: metres.
Frame altitude(float metres);
// Message 67: the stream-on word.
Frame stream_on(bool on);
// Any message: id and payload.
Frame message(uint8_t id, Bytes payload);

// "fe 09 00", for comparing whole frames.
std::string hex(std::span<const uint8_t> bytes);

}  // namespace support
