// Images of other boards: which are on the card, and how they are pushed.
#include "flightlink/firmware/push.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "flightlink/firmware/push_rig.h"

namespace flightlink {
namespace {

using link_test::FirmwarePushing;
using link_test::kFlightController;
using link_test::kGimbal;
using link_test::kRepeater;
using link_test::Sent;

TEST_F(FirmwarePushing, TheImagesOnTheCardSayWhoIsNext) {
  EXPECT_EQ(firmware_board_type(), 8);
  EXPECT_EQ(firmware_board_mask(), 0U);
  put(kGimbal);
  put(kRepeater);
  EXPECT_EQ(firmware_board_type(), 7);
  EXPECT_EQ(firmware_board_mask(), 0xA0U);
  put(kFlightController);
  EXPECT_EQ(firmware_board_mask(), 0xA8U);
  firmware_board_done(7);
  EXPECT_EQ(firmware_board_type(), 3);
  EXPECT_EQ(firmware_board_mask(), 0x28U);
  firmware_board_done(3);
  EXPECT_EQ(firmware_board_type(), 5);
  firmware_board_done(5);
  EXPECT_EQ(firmware_board_type(), 8);
  for (const uint8_t none : std::initializer_list<uint8_t>{0, 8, 31, 32, 255})
    firmware_board_done(none);
  EXPECT_EQ(firmware_board_mask(), 0U);
}

TEST_F(FirmwarePushing, OnlyThreeTypesHaveAnImage) {
  EXPECT_STREQ(firmware_image_path(7), kGimbal);
  EXPECT_STREQ(firmware_image_path(3), kFlightController);
  EXPECT_STREQ(firmware_image_path(5), kRepeater);
  for (const uint8_t none : std::initializer_list<uint8_t>{0, 1, 2, 4, 6, 8, 9, 255}) {
    EXPECT_EQ(firmware_image_path(none), nullptr) << int{none};
  }
}

TEST_F(FirmwarePushing, AHeartbeatStartsOnePushAndOnlyWhenOneWaits) {
  EXPECT_EQ(heartbeat(), 0);
  EXPECT_THAT(fake_base::threads(), IsEmpty());
  put(kGimbal);
  fake_base::fail_next_thread();
  EXPECT_EQ(heartbeat(), 0);
  EXPECT_THAT(fake_base::threads(), IsEmpty());
  for (int i = 0; i < 3; i++) EXPECT_EQ(heartbeat(), 0);
  ASSERT_EQ(fake_base::threads().size(), 1U);
  EXPECT_EQ(fake_base::threads()[0].priority, 0);
}

TEST_F(FirmwarePushing, AnAnnouncingHeartbeatStartsThePushToo) {
  put(kGimbal);
  MavlinkMessage message{};
  message.len = 9;
  base::store_u32le(message.payload, 0xF503);
  message.payload[7] = 95;
  EXPECT_EQ(peer_dispatch(&message), 0);
  EXPECT_EQ(fake_base::threads().size(), 1U);
}

TEST_F(FirmwarePushing, TheGimbalGetsWhatItAsksFor) {
  put(kGimbal);
  std::vector<Sent> sent;
  each_second([&](int second) {
    if (second < 3) return;  // it does not answer at once
    sent = all();
    ASSERT_EQ(sent.size(), 3U);
    for (const Sent& start : sent) {
      EXPECT_EQ(start.system, 0x27);
      EXPECT_EQ(start.payload, hex("00 80 f0 43 " + zeros(24) + "04 00 01 00 00"));
    }
    report(link_test::kFromGimbal, 1, {1, 2});  // parameters mean nothing here
    sent = all();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_TRUE(is_md5(sent[0]));
    report(link_test::kFromGimbal, 2,
           {2, 0, 3, -1, std::nanf(""), 4294967296.0F, std::numeric_limits<float>::infinity()});
    sent = all();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].system, 0x27);
    EXPECT_EQ(chunk_index(sent[0]), 2);
    EXPECT_EQ(chunk_index(sent[1]), 0);
    report(link_test::kFromGimbal, 2, {1, 1, 1, 1, 1, 1, 1});
    EXPECT_EQ(all().size(), 7U);
    report(link_test::kFromGimbal, 1);  // late: it has asked already
    expect_nothing_sent();
    report(link_test::kFromGimbal, 3);
  });
  push();
  EXPECT_EQ(firmware_board_type(), 8);
  expect_nothing_sent();
  // Three seconds, and 500 us behind each of the nine chunks.
  std::vector<uint64_t> pauses(3, 1000000);
  pauses.insert(pauses.end(), 9, 500);
  EXPECT_EQ(fake_base::sleeps(), pauses);
  EXPECT_TRUE(std::filesystem::exists(kGimbal));
}

TEST_F(FirmwarePushing, AnAnswerThatIsRepeatedBeforeAnyRequestGetsTheMd5Again) {
  put(kFlightController);
  each_second([&](int) {
    all();
    report(link_test::kFromFlightController, 1);
    report(link_test::kFromFlightController, 1);
    const auto sent = all();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].system, 0x23);
    EXPECT_TRUE(is_md5(sent[0]));
    EXPECT_TRUE(is_md5(sent[1]));
    report(link_test::kFromFlightController, 5);
  });
  push();
  EXPECT_EQ(firmware_board_type(), 8);
}

