#include <gtest/gtest.h>

#include "groundstation/terminal/progress_line.h"
#include "groundstation/terminal/rate.h"

namespace groundstation_test {
namespace {

using groundstation::bar_text;
using groundstation::cut_text;
using groundstation::Rate;
using groundstation::time_text;

TEST(Rate, NothingAndOnePointAreZero) {
  Rate rate;
  EXPECT_EQ(rate.per_second(), 0);
  rate.note(1'000'000, 500);
  EXPECT_EQ(rate.per_second(), 0);
  rate.note(1'000'000, 900);
  EXPECT_EQ(rate.per_second(), 0);
}

// Two pieces in quick succession: what came before them in that second counts too.
TEST(Rate, IsThatOfTheLastSecondAtLeast) {
  Rate rate;
  rate.note(0, 0);
  rate.note(500'000, 100);
  EXPECT_DOUBLE_EQ(rate.per_second(), 200);
  rate.note(1'000'000, 200);
  rate.note(1'010'000, 900);
  rate.note(1'020'000, 1600);
  EXPECT_DOUBLE_EQ(rate.per_second(), 1600 / 1.02);
  // The first second is over and forgotten, but for its end.
  rate.note(2'010'000, 1600);
  EXPECT_DOUBLE_EQ(rate.per_second(), 700);
  rate.note(3'020'000, 1600);
  EXPECT_DOUBLE_EQ(rate.per_second(), 0);
}

TEST(Rate, LessThanBeforeBeginsAnew) {
  Rate rate;
  rate.note(0, 0);
  rate.note(1'000'000, 1000);
  rate.note(1'100'000, 5);
  EXPECT_EQ(rate.per_second(), 0);
  rate.note(1'600'000, 10);
  EXPECT_DOUBLE_EQ(rate.per_second(), 10);
}

TEST(TimeText, MinutesAndHours) {
  EXPECT_EQ(time_text(0), "0:00");
  EXPECT_EQ(time_text(7.4), "0:07");
  EXPECT_EQ(time_text(59.6), "1:00");
  EXPECT_EQ(time_text(3599), "59:59");
  EXPECT_EQ(time_text(3723), "1:02:03");
}

TEST(BarText, FillsItsCells) {
  EXPECT_EQ(bar_text(0, 10, 10), "[          ]   0%");
  EXPECT_EQ(bar_text(5, 10, 10), "[#####     ]  50%");
  EXPECT_EQ(bar_text(10, 10, 10), "[##########] 100%");
  EXPECT_EQ(bar_text(20, 10, 10), "[##########] 100%");
  EXPECT_EQ(bar_text(0, 0, 10), "[          ]   0%");
  // Too narrow for a bar.
  EXPECT_EQ(bar_text(1, 3, 4), " 33%");
}

TEST(CutText, CountsCharactersAndKeepsThemWhole) {
  EXPECT_EQ(cut_text("abcdef", 4), "abcd");
  EXPECT_EQ(cut_text("abc", 4), "abc");
  EXPECT_EQ(cut_text("a\xC3\xA9z", 2), "a\xC3\xA9");
  EXPECT_EQ(cut_text("a\xC3\xA9z", 1), "a");
}

}  // namespace
}  // namespace groundstation_test
