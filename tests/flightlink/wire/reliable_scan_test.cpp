// What the acknowledged sender reads out of a datagram, and the checksum of what it sends.
#include <gtest/gtest.h>

#include "base/clock.h"
#include "flightlink/link_suite.h"
#include "flightlink/wire/reliable_udp.h"

namespace flightlink {
namespace {

TEST(ReliableChecksum, IsTheInternetChecksumOfLittleEndianWords) {
  const auto checksum = [](const Bytes& bytes) {
    return reliable_udp_checksum(bytes.data(), bytes.size());
  };
  EXPECT_EQ(checksum({}), 0xFFFF);
  EXPECT_EQ(checksum({0x34, 0x12}), 0xEDCB);                          // ~1234
  EXPECT_EQ(checksum({0xFF, 0xFF, 0x01, 0x00}), 0xFFFE);              // 10000 folds to 0001
  EXPECT_EQ(checksum({0xFF, 0xFF, 0xFF, 0xFF}), 0x0000);              // 1fffe folds to ffff
  EXPECT_EQ(checksum({0x00, 0x80, 0x00, 0x80, 0x02, 0x00}), 0xFFFC);  // 10002 folds to 0003
}

TEST(ReliableChecksum, AnOddLastByteIsAddedAsItIs) {
  const Bytes one = {0x80};
  EXPECT_EQ(reliable_udp_checksum(one.data(), 1), 0xFF7F);
  const Bytes three = {'a', 'b', 'c'};  // 6261 + 0063 = 62c4
  EXPECT_EQ(reliable_udp_checksum(three.data(), 3), 0x9D3B);
}

// The stamp that a datagram leaves behind; 0 when it holds none.
uint32_t scanned(const std::string& text) {
  reliable_udp_context.reset();
  Bytes bytes = hex(text);
  const size_t length = bytes.size();
  bytes.resize(length + 2);
  reliable_udp_scan(bytes.data(), length);
  return reliable_udp_context.ack_stamp;
}

class ReliableScan : public fake_base::FakeBaseTest {};

TEST_F(ReliableScan, TakesTheFourBytesBehindTheMark) {
  EXPECT_EQ(scanned("46 46 04 03 02 01"), 0x01020304U);
  EXPECT_EQ(reliable_udp_context.ack_arrival_us, base::monotonic_us());
  EXPECT_EQ(scanned("00 46 00 46 46 04 03 02 01 99"), 0x01020304U);
}

TEST_F(ReliableScan, AStampMayBeCutByTheEnd) {
  // Five bytes are left from the mark: enough, though the stamp's last byte is missing.
  EXPECT_EQ(scanned("46 46 03 02 01"), 0x00010203U);
  EXPECT_EQ(scanned("77 46 46 03 02 01"), 0x00010203U);
}

TEST_F(ReliableScan, FourBytesFromTheMarkAreNotEnough) {
  for (const char* text : {"", "46", "46 46", "46 46 01", "46 46 01 02", "00 00 46 46 01 02"}) {
    EXPECT_EQ(scanned(text), 0U) << text;
    EXPECT_EQ(reliable_udp_context.ack_arrival_us, 0U) << text;
  }
}

TEST_F(ReliableScan, TheLastOfSeveralStampsCounts) {
  EXPECT_EQ(scanned("46 46 01 00 00 00 46 46 02 00 00 00"), 2U);
  EXPECT_EQ(scanned("46 46 01 00 00 00 aa bb 46 46 02 00 00 00 cc"), 2U);
}

TEST_F(ReliableScan, AMarkInsideAStampIsSkipped) {
  EXPECT_EQ(scanned("46 46 46 46 00 00 05 00 00 00"), 0x00004646U);
  EXPECT_EQ(scanned("46 46 01 46 46 00 05 00 00 00"), 0x00464601U);
}

TEST_F(ReliableScan, OneLetterAloneIsNoMark) {
  EXPECT_EQ(scanned("46 00 46 00 46 00 46 00"), 0U);
  EXPECT_EQ(scanned("66 66 01 02 03 04"), 0U);
}

TEST_F(ReliableScan, AFullDatagramOfMarksEndsInsideItsBytes) {
  Bytes bytes(4096, 0x46);
  bytes.resize(4098);
  reliable_udp_scan(bytes.data(), 4096);
  EXPECT_EQ(reliable_udp_context.ack_stamp, 0x46464646U);
}

}  // namespace
}  // namespace flightlink
