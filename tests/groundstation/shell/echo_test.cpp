#include "groundstation/shell/echo.h"

#include <gtest/gtest.h>

namespace groundstation_test {
namespace {

using groundstation::CameraEvent;
using groundstation::CameraReport;
using groundstation::CommandAck;

const CameraEvent kStarted = CameraReport{groundstation::kReportRecordingStarted, 0};
const CameraEvent kTaken = CameraReport{groundstation::kReportPhotoTaken, 0};

TEST(OwnCommands, ExplainWhatTheyMakeTheCameraReport) {
  groundstation::OwnCommands own;
  EXPECT_FALSE(own.explain(kStarted, 1));
  own.begin("record start");
  EXPECT_TRUE(own.explain(kStarted, 2));
  EXPECT_TRUE(own.explain(CommandAck{groundstation::kAckRecordStart, 0}, 2));
  EXPECT_FALSE(own.explain(kTaken, 2));
  own.end(10);
  EXPECT_TRUE(own.explain(kStarted, 1'000'010));
  EXPECT_FALSE(own.explain(kTaken, 1'000'010));
  // The next command may run meanwhile.
  own.begin("status");
  EXPECT_TRUE(own.explain(kStarted, 1'000'010));
  EXPECT_FALSE(own.explain(kStarted, 9'000'010));
}

TEST(OwnCommands, DoNotExplainWhatComesMuchLater) {
  groundstation::OwnCommands own;
  own.begin("photo");
  EXPECT_TRUE(own.explain(kTaken, 60'000'000));
  own.end(60'000'000);
  EXPECT_FALSE(own.explain(kTaken, 70'000'000));
}

TEST(OwnCommands, OthersExplainNothing) {
  groundstation::OwnCommands own;
  own.begin("live");
  EXPECT_FALSE(own.explain(kStarted, 2));
}

}  // namespace
}  // namespace groundstation_test
