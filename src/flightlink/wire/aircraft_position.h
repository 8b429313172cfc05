// Where the aircraft is, as last told on a link (the altitude also on the serial line); read when a
// photo is tagged. Any thread may call; no order between the three values.
#pragma once

#include <cstdint>

namespace flightlink {

// 1e-7 degree; negative is south or west. 0 until told.
void store_latitude(int32_t latitude);
void store_longitude(int32_t longitude);
[[nodiscard]] int32_t get_latitude();
[[nodiscard]] int32_t get_longitude();

// Altitude in tenths of a metre. Message 141 is the better source: once it has spoken, the value
// stored for message 32 no longer counts.
void store_altitude_from_32(int32_t altitude);
void store_altitude_from_141(int32_t altitude);
[[nodiscard]] int32_t get_altitude();

// As at program start; before any thread runs, and in tests.
void aircraft_position_reset();

}  // namespace flightlink
