#include "flightlink/wire/aircraft_position.h"

#include <gtest/gtest.h>

namespace flightlink {
namespace {

class AircraftPosition : public ::testing::Test {
 protected:
  AircraftPosition() { aircraft_position_reset(); }
};

TEST_F(AircraftPosition, IsZeroUntilTold) {
  EXPECT_EQ(get_latitude(), 0);
  EXPECT_EQ(get_longitude(), 0);
  EXPECT_EQ(get_altitude(), 0);
}

TEST_F(AircraftPosition, KeepsSignAndWidth) {
  store_latitude(-900000000);
  store_longitude(1800000000);
  EXPECT_EQ(get_latitude(), -900000000);
  EXPECT_EQ(get_longitude(), 1800000000);
}

TEST_F(AircraftPosition, Message141TakesOverFromMessage32ForGood) {
  store_altitude_from_32(55);
  EXPECT_EQ(get_altitude(), 55);
  store_altitude_from_141(-1234);
  EXPECT_EQ(get_altitude(), -1234);
  store_altitude_from_32(99);
  EXPECT_EQ(get_altitude(), -1234);
  store_altitude_from_141(0);
  EXPECT_EQ(get_altitude(), 0);
}

}  // namespace
}  // namespace flightlink
