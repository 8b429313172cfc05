#include "groundstation/firmware/messages.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "groundstation/firmware/firmware_rig.h"
#include "groundstation/firmware/image.h"
#include "groundstation/run_program.h"

namespace groundstation {
namespace {

using groundstation_test::temporary_path;

TEST(FirmwareMessages, AnnouncementHoldsTheSizeAndState1) {
  const PeerMessage message = firmware_announcement(481);
  EXPECT_EQ(message.msgid, 76);
  ASSERT_EQ(message.payload.size(), 33U);
  // 481.0f is 0x43F08000
  EXPECT_EQ(std::vector<uint8_t>(message.payload.begin(), message.payload.begin() + 4),
            (std::vector<uint8_t>{0x00, 0x80, 0xF0, 0x43}));
  EXPECT_EQ(message.payload[28], 4);
  EXPECT_EQ(message.payload[30], 1);
}

TEST(FirmwareMessages, ChunkIndexIsBigEndianAndTheLengthCountsIt) {
  const std::vector<uint8_t> bytes{7, 8, 9};
  const PeerMessage message = firmware_chunk_message(0x01020304, bytes);
  EXPECT_EQ(message.msgid, 110);
  ASSERT_EQ(message.payload.size(), 254U);
  EXPECT_EQ(std::vector<uint8_t>(message.payload.begin(), message.payload.begin() + 11),
            (std::vector<uint8_t>{2, 7, 4, 1, 2, 3, 4, 7, 8, 9, 0}));
}

TEST(FirmwareMessages, StartHoldsTheMd5) {
  const PeerMessage message = firmware_start_message("d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(message.payload[0], 3);
  EXPECT_EQ(message.payload[1], 32);
  EXPECT_EQ(std::string(message.payload.begin() + 3, message.payload.begin() + 35),
            "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(FirmwareMessages, ChunksOfAnImage) {
  EXPECT_EQ(firmware_chunks(240), 1U);
  EXPECT_EQ(firmware_chunks(481), 3U);
  const std::vector<uint8_t> image(481, 1);
  EXPECT_EQ(firmware_chunk_of(image, 1).size(), 240U);
  EXPECT_EQ(firmware_chunk_of(image, 2).size(), 1U);
  EXPECT_TRUE(firmware_chunk_of(image, 3).empty());
  EXPECT_TRUE(firmware_chunk_of(image, std::numeric_limits<size_t>::max()).empty());
}

TEST(FirmwareMessages, ReportsAndDataAreReadBack) {
  const auto report = firmware_report_of(firmware_frame(36, firmware_announcement(1000)));
  ASSERT_TRUE(report.has_value());
  EXPECT_EQ(report->state, 1);
  EXPECT_EQ(report->slots[0], 1000.0F);
  const std::vector<uint8_t> bytes{1, 2};
  const auto data = firmware_data_of(firmware_frame(0x27, firmware_chunk_message(70000, bytes)));
  ASSERT_TRUE(data.has_value());
  EXPECT_EQ(data->index(), 70000U);
  EXPECT_EQ(std::vector<uint8_t>(data->chunk().begin(), data->chunk().end()), bytes);
}

TEST(FirmwareMessages, OthersAndShortOnesAreNothing) {
  EXPECT_FALSE(firmware_report_of(firmware_frame(36, {76, std::vector<uint8_t>(32)})).has_value());
  EXPECT_FALSE(firmware_report_of(firmware_frame(36, {76, std::vector<uint8_t>(33)})).has_value());
  EXPECT_FALSE(firmware_data_of(firmware_frame(36, {110, {2, 7}})).has_value());
  EXPECT_FALSE(firmware_data_of(firmware_frame(36, firmware_announcement(1))).has_value());
  // Length bytes of 0, 3, 4 and 255: no chunk.
  for (const uint8_t length : std::vector<uint8_t>{0, 3, 4, 255}) {
    const auto data = firmware_data_of(firmware_frame(36, {110, {2, length, 8, 0, 0, 0, 1}}));
    ASSERT_TRUE(data.has_value());
    EXPECT_TRUE(data->chunk().empty()) << int{length};
  }
}

TEST(FirmwareImage, Md5IsTheKnownOne) {
  EXPECT_EQ(md5_text({}), "d41d8cd98f00b204e9800998ecf8427e");
  const std::string abc = "abc";
  EXPECT_EQ(md5_text({reinterpret_cast<const uint8_t*>(abc.data()), 3}),
            "900150983cd24fb0d6963f7d28e17f72");
}

TEST(FirmwareImage, LoadsAndSaysWhyNot) {
  FirmwareImage image;
  const std::string path = temporary_path("image");
  EXPECT_NE(load_firmware(path, &image).find("cannot read"), std::string::npos);
  std::ofstream(path) << "";
  EXPECT_NE(load_firmware(path, &image).find("0 bytes"), std::string::npos);
  EXPECT_NE(load_firmware("/", &image), "");
  std::ofstream(path) << "abc";
  EXPECT_EQ(load_firmware(path, &image), "");
  EXPECT_EQ(image.bytes, (std::vector<uint8_t>{'a', 'b', 'c'}));
  EXPECT_EQ(image.filled, 0U);
}

TEST(FirmwareImage, ASizeThatAFloatDoesNotHoldIsFilledUp) {
  FirmwareImage image;
  const std::string path = temporary_path("image");
  std::ofstream(path) << std::string(16777217, 'x');
  EXPECT_EQ(load_firmware(path, &image), "");
  EXPECT_EQ(image.bytes.size(), 16777218U);
  EXPECT_EQ(image.filled, 1U);
  EXPECT_EQ(image.bytes.back(), 0);
  std::remove(path.c_str());
}

}  // namespace
}  // namespace groundstation
