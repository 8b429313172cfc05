// Bytes as hexadecimal text, both ways.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace groundstation {

// "fe 01 02"; behind `most` bytes "..." and their number.
[[nodiscard]] std::string hex_text(std::span<const uint8_t> bytes, size_t most = 64);
// Pairs of digits; blanks, colons and commas between them are fine. Nothing when it is anything
// else.
[[nodiscard]] std::optional<std::vector<uint8_t>> parse_hex(std::string_view text);

}  // namespace groundstation
