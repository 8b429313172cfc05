#include "flightlink/wire/link_timer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "flightlink/link_suite.h"

namespace flightlink {
namespace {

class LinkTimerTest : public fake_base::FakeBaseTest {};

void first_callback(union sigval) {}
void second_callback(union sigval) {}

TEST_F(LinkTimerTest, CreatesADisarmedTimer) {
  LinkTimer timer{};
  EXPECT_EQ(mavlink_timer_create(&timer, first_callback), 0);
  EXPECT_TRUE(timer.created.load());
  ASSERT_EQ(fake_base::timers().size(), 1U);
  EXPECT_EQ(fake_base::timers()[0].callback, &first_callback);
  EXPECT_EQ(fake_base::timers()[0].period_ms, 0U);
}

TEST_F(LinkTimerTest, HandleZeroIsATimerLikeAnyOther) {
  LinkTimer timer{};
  ASSERT_EQ(mavlink_timer_create(&timer, first_callback), 0);
  ASSERT_EQ(timer.handle, timer_t{});
  mavlink_timer_set(&timer, 300);
  EXPECT_EQ(fake_base::timers()[0].period_ms, 300U);
  mavlink_timer_set(&timer, 0);
  EXPECT_EQ(fake_base::timers()[0].period_ms, 0U);
  EXPECT_THAT(fake_base::events(), ElementsAre("timer 0 300", "timer 0 0"));
}

TEST_F(LinkTimerTest, ATimerThatWasNeverCreatedIsLeftAlone) {
  LinkTimer other{};
  ASSERT_EQ(mavlink_timer_create(&other, first_callback), 0);
  mavlink_timer_set(&other, 1000);
  LinkTimer never{};
  mavlink_timer_set(&never, 0);
  mavlink_timer_set(&never, 500);
  EXPECT_EQ(fake_base::timers()[0].period_ms, 1000U);
  EXPECT_THAT(fake_base::events(), ElementsAre("timer 0 1000"));
}

TEST_F(LinkTimerTest, EachTimerIsArmedByItsOwnHandle) {
  LinkTimer first{};
  LinkTimer second{};
  ASSERT_EQ(mavlink_timer_create(&first, first_callback), 0);
  ASSERT_EQ(mavlink_timer_create(&second, second_callback), 0);
  mavlink_timer_set(&second, 10000);
  EXPECT_EQ(fake_base::timers()[0].period_ms, 0U);
  EXPECT_EQ(fake_base::timers()[1].period_ms, 10000U);
}

TEST_F(LinkTimerTest, ATimerThatExistsIsKept) {
  LinkTimer timer{};
  ASSERT_EQ(mavlink_timer_create(&timer, first_callback), 0);
  EXPECT_EQ(mavlink_timer_create(&timer, second_callback), 0);
  EXPECT_EQ(fake_base::timers().size(), 1U);
}

TEST_F(LinkTimerTest, AFailedCreationIsPrintedAndLeavesNoTimer) {
  LinkTimer timer{};
  fake_base::fail_next_timer();
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(mavlink_timer_create(&timer, first_callback), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "timer_create error!\n");
  EXPECT_FALSE(timer.created.load());
  mavlink_timer_set(&timer, 5);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(LinkTimerTest, AFailedSettingIsReportedByTheSystemErrorPrinter) {
  LinkTimer timer{};
  timer.handle = reinterpret_cast<timer_t>(99);  // NOLINT: no such timer
  timer.created.store(true);
  ::testing::internal::CaptureStderr();
  mavlink_timer_set(&timer, 5);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "timer_settime: Invalid argument\n");
}

TEST_F(LinkTimerTest, AFreeLockIsTakenAtOnce) {
  base::Mutex mutex;
  EXPECT_EQ(mutex_lock_retry(&mutex, 1), 1);
  EXPECT_THAT(fake_base::sleeps(), IsEmpty());
  mutex.unlock();
}

// Holds a lock on a thread of its own until it is told to let go.
class Holder {
 public:
  explicit Holder(base::Mutex& mutex)
      : thread_([this, &mutex] {
          const std::lock_guard lock(mutex);
          held_ = true;
          release_.wait(false);
        }) {
    while (!held_) std::this_thread::yield();
  }
  ~Holder() { let_go(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
  void let_go() {
    release_ = true;
    release_.notify_one();
    if (thread_.joinable()) thread_.join();
  }

 private:
  std::atomic<bool> held_{false};
  std::atomic<bool> release_{false};
  std::thread thread_;
};

TEST_F(LinkTimerTest, AHeldLockIsTriedEvery10msAndGivenUp) {
  base::Mutex mutex;
  const Holder holder(mutex);
  EXPECT_EQ(mutex_lock_retry(&mutex, 3), 0);
  // Three attempts have two pauses between them.
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(10000, 10000));
  EXPECT_EQ(mutex_lock_retry(&mutex, 1), 0);
}

TEST_F(LinkTimerTest, ZeroOrFewerTriesRetryUntilTheLockIsFree) {
  for (const int tries : {0, -5}) {
    fake_base::reset();
    base::Mutex mutex;
    Holder holder(mutex);
    fake_base::on_sleep([&holder](uint64_t) {
      if (fake_base::sleeps().size() == 50) holder.let_go();
    });
    EXPECT_EQ(mutex_lock_retry(&mutex, tries), 1);
    EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>(50, 10000));
    mutex.unlock();
  }
}

}  // namespace
}  // namespace flightlink
