#include "groundstation/flightside/factory_station.h"

#include <gtest/gtest.h>

namespace groundstation {
namespace {

constexpr uint64_t kSecond = 1'000'000;

std::vector<std::string> replies_of(FactoryReplies& replies, const std::string& bytes) {
  std::vector<std::string> found;
  replies.feed({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()},
               [&](const std::string& reply) { found.push_back(reply); });
  return found;
}

TEST(FactoryReplies, EachEndsWithItsZero) {
  FactoryReplies replies;
  std::string mac = "02:4B:9C:DE:F0:01\n";
  mac.resize(100);
  EXPECT_EQ(replies_of(replies, std::string("record_start", 13) + mac + "rec"),
            (std::vector<std::string>{"record_start", "02:4B:9C:DE:F0:01"}));
  EXPECT_EQ(replies_of(replies, std::string("ord_over", 9)),
            std::vector<std::string>{"record_over"});
}

TEST(FactoryReplies, NoiseWithoutAnEndIsDropped) {
  FactoryReplies replies;
  EXPECT_TRUE(replies_of(replies, std::string(100000, 'x')).empty());
  EXPECT_TRUE(replies_of(replies, std::string(1, '\0')).empty());
  EXPECT_EQ(replies_of(replies, std::string("uart_test_ok", 13)).size(), 1U);
}

TEST(FactoryStation, Macs) {
  EXPECT_TRUE(is_mac_text("02:4B:9c:DE:F0:01"));
  for (const char* text : {"", "02:4B:9C:DE:F0:0", "02:4B:9C:DE:F0:0g", "02-4B-9C-DE-F0-01"}) {
    EXPECT_FALSE(is_mac_text(text)) << text;
  }
}

TEST(FactoryCheck, OneReplyPasses) {
  FactoryCheck check(*find_factory_test("uart_test"), "", 0);
  check.take("sdcard_test_ok", 1);  // of an earlier test
  EXPECT_FALSE(check.settled());
  EXPECT_EQ(check.trouble(), "no uart_test_ok");
  check.take("uart_test_ok", 2);
  EXPECT_TRUE(check.passed());
  EXPECT_EQ(check.trouble(), "");
}

TEST(FactoryCheck, TheRecordingTestNeedsAllThree) {
  FactoryCheck check(*find_factory_test("record_test"), "02:4b:9c:de:f0:01", 0);
  check.take("record_start", kSecond);
  EXPECT_EQ(check.trouble(), "no MAC address");
  check.take("02:4B:9C:DE:F0:01", kSecond);
  EXPECT_FALSE(check.settled());
  EXPECT_EQ(check.trouble(), "no record_over");
  check.take("record_over", 10 * kSecond);
  EXPECT_TRUE(check.passed());
  EXPECT_EQ(check.mac(), "02:4B:9C:DE:F0:01");
}

TEST(FactoryCheck, WhatIsWrongWithARecordingTest) {
  const FactoryTest& test = *find_factory_test("record_test");
  FactoryCheck other(test, "02:4b:9c:de:f0:02", 0);
  other.take("record_start", 1);
  other.take("02:4B:9C:DE:F0:01", 1);
  // It still records, so the next command has to wait.
  EXPECT_FALSE(other.settled());
  other.take("record_over", 10 * kSecond);
  EXPECT_TRUE(other.settled());
  EXPECT_FALSE(other.passed());
  EXPECT_EQ(other.trouble(), "its MAC address is 02:4B:9C:DE:F0:01, not 02:4b:9c:de:f0:02");
  FactoryCheck none(test, "", 0);
  none.take("record_start", 1);
  none.take("record_over", 10 * kSecond);
  EXPECT_FALSE(none.passed());
  EXPECT_TRUE(none.settled());
  FactoryCheck early(test, "", 0);
  early.take("record_start", kSecond);
  early.take("02:4B:9C:DE:F0:01", kSecond);
  early.take("record_over", 9 * kSecond);
  EXPECT_EQ(early.trouble(), "the recording was over after 8.0 s");
}

TEST(FactoryStation, ASheet) {
  EXPECT_EQ(factory_sheet({{"uart_test", true, 0.04, ""}, {"record_test", false, 12, "no wlan0"}}),
            "  test          result   seconds\n"
            "  uart_test     pass         0.0\n"
            "  record_test   FAIL        12.0  no wlan0");
  EXPECT_EQ(find_factory_test("nonsense"), nullptr);
}

}  // namespace
}  // namespace groundstation
