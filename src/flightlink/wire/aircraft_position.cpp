#include "flightlink/wire/aircraft_position.h"

#include <atomic>

namespace flightlink {
namespace {

std::atomic<int32_t> latitude_word;
std::atomic<int32_t> longitude_word;
std::atomic<int32_t> altitude_32;
std::atomic<int32_t> altitude_141;
std::atomic<bool> heard_141;

}  // namespace

void store_latitude(int32_t latitude) { latitude_word.store(latitude, std::memory_order_relaxed); }

void store_longitude(int32_t longitude) {
  longitude_word.store(longitude, std::memory_order_relaxed);
}

int32_t get_latitude() { return latitude_word.load(std::memory_order_relaxed); }

int32_t get_longitude() { return longitude_word.load(std::memory_order_relaxed); }

void store_altitude_from_32(int32_t altitude) {
  altitude_32.store(altitude, std::memory_order_relaxed);
}

void store_altitude_from_141(int32_t altitude) {
  altitude_141.store(altitude, std::memory_order_relaxed);
  heard_141.store(true, std::memory_order_relaxed);
}

int32_t get_altitude() {
  const auto& source = heard_141.load(std::memory_order_relaxed) ? altitude_141 : altitude_32;
  return source.load(std::memory_order_relaxed);
}

}  // namespace flightlink
