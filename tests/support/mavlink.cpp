#include "support/mavlink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <string_view>
#include <utility>

namespace support {
namespace {

const std::map<uint8_t, uint8_t> kCrcExtra = {
    {0, 50},    {21, 159}, {22, 49},  {24, 24},   {32, 185},  {52, 221}, {56, 150},
    {57, 229},  {59, 24},  {67, 21},  {76, 152},  {77, 143},  {90, 183}, {105, 93},
    {107, 108}, {110, 84}, {111, 34}, {120, 134}, {141, 148}, {142, 72}};

// CRC-16/MCRF4XX bit by bit: polynomial 0x1021 reflected.
uint16_t checksum(std::span<const uint8_t> bytes, uint8_t extra) {
  uint16_t crc = 0xFFFF;
  const auto add = [&crc](uint8_t byte) {
    crc = static_cast<uint16_t>(crc ^ byte);
    for (int bit = 0; bit < 8; bit++) {
      const bool carry = (crc & 1) != 0;
      crc = static_cast<uint16_t>(crc >> 1);
      if (carry) crc ^= 0x8408;
    }
  };
  for (const uint8_t byte : bytes) add(byte);
  add(extra);
  return crc;
}

uint8_t crc_extra(uint8_t id) {
  const auto row = kCrcExtra.find(id);
  if (row != kCrcExtra.end()) return row->second;
  ADD_FAILURE() << "message " << int{id} << " is not in the tests' table";
  return 0;
}

void put(Bytes& payload, size_t offset, uint32_t value, size_t bytes) {
  for (size_t i = 0; i < bytes; i++) {
    payload.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
  }
}

void put_float(Bytes& payload, size_t offset, float value) {
  put(payload, offset, std::bit_cast<uint32_t>(value), 4);
}

uint32_t get(const Bytes& payload, size_t offset, size_t bytes) {
  if (offset + bytes > payload.size()) {
    ADD_FAILURE() << "a payload of " << payload.size() << " bytes ends before " << offset + bytes;
    return 0;
  }
  uint32_t value = 0;
  for (size_t i = bytes; i > 0; i--) value = (value << 8) | payload[offset + i - 1];
  return value;
}

}  // namespace

uint8_t Frame::u8(size_t offset) const { return static_cast<uint8_t>(get(payload, offset, 1)); }
uint16_t Frame::u16(size_t offset) const { return static_cast<uint16_t>(get(payload, offset, 2)); }
uint32_t Frame::u32(size_t offset) const { return get(payload, offset, 4); }
float Frame::f32(size_t offset) const { return std::bit_cast<float>(get(payload, offset, 4)); }

Bytes encode(const Frame& frame) {
  const size_t length = frame.payload.size();
  Bytes bytes(length + 8);
  const std::array<uint8_t, 6> head{
      0xFE, static_cast<uint8_t>(length), frame.sequence, frame.system, frame.component, frame.id};
  std::copy(head.begin(), head.end(), bytes.begin());
  std::copy(frame.payload.begin(), frame.payload.end(), bytes.begin() + 6);
  const uint16_t crc = checksum(std::span(bytes).subspan(1, length + 5), crc_extra(frame.id));
  put(bytes, length + 6, crc, 2);
  return bytes;
}

std::optional<Frame> decode(const Datagram& datagram) {
  const Bytes& bytes = datagram.bytes;
  if (bytes.size() < 8 || bytes[0] != 0xFE || bytes.size() != bytes[1] + 8U) return std::nullopt;
  const std::span all(bytes);
  const auto covered = all.subspan(1, bytes.size() - 3);
  const uint16_t crc = checksum(covered, crc_extra(bytes[5]));
  if (bytes[bytes.size() - 2] != (crc & 0xFF) || bytes.back() != crc >> 8) return std::nullopt;
  return Frame{
      bytes[2],        bytes[3], bytes[4], bytes[5], Bytes(bytes.begin() + 6, bytes.end() - 2),
      datagram.arrived};
}

Frame message(uint8_t id, Bytes payload) {
  Frame frame;
  frame.system = 9;
  frame.id = id;
  frame.payload = std::move(payload);
  return frame;
}

Frame heartbeat(uint8_t system_status, uint32_t custom_mode, uint8_t sysid) {
  Bytes payload(9);
  put(payload, 0, custom_mode, 4);
  payload[7] = system_status;
  payload[8] = 3;
  Frame frame = message(0, std::move(payload));
  frame.system = sysid;
  return frame;
}

Frame command_long(const CommandLong& command, uint8_t sysid) {
  Bytes payload(33);
  put_float(payload, 0, command.param1);
  put_float(payload, 4, command.param2);
  put_float(payload, 8, command.param3);
  put_float(payload, 12, command.param4);
  put_float(payload, 16, command.param5);
  put_float(payload, 20, command.param6);
  put_float(payload, 24, command.param7);
  put(payload, 28, command.command, 2);
  payload[31] = command.target_component;
  payload[32] = command.confirmation;
  Frame frame = message(76, std::move(payload));
  frame.system = sysid;
  return frame;
}

Frame raw_position(int32_t latitude, int32_t longitude) {
  Bytes payload(30);
  put(payload, 8, static_cast<uint32_t>(latitude), 4);
  put(payload, 12, static_cast<uint32_t>(longitude), 4);
  return message(24, std::move(payload));
}

Frame altitude(float metres) {
  Bytes payload(32);
  put_float(payload, 0, metres);
  return message(141, std::move(payload));
}

Frame stream_on(bool on) {
  Bytes payload(6);
  payload[3] = on ? 1 : 0;
  return message(67, std::move(payload));
}

std::string hex(std::span<const uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace support
