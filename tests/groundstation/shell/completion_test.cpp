#include "groundstation/shell/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace groundstation_test {
namespace {

using groundstation::completions;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

TEST(Completion, OffersCommands) {
  EXPECT_THAT(completions(""),
              AllOf(IsSupersetOf({"status", "set", "get", "timelapse", "format", "defaults",
                                  "params", "clock", "telemetry", "link-quality", "help", "quit"}),
                    Not(Contains("shell"))));
  EXPECT_THAT(completions("para"), ElementsAre("params"));
  EXPECT_THAT(completions("record st"), ElementsAre("start", "stop"));
  EXPECT_THAT(completions("timelapse "), ElementsAre("start", "stop"));
  EXPECT_THAT(completions("mode v"), ElementsAre("video"));
  EXPECT_THAT(completions("nonsense"), IsEmpty());
}

TEST(Completion, OffersSettingsAndTheirWords) {
  EXPECT_THAT(completions("get max"), ElementsAre("Max_Agc", "max_gain"));
  EXPECT_THAT(completions("set scene"), ElementsAre("scene_white_balance"));
  EXPECT_THAT(completions("set white_balance "), ElementsAre("Auto", "Day", "Cloudy"));
  EXPECT_THAT(completions("set resolution 1920x1080-3"), ElementsAre("1920x1080-30P"));
  EXPECT_THAT(completions("set saturation "), IsEmpty());
  EXPECT_THAT(completions("set nonsense "), IsEmpty());
  EXPECT_THAT(completions("set white_balance Day "), IsEmpty());
}

TEST(Completion, OffersOptions) {
  EXPECT_THAT(completions("timelapse start --c"), ElementsAre("--count"));
  EXPECT_THAT(completions("set --any white_balance c"), ElementsAre("Cloudy"));
  EXPECT_THAT(completions("photo --"), IsSupersetOf({"--mode", "--sequence", "--json"}));
}

}  // namespace
}  // namespace groundstation_test
