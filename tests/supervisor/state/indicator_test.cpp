#include "supervisor/state/indicator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_base/fake_base.h"
#include "supervisor/state/switches.h"
#include "support/fresh_process.h"

namespace supervisor {
namespace {

using link_test::in_fresh_process;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kOff = "/bin/sh /usr/local/share/script/t_gpio.sh 9 0";
constexpr const char* kOn = "/bin/sh /usr/local/share/script/t_gpio.sh 9 1";

TEST(Indicator, TheScriptRunsOnlyForAChange) {
  in_fresh_process([] {
    fake_base::reset();
    EXPECT_EQ(gpio9_set(0), 0);
    EXPECT_EQ(gpio9_set(0), -1);
    EXPECT_EQ(gpio9_set(1), 0);
    EXPECT_EQ(gpio9_set(1), -1);
    EXPECT_EQ(gpio9_set(0), 0);
    EXPECT_THAT(fake_base::commands(), ElementsAre(kOff, kOn, kOff));
  });
}

TEST(Indicator, MinusOneIsTheStateBeforeTheFirstWrite) {
  in_fresh_process([] {
    fake_base::reset();
    EXPECT_EQ(gpio9_set(-1), -1);
    EXPECT_THAT(fake_base::commands(), IsEmpty());
  });
}

TEST(Indicator, BlinkingWrites1Then0Then1) {
  in_fresh_process([] {
    fake_base::reset();
    switches.indicator_blink.store(1);
    switches.indicator_level.store(1);
    for (int i = 0; i < 4; i++) indicator_tick();
    EXPECT_THAT(fake_base::commands(), ElementsAre(kOn, kOff, kOn, kOff));
  });
}

TEST(Indicator, ASteadyLevelRunsTheScriptOnce) {
  in_fresh_process([] {
    fake_base::reset();
    for (int i = 0; i < 5; i++) indicator_tick();
    EXPECT_THAT(fake_base::commands(), ElementsAre(kOff));
    switches.indicator_level.store(1);
    for (int i = 0; i < 5; i++) indicator_tick();
    EXPECT_THAT(fake_base::commands(), ElementsAre(kOff, kOn));
  });
}

TEST(Indicator, OnlyTheValue1Blinks) {
  in_fresh_process([] {
    fake_base::reset();
    switches.indicator_blink.store(2);
    for (int i = 0; i < 3; i++) indicator_tick();
    EXPECT_THAT(fake_base::commands(), ElementsAre(kOff));
  });
}

TEST(Indicator, BlinkingGoesOnFromThePhaseWhereItStopped) {
  in_fresh_process([] {
    fake_base::reset();
    switches.indicator_blink.store(1);
    indicator_tick();  // phase 1, writes 1
    switches.indicator_blink.store(0);
    switches.indicator_level.store(1);
    indicator_tick();  // already 1
    switches.indicator_blink.store(1);
    indicator_tick();  // phase 0
    EXPECT_THAT(fake_base::commands(), ElementsAre(kOn, kOff));
  });
}

struct Enough {};

TEST(Indicator, TheThreadTicksOnceASecond) {
  in_fresh_process([] {
    fake_base::reset();
    EXPECT_EQ(indicator_start(), 0);
    ASSERT_EQ(fake_base::threads().size(), 1U);
    EXPECT_EQ(fake_base::threads()[0].priority, 0);  // default scheduling
    switches.indicator_blink.store(1);
    fake_base::on_sleep([](uint64_t) {
      if (fake_base::sleeps().size() == 3) throw Enough();
    });
    const fake_base::StartedThread thread = fake_base::threads()[0];
    EXPECT_THROW(thread.body(thread.argument), Enough);
    EXPECT_THAT(fake_base::events(),
                ElementsAre(std::string("run ") + kOn, "sleep 1000000", std::string("run ") + kOff,
                            "sleep 1000000", std::string("run ") + kOn, "sleep 1000000"));
  });
}

}  // namespace
}  // namespace supervisor
