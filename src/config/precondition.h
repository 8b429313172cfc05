// Precondition checks that print as assertions of a named source and hold also with NDEBUG.
#pragma once

// Declared by <assert.h> as well, but there only without NDEBUG.
extern "C" [[noreturn]] void __assert_fail(const char* assertion, const char* file, unsigned line,
                                           const char* function) noexcept;

namespace config {

// Aborts with "SOURCE:LINE: FUNCTION: Assertion `ASSERTION' failed." on standard error, unless it
// holds. The line is the caller's.
inline void require(bool holds, const char* assertion, const char* source, const char* function,
                    unsigned line = __builtin_LINE()) {
  if (!holds) __assert_fail(assertion, source, line, function);
}

}  // namespace config
