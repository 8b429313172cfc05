#include "flightlink/wire/aircraft_position.h"

#include <atomic>

#include "base/relaxed.h"
#include "base/renew.h"

namespace flightlink {
namespace {

using base::kRelaxed;

struct AircraftPosition {
  std::atomic<int32_t> latitude;
  std::atomic<int32_t> longitude;
  std::atomic<int32_t> altitude_32;
  std::atomic<int32_t> altitude_141;
  std::atomic<bool> heard_141;  // publishes the first altitude of message 141 (release, acquire)
};

AircraftPosition position{};

}  // namespace

void store_latitude(int32_t latitude) { position.latitude.store(latitude, kRelaxed); }

void store_longitude(int32_t longitude) { position.longitude.store(longitude, kRelaxed); }

int32_t get_latitude() { return position.latitude.load(kRelaxed); }

int32_t get_longitude() { return position.longitude.load(kRelaxed); }

void store_altitude_from_32(int32_t altitude) { position.altitude_32.store(altitude, kRelaxed); }

void store_altitude_from_141(int32_t altitude) {
  position.altitude_141.store(altitude, kRelaxed);
  position.heard_141.store(true, std::memory_order_release);
}

int32_t get_altitude() {
  const bool better = position.heard_141.load(std::memory_order_acquire);
  return (better ? position.altitude_141 : position.altitude_32).load(kRelaxed);
}

void aircraft_position_reset() { base::renew(position); }

}  // namespace flightlink
