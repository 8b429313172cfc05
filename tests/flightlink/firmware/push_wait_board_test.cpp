// How long a push waits for its board: for the answer to the start command, and for the verdict.
#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "flightlink/firmware/push_rig.h"
#include "support/patience.h"

namespace flightlink {
namespace {

using link_test::FirmwarePushing;
using link_test::kFromGimbal;
using link_test::kFromRepeater;
using link_test::kGimbal;
using link_test::kRepeater;

TEST_F(FirmwarePushing, OnlyTheAnswerEndsTheStartCommands) {
  for (const auto& [image, sender] :
       {std::pair{kGimbal, kFromGimbal}, {kRepeater, kFromRepeater}}) {
    clean();
    fake_base::reset();
    put(image);
    int starts = 0;
    each_second([&, sender = sender](int second) {
      const auto sent = all();
      if (second > 4) report(sender, 3);
      if (second > 4) return;
      ASSERT_EQ(sent.size(), 1U) << second;
      if (is_start(sent[0])) starts++;
      // A verdict on an earlier push, and a request of then: its chunk leaves all the same.
      if (second == 1) report(sender, 3);
      if (second == 2) report(sender, 5);
      if (second == 3) {
        report(sender, 2, {2, 2, 2, 2, 2, 2, 2});
        EXPECT_EQ(all().size(), 7U);
      }
      if (second == 4) report(sender, 1);
      if (second == 4 && sender == kFromGimbal) {
        EXPECT_TRUE(is_md5(next()));
        report(sender, 5);  // behind its answer no second passes
      }
    });
    push();
    EXPECT_EQ(starts, 4) << image;
    EXPECT_EQ(firmware_board_type(), 8);
    all();
  }
}

// Beside a push to the gimbal that waits for its verdict.
class FirmwareWaiting : public FirmwarePushing {
 protected:
  FirmwareWaiting() {
    put(kGimbal);
    each_second([](int) { report(kFromGimbal, 1); });
    heartbeat();
    pushing_ = std::thread([] { FirmwarePushThread(nullptr); });
    EXPECT_TRUE(support::poll_until(
        [] {
          const std::lock_guard lock(firmware_push.lock);
          return firmware_push.state == 1;
        },
        support::seconds(10)));
  }
  // The push has to come to its end by itself.
  ~FirmwareWaiting() override {
    EXPECT_TRUE(
        support::poll_until([] { return firmware_board_type() == 8; }, support::seconds(5)));
    report(kFromGimbal, 5);
    pushing_.join();
  }
  // So long no report comes. Gives the push time to take notice.
  static void silence_s(uint64_t seconds) {
    {
      const std::lock_guard lock(firmware_push.lock);
      fake_base::advance_us(seconds * 1000000);
    }
    firmware_push.reported.notify_all();
    support::let_pass(support::milliseconds(20));
  }

 private:
  std::thread pushing_;
};

TEST_F(FirmwareWaiting, ThePushSleepsUntilTheBoardsVerdict) {
  report(kFromGimbal, 2, {0, 1, 2});
  EXPECT_EQ(firmware_board_type(), 7);
  report(kFromGimbal, 3);
}

TEST_F(FirmwareWaiting, ABoardThatHasHadItsLastChunkAndFallsSilentIsGivenUp) {
  report(kFromGimbal, 2, {2, 0});
  silence_s(9);
  report(kFromGimbal, 2, {1});  // ten seconds from here
  silence_s(9);
  report(kFromGimbal, 1);  // is no request
  EXPECT_EQ(firmware_board_type(), 7);
  silence_s(1);
}

TEST_F(FirmwareWaiting, ABoardThatHasNotAskedForItsLastChunkIsWaitedFor) {
  report(kFromGimbal, 2, {0, 1, 3});
  silence_s(100);
  EXPECT_EQ(firmware_board_type(), 7);
  report(kFromGimbal, 5);
}

}  // namespace
}  // namespace flightlink
