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
  EXPECT_THAT(completions("help time"), ElementsAre("timelapse"));
  EXPECT_THAT(completions("help timelapse "), ElementsAre("start", "stop"));
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
  EXPECT_THAT(completions("photo --mode P"), ElementsAre("PR", "PW", "PV", "PH"));
  EXPECT_THAT(completions("photo --sequence "), IsEmpty());
  EXPECT_THAT(completions("factory snap"), ElementsAre("snap_test"));
  EXPECT_THAT(completions("firmware serve g"), ElementsAre("gimbal"));
}

TEST(Completion, OffersLocalFiles) {
  EXPECT_THAT(completions("telemetry /etc/host"), Contains("/etc/hosts"));
  EXPECT_THAT(completions("telemetry /e"), ElementsAre("/etc/"));
  EXPECT_THAT(completions("telemetry /no/such/"), IsEmpty());
  EXPECT_THAT(completions("firmware serve any -o /et"), ElementsAre("/etc/"));
}

TEST(Completion, OffersTheFilesOnTheCardAndThoseThatFitAPattern) {
  std::vector<uint16_t> ports;
  const groundstation::CardNames card = [&](uint16_t port) {
    ports.push_back(port);
    return std::vector<std::string>{"A_PW01.JPG", "A_PR02.JPG", "B.MP4"};
  };
  EXPECT_THAT(completions("media get A", card), ElementsAre("A_PW01.JPG", "A_PR02.JPG"));
  EXPECT_THAT(completions("media --port 5 rm b", card), ElementsAre("B.MP4"));
  EXPECT_THAT(completions("media info *PW*", card), ElementsAre("A_PW01.JPG"));
  EXPECT_THAT(completions("media play ?.MP4", card), ElementsAre("B.MP4"));
  EXPECT_EQ(ports, (std::vector<uint16_t>{8857, 5, 8857, 8857}));
  // Nobody is asked where no such file can stand.
  EXPECT_THAT(completions("photo ", card), IsEmpty());
  EXPECT_THAT(completions("media list p", card), ElementsAre("photos"));
  EXPECT_EQ(ports.size(), 4U);
}

}  // namespace
}  // namespace groundstation_test
