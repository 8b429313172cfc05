#include "flightlink/wire/link_status.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "fake_base/fake_base.h"

namespace flightlink {
namespace {

class LinkStatusTest : public fake_base::FakeBaseTest {
 protected:
  ~LinkStatusTest() override { link_status.reset(); }
};

TEST_F(LinkStatusTest, HoldsTwoIndependentWords) {
  set_link_status(2);
  set_stream_on(1);
  EXPECT_EQ(get_link_status(), kLinkStatusWantsLiveVideo);
  EXPECT_EQ(get_stream_on(), 1);
  set_link_status(15);
  EXPECT_EQ(get_link_status(), 15);
  EXPECT_EQ(get_stream_on(), 1);
}

TEST_F(LinkStatusTest, InitZeroesTheClientBlockAndMarksTheLockUsable) {
  std::ranges::fill(link_status.client_block, uint8_t{0xEE});
  EXPECT_EQ(link_status.initialised.load(), 0);
  link_status_init();
  EXPECT_EQ(link_status.initialised.load(), 1);
  EXPECT_TRUE(std::ranges::all_of(link_status.client_block, [](uint8_t b) { return b == 0; }));
  link_status_deinit();
  EXPECT_EQ(link_status.initialised.load(), 0);
}

TEST_F(LinkStatusTest, AResetClearsOnlyTheStatusWord) {
  for (const bool initialised : {false, true}) {
    if (initialised) link_status_init();
    set_link_status(2);
    set_stream_on(1);
    clear_link_status();
    EXPECT_EQ(get_link_status(), 0);
    EXPECT_EQ(get_stream_on(), 1);
  }
  EXPECT_TRUE(link_status.mutex.try_lock());
  link_status.mutex.unlock();
}

TEST_F(LinkStatusTest, AResetWaitsForTheLock) {
  link_status_init();
  set_link_status(2);
  std::atomic<bool> held{false};
  std::atomic<bool> release{false};
  std::thread holder([&] {
    const std::lock_guard lock(link_status.mutex);
    held = true;
    release.wait(false);
  });
  while (!held) std::this_thread::yield();
  int32_t while_held = 0;
  fake_base::on_sleep([&](uint64_t) {
    while_held = get_link_status();
    release = true;
    release.notify_one();
    if (holder.joinable()) holder.join();
  });
  clear_link_status();
  EXPECT_EQ(while_held, 2);
  EXPECT_EQ(get_link_status(), 0);
}

}  // namespace
}  // namespace flightlink
