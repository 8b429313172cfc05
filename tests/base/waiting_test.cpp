#include "base/waiting.h"

#include "fake_base/fake_base.h"

namespace {

class Waiting : public fake_base::FakeBaseTest {
 protected:
  base::Waiting waiting_{};
};

TEST_F(Waiting, TheTimeIsThatOfTheFirstChange) {
  EXPECT_EQ(base::waiting_since(waiting_), 0U);
  base::set_waiting(waiting_, 260);
  EXPECT_EQ(base::waiting_since(waiting_), 1000000000U);
  fake_base::advance_us(5);
  base::set_waiting(waiting_, 2);
  EXPECT_EQ(waiting_.what.load(), 2);
  EXPECT_EQ(base::waiting_since(waiting_), 1000000000U);
}

TEST_F(Waiting, TheNextWaitHasATimeOfItsOwn) {
  base::set_waiting(waiting_, 1);
  base::set_waiting(waiting_, 0);
  EXPECT_EQ(base::waiting_since(waiting_), 0U);
  fake_base::advance_us(5);
  base::set_waiting(waiting_, 1);
  EXPECT_EQ(base::waiting_since(waiting_), 1000000005U);
}

// A look finds the word set, the wait ends on another thread, and only then does the look note its time.
TEST_F(Waiting, ATimeThatALookHasLeftBehindIsNotTheNextWaits) {
  waiting_.since_us.store(1000000000U);
  fake_base::advance_us(60'000'000);
  base::set_waiting(waiting_, 1);
  EXPECT_EQ(base::waiting_since(waiting_), 1060000000U);
}

// An end that overlaps the next begin: the word is set and its time is gone.
TEST_F(Waiting, AWaitWithoutATimeCountsFromTheFirstLook) {
  waiting_.what.store(1);
  fake_base::advance_us(7);
  EXPECT_EQ(base::waiting_since(waiting_), 1000000007U);
  fake_base::advance_us(7);
  EXPECT_EQ(base::waiting_since(waiting_), 1000000007U);
}

}  // namespace
