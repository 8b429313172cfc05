#include "camera/frame_decoder.h"

#include <array>
#include <cstdio>
#include <map>

namespace camera_test {
namespace {

constexpr size_t kHeader = 6;

// CRC-16/MCRF4XX, bit by bit.
uint16_t crc_step(uint16_t crc, uint8_t byte) {
  crc = static_cast<uint16_t>(crc ^ byte);
  for (int bit = 0; bit < 8; bit++) {
    crc = static_cast<uint16_t>((crc & 1) != 0 ? (crc >> 1) ^ 0x8408 : crc >> 1);
  }
  return crc;
}

// Message id to payload length and the byte that closes the checksum.
struct Kind {
  uint8_t length;
  uint8_t extra;
};
const std::map<uint8_t, Kind> kKinds = {
    {0, {9, 50}}, {52, {7, 221}}, {57, {11, 229}}, {76, {33, 152}}, {77, {3, 143}}};

std::string bad(const char* why, std::span<const uint8_t> datagram) {
  return std::string("bad frame: ") + why + ": " + hex(datagram);
}

}  // namespace

std::string hex(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x ", byte);
    text += digits.data();
  }
  if (!text.empty()) text.pop_back();
  return text;
}

std::string decode_frame(std::span<const uint8_t> datagram) {
  if (datagram.size() < kHeader + 2) return bad("short", datagram);
  if (datagram[0] != 0xFE) return bad("start", datagram);
  const auto kind = kKinds.find(datagram[5]);
  if (kind == kKinds.end()) return bad("message id", datagram);
  const size_t length = datagram[1];
  if (length != kind->second.length) return bad("payload length", datagram);
  if (datagram.size() != kHeader + length + 2) return bad("size", datagram);
  if (datagram[4] != 0) return bad("component id", datagram);
  uint16_t crc = 0xFFFF;
  for (size_t i = 1; i < kHeader + length; i++) crc = crc_step(crc, datagram[i]);
  crc = crc_step(crc, kind->second.extra);
  if (datagram[kHeader + length] != (crc & 0xFF) || datagram[kHeader + length + 1] != crc >> 8) {
    return bad("checksum", datagram);
  }
  const uint8_t system = datagram[3];
  const std::string to = system == 35 ? "flight" : system == 36 ? "app" : std::to_string(system);
  return to + " " + std::to_string(datagram[5]) + ": " + hex(datagram.subspan(kHeader, length));
}

}  // namespace camera_test
