#include "flightlink/wire/aircraft_position.h"

#include <gtest/gtest.h>

#include "support/fresh_process.h"

namespace flightlink {
namespace {

using link_test::in_fresh_process;

TEST(AircraftPosition, IsZeroUntilTold) {
  in_fresh_process([] {
    EXPECT_EQ(get_latitude(), 0);
    EXPECT_EQ(get_longitude(), 0);
    EXPECT_EQ(get_altitude(), 0);
  });
}

TEST(AircraftPosition, KeepsSignAndWidth) {
  in_fresh_process([] {
    store_latitude(-900000000);
    store_longitude(1800000000);
    EXPECT_EQ(get_latitude(), -900000000);
    EXPECT_EQ(get_longitude(), 1800000000);
  });
}

TEST(AircraftPosition, Message141TakesOverFromMessage32ForGood) {
  in_fresh_process([] {
    store_altitude_from_32(55);
    EXPECT_EQ(get_altitude(), 55);
    store_altitude_from_141(-1234);
    EXPECT_EQ(get_altitude(), -1234);
    store_altitude_from_32(99);
    EXPECT_EQ(get_altitude(), -1234);
    store_altitude_from_141(0);
    EXPECT_EQ(get_altitude(), 0);
  });
}

}  // namespace
}  // namespace flightlink
