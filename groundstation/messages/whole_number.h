// Numbers as they are written.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace groundstation {

// The whole text as a decimal number of that type; nothing when it is anything else or too large.
template <typename Number>
[[nodiscard]] std::optional<Number> whole_number(std::string_view text) {
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return number;
}

}  // namespace groundstation
