#include "supervisor/state/turns.h"

#include <string>
#include <thread>
#include <vector>

#include "fake_base/fake_base.h"

namespace supervisor {
namespace {

using Events = std::vector<std::string>;

const std::string kAlive = "tell WATCHDOG=1";
const std::string kStarted = "tell READY=1";

class Turns : public fake_base::FakeBaseTest {
 protected:
  Turns() {
    turns_reset();
    turn_as(kFifoReader);
    fake_base::set_watchdog_limit_us(10'000'000);
  }
  static void turn_of(MainThread thread) {
    std::thread([thread] {
      turn_as(thread);
      turned();
    }).join();
  }
  // What is told in a pass that much later.
  static Events told_after(uint64_t us) {
    fake_base::advance_us(us);
    const size_t before = fake_base::events().size();
    turned_and_tell();
    Events events = fake_base::events();
    events.erase(events.begin(), events.begin() + static_cast<ptrdiff_t>(before));
    return events;
  }
};

TEST_F(Turns, NothingIsToldBeforeAllThreeHaveComeRound) {
  EXPECT_EQ(told_after(0), Events{});
  turn_of(kPeerThread);
  EXPECT_EQ(told_after(5'000'000), Events{});
  turn_of(kCameraClient);
  EXPECT_EQ(told_after(0), (Events{kStarted, kAlive}));
}

TEST_F(Turns, EachTellingNeedsATurnOfEachSinceTheOneBefore) {
  turn_of(kPeerThread);
  turn_of(kCameraClient);
  EXPECT_EQ(told_after(0), (Events{kStarted, kAlive}));
  for (const MainThread missing : {kPeerThread, kCameraClient}) {
    turn_of(missing == kPeerThread ? kCameraClient : kPeerThread);
    EXPECT_EQ(told_after(60'000'000), Events{}) << int{missing};
    turn_of(missing);
    EXPECT_EQ(told_after(0), Events{kAlive}) << int{missing};
  }
}

TEST_F(Turns, ItIsToldOnceASecondAtMost) {
  turn_of(kPeerThread);
  turn_of(kCameraClient);
  EXPECT_EQ(told_after(0), (Events{kStarted, kAlive}));
  turn_of(kPeerThread);
  turn_of(kCameraClient);
  EXPECT_EQ(told_after(999'999), Events{});
  EXPECT_EQ(told_after(1), Events{kAlive});
}

TEST_F(Turns, AThreadThatIsNoneOfTheThreeIsNotTakenForOne) {
  turn_of(kPeerThread);
  std::thread(turned).join();
  EXPECT_EQ(told_after(0), Events{});
}

TEST_F(Turns, WithoutAWatchdogOnlyTheStartIsTold) {
  fake_base::set_watchdog_limit_us(0);
  for (const Events& told : {Events{kStarted}, Events{}}) {
    turn_of(kPeerThread);
    turn_of(kCameraClient);
    EXPECT_EQ(told_after(2'000'000), told);
  }
}

}  // namespace
}  // namespace supervisor
