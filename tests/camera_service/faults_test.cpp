#include "camera_service/faults.h"

#include <gtest/gtest.h>

namespace camera_service {
namespace {

FaultRule rule(std::optional<int> msg_id, int value, int times) {
  return {Fault::kRval, msg_id, value, {}, times};
}

TEST(Faults, RuleAppliesAsOftenAsGiven) {
  Faults faults;
  faults.add(rule(769, -7, 2));
  EXPECT_EQ(faults.take(Fault::kRval, 769)->value, -7);
  EXPECT_FALSE(faults.take(Fault::kRval, 513).has_value());
  EXPECT_TRUE(faults.take(Fault::kRval, 769).has_value());
  EXPECT_FALSE(faults.take(Fault::kRval, 769).has_value());
}

TEST(Faults, RuleWithoutANumberOfTimesStaysUntilCleared) {
  Faults faults;
  faults.add(rule(769, -7, kAlways));
  for (int i = 0; i < 100; i++) ASSERT_TRUE(faults.take(Fault::kRval, 769).has_value());
  faults.clear();
  EXPECT_FALSE(faults.take(Fault::kRval, 769).has_value());
}

TEST(Faults, RuleForTheCommandComesBeforeTheOneForAll) {
  Faults faults;
  faults.add(rule({}, -1, kAlways));
  faults.add(rule(5, -2, 1));
  EXPECT_EQ(faults.take(Fault::kRval, 5)->value, -2);
  EXPECT_EQ(faults.take(Fault::kRval, 5)->value, -1);
}

TEST(Faults, KindsDoNotMix) {
  Faults faults;
  faults.add(rule(5, -2, kAlways));
  EXPECT_FALSE(faults.take(Fault::kMute, 5).has_value());
}

TEST(Faults, RuleOfATypeIsForThatTypeOnly) {
  Faults faults;
  faults.add({Fault::kRefuse, 2, -1, {}, kAlways, "contrast"});
  faults.add({Fault::kRefuse, 2, -2, {}, kAlways, "sharpness"});
  EXPECT_EQ(faults.take(Fault::kRefuse, 2, "contrast")->value, -1);
  EXPECT_EQ(faults.take(Fault::kRefuse, 2, "sharpness")->value, -2);
  EXPECT_FALSE(faults.take(Fault::kRefuse, 2, "saturation").has_value());
  EXPECT_FALSE(faults.take(Fault::kRefuse, 1, "contrast").has_value());
  EXPECT_FALSE(faults.take(Fault::kRefuse, 2).has_value());
}

TEST(Faults, NewRuleReplacesTheOldOneAndZeroTimesRemovesIt) {
  Faults faults;
  faults.add(rule(5, -1, kAlways));
  faults.add(rule(5, -2, kAlways));
  EXPECT_EQ(faults.take(Fault::kRval, 5)->value, -2);
  EXPECT_EQ(faults.rules().size(), 1U);
  faults.add(rule(5, 0, 0));
  EXPECT_TRUE(faults.rules().empty());
}

}  // namespace
}  // namespace camera_service
