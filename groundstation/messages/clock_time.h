// Points in time as the clock command takes and shows them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace groundstation {

// Milliseconds since 1970 from "2020-01-31T12:00:00" ("T" or a space; "Z", "+HH:MM" or "-HH:MM" may
// follow, UTC if not) or from a whole number of them. Nothing for any other text, for a day that
// the calendar lacks and for a time before 1970.
[[nodiscard]] std::optional<uint64_t> parse_clock(const std::string& text);

// "2020-01-31 12:00:00": the whole seconds of the time with so many hours added.
[[nodiscard]] std::string clock_text(uint64_t milliseconds, int hours);

}  // namespace groundstation
