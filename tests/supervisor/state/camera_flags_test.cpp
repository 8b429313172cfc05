#include "supervisor/state/camera_flags.h"

#include <gtest/gtest.h>

#include "base/clock.h"
#include "fake_base/fake_base.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

struct Flag {
  const char* name;
  void (*set)(int32_t);
  int32_t (*get)();
  std::atomic<uint8_t>& word;
};

// In the order of the record.
const Flag kFlags[] = {
    {"recording", set_recording, get_recording, camera_activity_flags.recording},
    {"record_cmd_pending", set_record_cmd_pending, get_record_cmd_pending,
     camera_activity_flags.record_cmd_pending},
    {"mode_switch_pending", set_mode_switch_pending, get_mode_switch_pending,
     camera_activity_flags.mode_switch_pending},
    {"setting_pending", set_setting_pending, get_setting_pending,
     camera_activity_flags.setting_pending},
    {"photo_pending", set_photo_pending, get_photo_pending, camera_activity_flags.photo_pending},
    {"record_ack_via_uart", set_record_ack_via_uart, get_record_ack_via_uart,
     camera_activity_flags.record_ack_via_uart},
    {"photo_mode", set_photo_mode, get_photo_mode, camera_activity_flags.photo_mode},
    {"photo_sequence", set_photo_sequence, get_photo_sequence,
     camera_activity_flags.photo_sequence},
    {"sd_query_pending", set_sd_query_pending, get_sd_query_pending,
     camera_activity_flags.sd_query_pending},
    {"clock_set_ok", set_clock_set_ok, get_clock_set_ok, camera_activity_flags.clock_set_ok},
    {"preview_stopped", set_preview_stopped, get_preview_stopped,
     camera_activity_flags.preview_stopped},
};

class CameraFlags : public ::testing::Test {
 protected:
  CameraFlags() { camera_flags_reset(); }
};

TEST_F(CameraFlags, EachSetterReachesItsOwnFlagOnly) {
  for (const Flag& set : kFlags) {
    set.set(1);
    for (const Flag& other : kFlags) {
      const int expected = other.name == set.name ? 1 : 0;
      EXPECT_EQ(other.get(), expected) << set.name << " read as " << other.name;
      EXPECT_EQ(other.word.load(), expected) << set.name << " stored as " << other.name;
    }
    set.set(0);
    EXPECT_EQ(set.get(), 0) << set.name;
  }
}

TEST_F(CameraFlags, SettersKeepTheLowByteAndGettersWidenWithoutSign) {
  for (const Flag& flag : kFlags) {
    flag.set(0x1FF);
    EXPECT_EQ(flag.get(), 255) << flag.name;
    flag.set(256);
    EXPECT_EQ(flag.get(), 0) << flag.name;
    flag.set(-2);
    EXPECT_EQ(flag.get(), 254) << flag.name;
  }
}

TEST_F(CameraFlags, AreBytesInTheRecordsOrder) {
  static_assert(sizeof(CameraActivityFlags) == 11);
  for (size_t i = 1; i < std::size(kFlags); i++) {
    EXPECT_EQ(&kFlags[i].word - &kFlags[i - 1].word, 1) << kFlags[i].name;
  }
}

struct AwaitedFlag {
  const char* name;
  void (*set)(int32_t);
  uint64_t (*since_us)();
};

constexpr AwaitedFlag kAwaited[] = {
    {"record_cmd_pending", set_record_cmd_pending, get_record_cmd_pending_since_us},
    {"mode_switch_pending", set_mode_switch_pending, get_mode_switch_pending_since_us},
    {"setting_pending", set_setting_pending, get_setting_pending_since_us},
    {"photo_pending", set_photo_pending, get_photo_pending_since_us},
    {"sd_query_pending", set_sd_query_pending, get_sd_query_pending_since_us},
};

TEST_F(CameraFlags, OfAnAwaitedAnswerItIsKnownSinceWhen) {
  for (const AwaitedFlag& flag : kAwaited) {
    fake_base::reset();  // 1000 s
    flag.set(1);
    fake_base::advance_us(5);
    flag.set(2);
    for (const AwaitedFlag& other : kAwaited) {
      EXPECT_EQ(other.since_us(), other.name == flag.name ? 1000000000U : 0U)
          << flag.name << " read as " << other.name;
    }
    flag.set(256);
    EXPECT_EQ(flag.since_us(), 0U) << flag.name;
    flag.set(1);
    EXPECT_EQ(flag.since_us(), 1000000005U) << flag.name;
    flag.set(0);
  }
}

TEST_F(CameraFlags, AResetClearsEveryFlagAndSinceWhenItWaits) {
  for (const Flag& flag : kFlags) flag.set(1);
  EXPECT_NE(get_photo_pending_since_us(), 0U);
  camera_flags_reset();
  for (const Flag& flag : kFlags) EXPECT_EQ(flag.get(), 0) << flag.name;
  fake_base::advance_us(5);
  set_photo_pending(1);
  EXPECT_EQ(get_photo_pending_since_us(), base::monotonic_us()) << "the time of the new wait";
}

class SwitchesTest : public ::testing::Test {
 protected:
  ~SwitchesTest() override { switches.reset(); }
};

TEST_F(SwitchesTest, GettersReadTheirOwnWord) {
  switches.test_mode.store(1);
  EXPECT_EQ(get_test_mode(), 1);
  EXPECT_EQ(get_marker_20m(), 0);
  EXPECT_EQ(get_video_flowing(), 0);
  switches.reset();
  switches.marker_20m.store(1);
  EXPECT_EQ(get_test_mode(), 0);
  EXPECT_EQ(get_marker_20m(), 1);
}

TEST_F(SwitchesTest, VideoFlowingStoresOneForAnythingButZero) {
  for (const int32_t on : {1, 5, -1, 256}) {
    set_video_flowing(on);
    EXPECT_EQ(get_video_flowing(), 1) << on;
    set_video_flowing(0);
    EXPECT_EQ(get_video_flowing(), 0);
  }
}

}  // namespace
}  // namespace supervisor
