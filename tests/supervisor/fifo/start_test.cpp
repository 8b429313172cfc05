// The state of the reader before its first cycle: a program of its own, since later cycles keep the
// library's instance number.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_base/fake_base.h"
#include "supervisor/fifo/fake_amba_net_fifo.h"
#include "supervisor/fifo/reader.h"

namespace supervisor {
namespace {

TEST(LiveStart, AGoodResultWithoutAnInstanceIsNoSuccess) {
  fake_base::reset();
  fake_fifo::reset();
  fake_fifo::state().init_results = {{0, fake_fifo::kUntouched}, {0, 0}};
  EXPECT_EQ(live_fifo_begin_cycle(), 0);
  EXPECT_THAT(fake_base::sleeps(), ::testing::ElementsAre(10000));
  live_fifo_cleanup();
}

}  // namespace
}  // namespace supervisor
