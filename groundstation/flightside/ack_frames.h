// Acknowledged datagrams as their receiver sees them.
//
// n payload bytes in n + 16, little-endian: "C0XF" @0, u32 send stamp @4, u16 n @8, u16 Internet
// checksum of the payload @10, payload @12, "FX0C" behind it. Answer: "FF" and the stamp.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace groundstation {

struct AckFrame {
  uint32_t stamp;
  std::span<const uint8_t> payload;  // in the datagram
};

// Reads one datagram. On a damaged one nothing, and `trouble` says what is wrong.
[[nodiscard]] std::optional<AckFrame> parse_ack_frame(std::span<const uint8_t> datagram,
                                                      std::string* trouble);
[[nodiscard]] std::array<uint8_t, 6> ack_answer(uint32_t stamp);

// The payload for a person: text in quotes when it is text, else hexadecimal.
[[nodiscard]] std::string ack_payload_text(std::span<const uint8_t> payload);

}  // namespace groundstation
