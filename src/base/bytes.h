// Fixed-width fields in byte buffers, and the one way from a float to an integer.
//
// Wire layouts are written and read with these operations and never by casting a struct, so byte
// order and alignment do not depend on the machine. The caller guarantees that the buffer holds the
// field. Safe from any thread; nothing fails.
#pragma once

#include <bit>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>

namespace base {

inline void store_u16le(uint8_t* to, uint16_t value) {
  to[0] = static_cast<uint8_t>(value);
  to[1] = static_cast<uint8_t>(value >> 8);
}

inline void store_u32le(uint8_t* to, uint32_t value) {
  for (int i = 0; i < 4; i++) to[i] = static_cast<uint8_t>(value >> (8 * i));
}

inline void store_u64le(uint8_t* to, uint64_t value) {
  for (int i = 0; i < 8; i++) to[i] = static_cast<uint8_t>(value >> (8 * i));
}

inline void store_f32le(uint8_t* to, float value) {
  store_u32le(to, std::bit_cast<uint32_t>(value));
}

inline void store_u16be(uint8_t* to, uint16_t value) {
  to[0] = static_cast<uint8_t>(value >> 8);
  to[1] = static_cast<uint8_t>(value);
}

[[nodiscard]] inline uint16_t load_u16le(const uint8_t* from) {
  return static_cast<uint16_t>(from[0] | (from[1] << 8));
}

[[nodiscard]] inline uint32_t load_u32le(const uint8_t* from) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; i--) value = (value << 8) | from[i];
  return value;
}

[[nodiscard]] inline uint64_t load_u64le(const uint8_t* from) {
  uint64_t value = 0;
  for (int i = 7; i >= 0; i--) value = (value << 8) | from[i];
  return value;
}

[[nodiscard]] inline float load_f32le(const uint8_t* from) {
  return std::bit_cast<float>(load_u32le(from));
}

[[nodiscard]] inline uint16_t load_u16be(const uint8_t* from) {
  return static_cast<uint16_t>((from[0] << 8) | from[1]);
}

// Truncates toward zero and saturates at the limits of Integer: NaN gives 0, a negative value gives
// 0 for an unsigned Integer. A plain cast is undefined for all of these.
template <std::integral Integer>
[[nodiscard]] inline Integer saturate(double value) {
  if (std::isnan(value)) return 0;
  constexpr auto low = std::numeric_limits<Integer>::min();
  constexpr auto high = std::numeric_limits<Integer>::max();
  // The first double above `high`; exact for every width because it is a power of two.
  constexpr Integer half = high / 2;
  constexpr double above = (static_cast<double>(half) + 1.0) * 2.0;
  if (value >= above) return high;
  if (value <= static_cast<double>(low)) return low;
  return static_cast<Integer>(value);
}

}  // namespace base
