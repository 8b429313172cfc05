// Bounded formatting and the test that every name from outside has to pass.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace base {

// Formats into a fixed buffer. The text is cut where the buffer ends and is always terminated.
// Returns the length of the text that is in the buffer, without the terminator.
template <size_t Size>
[[gnu::format(printf, 2, 3)]] inline size_t format_text(char (&to)[Size], const char* format, ...) {
  static_assert(Size > 0);
  va_list arguments;
  va_start(arguments, format);
  const int wanted = std::vsnprintf(to, Size, format, arguments);
  va_end(arguments);
  if (wanted < 0) {
    to[0] = '\0';
    return 0;
  }
  const auto length = static_cast<size_t>(wanted);
  return length < Size ? length : Size - 1;
}

// Whether a name that came from outside may become part of a path or of a shell command: not empty
// and only A-Z a-z 0-9 . _ -. So it holds no slash, blank, quote or other byte with a meaning of
// its own, and is neither "." nor "..".
[[nodiscard]] inline bool safe_name(std::string_view name) {
  if (name.empty() || name == "." || name == "..") return false;
  for (const char c : name) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    const bool digit = c >= '0' && c <= '9';
    if (!letter && !digit && c != '.' && c != '_' && c != '-') return false;
  }
  return true;
}

}  // namespace base
