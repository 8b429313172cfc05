#include "groundstation/messages/clock_time.h"

#include <gtest/gtest.h>

namespace groundstation_test {
namespace {

using groundstation::clock_text;
using groundstation::parse_clock;

TEST(ClockTime, ReadsATimeWithItsZone) {
  EXPECT_EQ(parse_clock("2020-01-01T00:00:00"), 1577836800000U);
  EXPECT_EQ(parse_clock("2020-01-01 00:00:00Z"), 1577836800000U);
  EXPECT_EQ(parse_clock("2020-01-01T02:30:00+02:30"), 1577836800000U);
  EXPECT_EQ(parse_clock("2019-12-31T19:00:00-05:00"), 1577836800000U);
  EXPECT_EQ(parse_clock("2020-02-29T23:59:59"), 1583020799000U);
  EXPECT_EQ(parse_clock("1970-01-01T00:00:00"), 0U);
}

TEST(ClockTime, ReadsMilliseconds) {
  EXPECT_EQ(parse_clock("1577836800999"), 1577836800999U);
  EXPECT_EQ(parse_clock("18446744073709551615"), UINT64_MAX);
  EXPECT_FALSE(parse_clock("18446744073709551616").has_value());
}

TEST(ClockTime, RefusesOtherTexts) {
  for (const char* text :
       {"", "now", "-5", "2020-01-01", "2019-02-29T00:00:00", "2020-13-01T00:00:00",
        "2020-01-01T24:00:00", "2020-01-01T00:60:00", "2020-01-01T00:00:60",
        "2020-01-01T00:00:00+24:00", "2020-01-01T00:00:00 Z", "1969-12-31T23:59:59",
        "1970-01-01T00:00:00+00:01"}) {
    EXPECT_FALSE(parse_clock(text).has_value()) << text;
  }
}

TEST(ClockTime, ShowsTheShiftedTime) {
  EXPECT_EQ(clock_text(1577836800999, 8), "2020-01-01 08:00:00");
  EXPECT_EQ(clock_text(1577836800000, -1), "2019-12-31 23:00:00");
  EXPECT_EQ(clock_text(0, -24), "1969-12-31 00:00:00");
  EXPECT_EQ(clock_text(253402300799999, 0), "9999-12-31 23:59:59");
  EXPECT_EQ(clock_text(UINT64_MAX, 0), "18446744073709551615 ms");
}

}  // namespace
}  // namespace groundstation_test
