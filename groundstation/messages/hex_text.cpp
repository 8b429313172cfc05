#include "groundstation/messages/hex_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace groundstation {

std::string hex_text(std::span<const uint8_t> bytes, size_t most) {
  std::string text;
  for (const uint8_t byte : bytes.first(std::min(most, bytes.size()))) {
    text += fmt::format("{}{:02x}", text.empty() ? "" : " ", byte);
  }
  if (bytes.size() > most) text += fmt::format(" ... ({} bytes)", bytes.size());
  return text;
}

std::optional<std::vector<uint8_t>> parse_hex(std::string_view text) {
  std::vector<uint8_t> bytes;
  while (!text.empty()) {
    if (std::string_view(" \t:,").find(text.front()) != std::string_view::npos) {
      text.remove_prefix(1);
      continue;
    }
    uint8_t byte = 0;
    const char* end = text.data() + std::min<size_t>(2, text.size());
    const auto [stop, error] = std::from_chars(text.data(), end, byte, 16);
    if (error != std::errc{} || stop != text.data() + 2) return std::nullopt;
    bytes.push_back(byte);
    text.remove_prefix(2);
  }
  return bytes;
}

}  // namespace groundstation
