// Firmware messages of this board, byte by byte.
#include "flightlink/firmware/wire.h"

#include <gtest/gtest.h>

#include "flightlink/firmware/firmware_rig.h"

namespace flightlink {
namespace {

using link_test::Sent;

class FirmwareMessages : public link_test::FirmwareTest {};

TEST_F(FirmwareMessages, AReportHoldsUpToSevenIndices) {
  const uint32_t seven[] = {0, 1, 2, 3, 4, 255, 2236962};
  firmware_report(kFirmwareRequesting, 4, kFirmwareOk, seven);
  // 1.0 = 3f800000, 2.0 = 40000000, 3.0 = 40400000, 4.0 = 40800000, 255.0 = 437f0000,
  // 2236962.0 = 4a088888
  const Sent sent = next();
  EXPECT_EQ(sent.system, 36);
  EXPECT_EQ(sent.id, 76);
  EXPECT_EQ(sent.payload, hex("00 00 00 00 00 00 80 3f 00 00 00 40 00 00 40 40 00 00 80 40 "
                              "00 00 7f 43 88 88 08 4a 04 00 02 04 00"));
  firmware_report(kFirmwareFinished, 9, kFirmwareFailed, {seven + 1, 2});
  expect_report("00 00 80 3f 00 00 00 40", "03 09 03");
}

TEST_F(FirmwareMessages, TheStartCommandHoldsTheSizeAndNothingElse) {
  firmware_send_start(7, 481);
  const Sent sent = next();
  EXPECT_EQ(sent.system, 0x27);
  EXPECT_EQ(sent.id, 76);
  // 481.0 = 43f08000
  EXPECT_EQ(sent.payload, hex("00 80 f0 43 " + zeros(24) + "04 00 01 00 00"));
}

TEST_F(FirmwareMessages, AMessageToABoardHasAlways254Bytes) {
  const uint8_t data[] = {1, 2, 3};
  firmware_send(3, 2, data);
  const Sent sent = next();
  EXPECT_EQ(sent.system, 0x23);
  EXPECT_EQ(sent.id, 110);
  EXPECT_EQ(sent.payload, hex("02 03 08 01 02 03 " + zeros(248)));
  const std::vector<uint8_t> long_data(300, 0xEE);
  firmware_send(5, 2, long_data);
  const Sent cut = next();
  EXPECT_EQ(cut.payload.size(), 254U);
  EXPECT_EQ(cut.payload[1], 251);
}

TEST_F(FirmwareMessages, TheVersionQueryGoesToTheRepeater) {
  firmware_query_version();
  const Sent sent = next();
  EXPECT_EQ(sent.system, 0x25);
  EXPECT_EQ(sent.id, 110);
  EXPECT_EQ(sent.payload, hex("06 09 08 56 5f 66 61 63 74 6f 72 79 " + zeros(242)));
}

}  // namespace
}  // namespace flightlink
