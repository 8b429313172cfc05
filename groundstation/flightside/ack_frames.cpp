#include "groundstation/flightside/ack_frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "groundstation/messages/hex_text.h"

namespace groundstation {
namespace {

constexpr size_t kAckHeader = 12;
constexpr size_t kAckAround = 16;
constexpr size_t kAckShown = 64;

uint16_t internet_checksum(std::span<const uint8_t> bytes) {
  uint32_t sum = 0;
  for (size_t i = 0; i < bytes.size(); i++) {
    sum += static_cast<uint32_t>(bytes[i]) << (i % 2 == 0 ? 0 : 8);
    sum = (sum & 0xFFFF) + (sum >> 16);
  }
  return static_cast<uint16_t>(~sum);
}

}  // namespace

std::optional<AckFrame> parse_ack_frame(std::span<const uint8_t> datagram, std::string* trouble) {
  if (datagram.size() < kAckAround || std::memcmp(datagram.data(), "C0XF", 4) != 0) {
    *trouble = "does not begin like one";
    return std::nullopt;
  }
  const std::span<const uint8_t> payload =
      datagram.subspan(kAckHeader, datagram.size() - kAckAround);
  if (std::memcmp(datagram.data() + datagram.size() - 4, "FX0C", 4) != 0) {
    *trouble = "does not end like one";
    return std::nullopt;
  }
  if (base::load_u16le(datagram.data() + 8) != payload.size()) {
    *trouble = fmt::format("claims {} bytes and has {}", base::load_u16le(datagram.data() + 8),
                           payload.size());
    return std::nullopt;
  }
  const uint16_t claimed = base::load_u16le(datagram.data() + 10);
  if (const uint16_t sum = internet_checksum(payload); sum != claimed) {
    *trouble = fmt::format("its checksum is {:04x}, not {:04x}", sum, claimed);
    return std::nullopt;
  }
  return AckFrame{base::load_u32le(datagram.data() + 4), payload};
}

std::array<uint8_t, 6> ack_answer(uint32_t stamp) {
  std::array<uint8_t, 6> answer{'F', 'F'};
  base::store_u32le(answer.data() + 2, stamp);
  return answer;
}

std::string ack_payload_text(std::span<const uint8_t> payload) {
  const bool text = std::all_of(payload.begin(), payload.end(),
                                [](uint8_t byte) { return byte >= 0x20 && byte < 0x7F; });
  if (!text || payload.empty()) return hex_text(payload, kAckShown);
  const size_t shown = std::min(payload.size(), kAckShown);
  return fmt::format("\"{}\"{}",
                     std::string(payload.begin(), payload.begin() + static_cast<ptrdiff_t>(shown)),
                     shown < payload.size() ? "..." : "");
}

}  // namespace groundstation