TEST_F(FirmwarePushing, TheRepeaterGetsEverythingAndThenTheMd5EverySecond) {
  put(kRepeater);
  each_second([&](int second) {
    const auto sent = all();
    if (second == 1) {
      ASSERT_EQ(sent.size(), 1U);
      EXPECT_TRUE(is_start(sent[0]));
      EXPECT_EQ(sent[0].system, 0x25);
      report(link_test::kFromRepeater, 1);
      expect_nothing_sent();
    } else if (second == 2) {
      ASSERT_EQ(sent.size(), 4U);
      for (int i = 0; i < 3; i++) EXPECT_EQ(chunk_index(sent[static_cast<size_t>(i)]), i);
      EXPECT_TRUE(is_md5(sent[3]));
      report(link_test::kFromRepeater, 2, {1, 4294967296.0F});
      const auto asked = all();
      ASSERT_GE(asked.size(), 1U);
      EXPECT_EQ(chunk_index(asked[0]), 1);
    } else {
      ASSERT_GE(sent.size(), 1U);
      EXPECT_TRUE(is_md5(sent[0]));
      if (second == 4) report(link_test::kFromRepeater, 3);
    }
  });
  push();
  EXPECT_EQ(firmware_board_type(), 8);
}

TEST_F(FirmwarePushing, TheNextBoardFollowsWithTheNextHeartbeat) {
  put(kGimbal);
  put(kRepeater);
  each_second([](int) {
    report(link_test::kFromGimbal, 1);
    report(link_test::kFromGimbal, 5);
  });
  push();
  EXPECT_EQ(firmware_board_type(), 5);
  all();
  EXPECT_EQ(heartbeat(), 0);
  EXPECT_EQ(fake_base::threads().size(), 2U);
  each_second([](int) {
    report(link_test::kFromRepeater, 1);
    report(link_test::kFromRepeater, 3);
  });
  FirmwarePushThread(nullptr);
  EXPECT_EQ(firmware_board_type(), 8);
  heartbeat();
  EXPECT_EQ(fake_base::threads().size(), 2U);
}

TEST_F(FirmwarePushing, OnlyTheBoardWhoseTurnItIsIsHeard) {
  put(kGimbal);
  put(kFlightController);
  ASSERT_EQ(firmware_image_prepare(7), 0);
  for (const int sender : {0, 3, 4, 5, 8, 15}) {
    for (const uint8_t state : std::initializer_list<uint8_t>{1, 2, 3, 5})
      report(static_cast<uint8_t>(sender << 4), state, {0});
  }
  EXPECT_EQ(firmware_push.state, 0);
  for (const uint8_t unknown : std::initializer_list<uint8_t>{0, 4, 6, 255})
    report(link_test::kFromGimbal, unknown, {0});
  EXPECT_EQ(firmware_push.state, 0);
  expect_nothing_sent();
}

TEST_F(FirmwarePushing, AReportWithoutAnImageIsIgnored) {
  put(kGimbal);
  for (const uint8_t state : std::initializer_list<uint8_t>{1, 2, 3, 5})
    report(link_test::kFromGimbal, state, {0, 1, 2});
  EXPECT_EQ(firmware_push.state, 0);
  expect_nothing_sent();
}

TEST_F(FirmwarePushing, AnImageOfAMultipleOf240HasNoShortChunk) {
  std::ofstream(kGimbal) << std::string(480, 'x');
  fake_base::push_shell_line(link_test::kMd5);
  firmware_init();
  ASSERT_EQ(firmware_image_prepare(7), 0);
  EXPECT_EQ(firmware_push.count, 2U);
  report(link_test::kFromGimbal, 2, {1, 2, 2, 2, 2, 2, 2});
  const auto sent = all();
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].payload[1], 244);
}

TEST_F(FirmwarePushing, AnImageThatCannotBeReadIsGivenUp) {
  std::filesystem::create_directory(kGimbal);
  std::ofstream{kFlightController};  // empty
  firmware_init();
  put(kRepeater);
  push();
  EXPECT_EQ(firmware_board_type(), 3);
  FirmwarePushThread(nullptr);
  EXPECT_EQ(firmware_board_type(), 5);
  std::filesystem::remove(kRepeater);
  FirmwarePushThread(nullptr);
  EXPECT_EQ(firmware_board_type(), 8);
  expect_nothing_sent();
}

TEST_F(FirmwarePushing, ImagesAbove512MiBAndWithoutAnMd5AreGivenUp) {
  put(kGimbal);
  std::filesystem::resize_file(kGimbal, 536870913);  // takes no room
  EXPECT_EQ(firmware_image_prepare(7), -1);
  EXPECT_THAT(fake_base::commands(), IsEmpty());
  fake_base::reset();
  std::ofstream(kGimbal) << "x";
  EXPECT_EQ(firmware_image_prepare(7), -1);
  EXPECT_THAT(fake_base::commands(),
              ElementsAre("/bin/md5sum /tmp/SD0/gimbalfw | awk '{print $1}'"));
}

}  // namespace
}  // namespace flightlink
