#include "groundstation/firmware/send.h"

#include <gtest/gtest.h>

#include <cmath>

#include "groundstation/firmware/firmware_rig.h"

namespace groundstation {
namespace {

using Phase = FirmwareSend::Phase;
constexpr uint64_t kSecond = 1'000'000;

class FirmwareSendTest : public ::testing::Test {
 protected:
  void take(FirmwareSend& send, const FirmwareReport& report, uint64_t now) {
    send.take(report, now, [this](const PeerMessage& message) { sent.push_back(message); });
  }
  // Up to the first request.
  void begin(FirmwareSend& send) {
    EXPECT_EQ(send.due(kSecond)->msgid, 76);
    take(send, firmware_report(1), kSecond);
    EXPECT_EQ(send.due(kSecond)->msgid, 110);
  }

  std::vector<uint8_t> image = std::vector<uint8_t>(481, 5);
  std::vector<PeerMessage> sent;
};

TEST_F(FirmwareSendTest, AnnouncesAndStartsEverySecondUntilAnswered) {
  FirmwareSend send(image, "m", {});
  EXPECT_EQ(send.due(kSecond)->msgid, 76);
  EXPECT_FALSE(send.due(kSecond + 1).has_value());
  EXPECT_EQ(send.due(2 * kSecond)->msgid, 76);
  take(send, firmware_report(1), 2 * kSecond);
  EXPECT_EQ(send.phase(), Phase::kStarting);
  EXPECT_EQ(send.due(2 * kSecond)->msgid, 110);
  EXPECT_FALSE(send.due(2 * kSecond + 1).has_value());
  EXPECT_EQ(send.due(3 * kSecond)->msgid, 110);
}

TEST_F(FirmwareSendTest, SendsWhatIsAskedForAndNothingElse) {
  FirmwareSend send(image, "m", {});
  begin(send);
  take(send, firmware_report(2, 0, {0, 2, 3, -1, std::nanf(""), 1e30F}), kSecond);
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].payload[1], 244);
  EXPECT_EQ(sent[1].payload[6], 2);
  EXPECT_EQ(sent[1].payload[1], 5);
  EXPECT_EQ(send.covered(), 2U);
  take(send, firmware_report(2, 0, {2}), kSecond);
  EXPECT_EQ(send.sent(), 3U);
  EXPECT_EQ(send.covered(), 2U);
  take(send, firmware_report(3), 2 * kSecond);
  EXPECT_EQ(send.phase(), Phase::kDone);
}

TEST_F(FirmwareSendTest, EveryNthChunkIsLostWhenWanted) {
  FirmwareSend send(image, "m", {.drop_every = 2});
  begin(send);
  take(send, firmware_report(2, 0, {0, 1, 2}), kSecond);
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[1].payload[6], 2);
  EXPECT_EQ(send.dropped(), 1U);
}

TEST_F(FirmwareSendTest, RefusalsOfTheAnnouncement) {
  FirmwareSend no_room(image, "m", {});
  take(no_room, firmware_report(1, 3), kSecond);
  EXPECT_EQ(no_room.phase(), Phase::kNoRoom);
  FirmwareSend busy(image, "m", {});
  take(busy, firmware_report(1, 4), kSecond);
  EXPECT_EQ(busy.phase(), Phase::kBusy);
  FirmwareSend resumed(image, "m", {.resume = true});
  take(resumed, firmware_report(1, 4), kSecond);
  EXPECT_EQ(resumed.phase(), Phase::kStarting);
  take(resumed, firmware_report(3, 4), kSecond);
  EXPECT_EQ(resumed.phase(), Phase::kSending);
}

TEST_F(FirmwareSendTest, AfterSilenceAStartAsksForTheVerdict) {
  FirmwareSend send(image, "m", {});
  begin(send);
  take(send, firmware_report(2, 0, {0}), kSecond);
  EXPECT_FALSE(send.due(3 * kSecond - 1).has_value());
  EXPECT_EQ(send.due(3 * kSecond)->msgid, 110);
  take(send, firmware_report(3, 4), 3 * kSecond);
  EXPECT_EQ(send.phase(), Phase::kSending);
  EXPECT_EQ(send.stands_since_us(), kSecond);
  EXPECT_EQ(send.silent_since_us(), 3 * kSecond);
  take(send, firmware_report(3, 0), 4 * kSecond);
  EXPECT_EQ(send.phase(), Phase::kDone);
}

TEST_F(FirmwareSendTest, TellsABadMd5FromACameraThatWasStartedAnew) {
  FirmwareSend bad(image, "m", {});
  begin(bad);
  take(bad, firmware_report(2, 0, {0}), kSecond);
  take(bad, firmware_report(3, 3), 2 * kSecond);
  EXPECT_EQ(bad.phase(), Phase::kBadMd5);
  FirmwareSend forgotten(image, "m", {});
  begin(forgotten);
  take(forgotten, firmware_report(2, 0, {0}), kSecond);
  EXPECT_TRUE(forgotten.due(4 * kSecond).has_value());
  take(forgotten, firmware_report(3, 3), 4 * kSecond);
  EXPECT_EQ(forgotten.phase(), Phase::kForgotten);
}

TEST_F(FirmwareSendTest, ReportsToOthersAndEarlyOnesMeanNothing) {
  FirmwareSend send(image, "m", {});
  FirmwareReport other = firmware_report(1, 3);
  other.board = 7;
  take(send, other, kSecond);
  take(send, firmware_report(2, 0, {0}), kSecond);
  take(send, firmware_report(3, 0), kSecond);
  EXPECT_EQ(send.phase(), Phase::kAnnouncing);
  EXPECT_TRUE(sent.empty());
}

}  // namespace
}  // namespace groundstation
