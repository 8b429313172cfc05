#include "groundstation/firmware/serve.h"

#include <gtest/gtest.h>

#include <cmath>

#include "groundstation/firmware/firmware_rig.h"

namespace groundstation {
namespace {

constexpr uint64_t kNow = 1'000'000;
constexpr const char* kMd5 = "d41d8cd98f00b204e9800998ecf8427e";

void announce(FirmwareServe& serve, uint8_t sysid, float size) {
  FirmwareReport report = firmware_report(1, 0, {size});
  report.board = 0;
  serve.take(firmware_frame(sysid, firmware_report_message(report)), kNow);
}

void start(FirmwareServe& serve, uint8_t sysid) {
  serve.take(firmware_frame(sysid, firmware_start_message(kMd5)), kNow);
}

// A chunk filled with its index.
void chunk(FirmwareServe& serve, uint8_t sysid, uint32_t index, size_t size = 240) {
  const std::vector<uint8_t> bytes(size, static_cast<uint8_t>(index));
  serve.take(firmware_frame(sysid, firmware_chunk_message(index, bytes)), kNow);
}

std::optional<FirmwareReport> due(FirmwareServe& serve, uint64_t now) {
  const auto message = serve.due(now);
  if (!message.has_value()) return std::nullopt;
  return firmware_report_of(firmware_frame(serve.system(), *message));
}

TEST(FirmwareServe, AnswersUntilTheMd5IsThereAndThenAsks) {
  FirmwareServe serve(0, 0);
  EXPECT_FALSE(due(serve, kNow).has_value());
  announce(serve, 0x27, 481);
  EXPECT_EQ(serve.board(), 7);
  EXPECT_EQ(serve.system(), 0x78);
  EXPECT_EQ(due(serve, kNow)->state, 1);
  EXPECT_FALSE(due(serve, kNow + 1).has_value());
  EXPECT_EQ(due(serve, 2 * kNow)->state, 1);
  start(serve, 0x27);
  const auto wish = due(serve, 2 * kNow);
  EXPECT_EQ(wish->state, 2);
  EXPECT_EQ(wish->slots, (std::array<float, 7>{0, 1, 2, 4294967296.0F, 4294967296.0F, 4294967296.0F,
                                               4294967296.0F}));
  EXPECT_FALSE(due(serve, 2 * kNow + 49'999).has_value());
}

TEST(FirmwareServe, AsksForTheNextSevenAndThenForWhatWasLost) {
  FirmwareServe serve(7, 0);
  announce(serve, 0x27, 240 * 9);
  start(serve, 0x27);
  EXPECT_EQ(due(serve, kNow)->state, 1);
  EXPECT_EQ(due(serve, kNow)->slots[6], 6.0F);
  for (const uint32_t index : {0U, 2U, 3U, 4U, 5U, 6U}) chunk(serve, 0x27, index);
  EXPECT_EQ(due(serve, kNow)->slots,
            (std::array<float, 7>{7, 8, 4294967296.0F, 4294967296.0F, 4294967296.0F, 4294967296.0F,
                                  4294967296.0F}));
  chunk(serve, 0x27, 7);
  chunk(serve, 0x27, 8);
  EXPECT_EQ(due(serve, kNow)->slots[0], 1.0F);
  EXPECT_FALSE(serve.complete());
  chunk(serve, 0x27, 1);
  EXPECT_TRUE(serve.complete());
  EXPECT_FALSE(due(serve, 9 * kNow).has_value());
  EXPECT_EQ(serve.image()[240 * 8], 8);
  EXPECT_EQ(serve.image()[240 * 2 - 1], 1);
  EXPECT_EQ(serve.md5(), kMd5);
}

TEST(FirmwareServe, TheRepeaterWaitsForWhatComesUnasked) {
  FirmwareServe serve(0, 0);
  announce(serve, 0x25, 480);
  EXPECT_EQ(due(serve, kNow)->state, 1);
  EXPECT_FALSE(due(serve, 9 * kNow).has_value());
  chunk(serve, 0x25, 0);
  start(serve, 0x25);
  EXPECT_EQ(due(serve, 9 * kNow)->slots[0], 1.0F);
  chunk(serve, 0x25, 1);
  EXPECT_TRUE(serve.complete());
}

TEST(FirmwareServe, OnlyItsOwnBoardCounts) {
  FirmwareServe serve(3, 0);
  announce(serve, 0x27, 480);
  announce(serve, 36, 480);
  announce(serve, 0x33, 480);
  EXPECT_FALSE(serve.announced());
  announce(serve, 0x23, 480);
  EXPECT_TRUE(serve.announced());
  FirmwareServe any(0, 0);
  announce(any, 0x28, 480);  // a camera
  EXPECT_FALSE(any.announced());
}

TEST(FirmwareServe, NonsenseIsPassedOver) {
  FirmwareServe serve(7, 0);
  chunk(serve, 0x27, 0);
  for (const float size : {0.0F, -1.0F, std::nanf(""), 1e30F, 536870976.0F}) {
    announce(serve, 0x27, size);
    EXPECT_FALSE(serve.announced()) << size;
  }
  announce(serve, 0x27, 481);
  chunk(serve, 0x27, 0, 239);
  chunk(serve, 0x27, 2, 240);
  chunk(serve, 0x27, 3);
  chunk(serve, 0x27, 0xFFFFFFFF);
  serve.take(firmware_frame(0x27, {110, {3, 31, 8}}), kNow);
  EXPECT_EQ(serve.received(), 0U);
  EXPECT_EQ(serve.md5(), "");
  chunk(serve, 0x27, 2, 1);
  chunk(serve, 0x27, 2, 1);
  EXPECT_EQ(serve.received(), 1U);
  EXPECT_EQ(serve.duplicates(), 1U);
}

TEST(FirmwareServe, LosesAndRepeatsAsWanted) {
  FirmwareServe serve(7, 3);
  announce(serve, 0x27, 240 * 6);
  for (uint32_t i = 0; i < 6; i++) chunk(serve, 0x27, i);
  EXPECT_EQ(serve.received(), 4U);
  EXPECT_EQ(serve.dropped(), 2U);
  announce(serve, 0x27, 240 * 6);  // repeated: what is there stays
  EXPECT_EQ(serve.received(), 4U);
  announce(serve, 0x27, 240);  // another image
  EXPECT_EQ(serve.received(), 0U);
}

TEST(FirmwareServe, VerdictsAndTheVersionQuery) {
  FirmwareServe serve(5, 0);
  EXPECT_EQ(serve.verdict(true).payload[30], 3);
  EXPECT_EQ(serve.verdict(true).payload[32], 0);
  EXPECT_EQ(serve.verdict(false).payload[30], 5);
  EXPECT_FALSE(serve.version_asked());
  serve.take(firmware_frame(0x25, {110, {6, 9, 8}}), kNow);
  EXPECT_TRUE(serve.version_asked());
}

}  // namespace
}  // namespace groundstation
