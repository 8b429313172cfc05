// This board's own image: announcement, start and chunks as the link threads take them.
#include "flightlink/firmware/receive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "flightlink/firmware/firmware_rig.h"
#include "flightlink/firmware/wire.h"

namespace {
int calloc_to_fail = 0;  // the n-th call from now on; 0 for none
}

extern "C" {
void* __real_calloc(size_t count, size_t size);
void* __wrap_calloc(size_t count, size_t size) {
  const bool fails = calloc_to_fail > 0 && --calloc_to_fail == 0;
  return fails ? nullptr : __real_calloc(count, size);
}
}

namespace flightlink {
namespace {

class FirmwareHandlers : public link_test::FirmwareTest {
 protected:
  void announced(float size) {
    EXPECT_EQ(announce(size), 0);
    expect_report("", "01 04 00");
  }
  static Bytes image(size_t from, size_t size) {
    const uint8_t* bytes = firmware_receive.image.get() + from;
    return {bytes, bytes + size};
  }
  static int sum_of_marks() {
    int sum = 0;
    for (uint32_t i = 0; i <= firmware_receive.count; i++) sum += firmware_receive.marks[i];
    return sum;
  }
};

TEST_F(FirmwareHandlers, AnImageOf481BytesIs3Chunks) {
  announced(481);
  EXPECT_EQ(firmware_receive.size, 481U);
  EXPECT_EQ(firmware_receive.count, 3U);
  EXPECT_EQ(sum_of_marks(), 0);
  expect_nothing_sent();
}

TEST_F(FirmwareHandlers, AMultipleOf240HasNoShortChunk) {
  for (const auto& [size, count] : {std::pair{1.0F, 1U},
                                    {239.0F, 1U},
                                    {240.0F, 1U},
                                    {241.0F, 2U},
                                    {480.0F, 2U},
                                    {4194304.0F, 17477U}}) {
    announced(size);
    EXPECT_EQ(firmware_receive.count, count) << size;
  }
}

TEST_F(FirmwareHandlers, SizesThatAreNoSizesAreRefused) {
  const float infinity = std::numeric_limits<float>::infinity();
  const float above = std::nextafter(536870912.0F, infinity);
  for (const float size :
       {0.0F, -0.0F, 0.99F, -1.0F, -1e30F, 1e30F, above, infinity, -infinity, std::nanf("")}) {
    EXPECT_EQ(announce(size), -1) << size;
    expect_report("", "01 04 03");
    EXPECT_EQ(firmware_receive.image, nullptr) << size;
    EXPECT_EQ(chunk(0, {1}), 0);
  }
  announced(536870912);  // 512 MiB
  EXPECT_EQ(firmware_receive.count, 2236963U);
}

TEST_F(FirmwareHandlers, AnImageThatThereIsNoMemoryForIsRefused) {
  for (const int call : {1, 2}) {
    calloc_to_fail = call;
    EXPECT_EQ(announce(481), -1);
    expect_report("", "01 04 03");
    EXPECT_EQ(firmware_receive.image, nullptr);
    EXPECT_EQ(chunk(0, {1}), 0);
  }
  announced(481);
}

TEST_F(FirmwareHandlers, ARefusedSizeLeavesTheEarlierAnnouncement) {
  announced(481);
  chunk(1, {7});
  EXPECT_EQ(announce(-1), -1);
  EXPECT_EQ(firmware_receive.size, 481U);
  EXPECT_EQ(sum_of_marks(), 1);
}

TEST_F(FirmwareHandlers, ANewAnnouncementBeginsAnew) {
  announced(481);
  chunk(0, Bytes(240, 0xAA));
  announced(500);
  EXPECT_EQ(firmware_receive.size, 500U);
  EXPECT_EQ(firmware_receive.received, 0U);
  EXPECT_EQ(sum_of_marks(), 0);
  EXPECT_THAT(image(0, 240), Each(0));
}

TEST_F(FirmwareHandlers, AnAnnouncementDuringATransferAnswers4) {
  announced(481);
  EXPECT_EQ(start(), 0);
  chunk(2, {9});
  EXPECT_EQ(announce(1000), -1);
  expect_report("", "01 04 04");
  EXPECT_EQ(announce(0), -1);
  expect_report("", "01 04 03");
  EXPECT_EQ(firmware_receive.size, 481U);
  EXPECT_EQ(sum_of_marks(), 1);
}

TEST_F(FirmwareHandlers, OtherStatesAndSendersAnnounceNothing) {
  for (const uint8_t state : std::initializer_list<uint8_t>{0, 2, 3, 4, 5, 255}) {
    EXPECT_EQ(report(link_test::kFromApplication, state, {481}), 0);
  }
  for (const int sender : {0, 3, 5, 7, 8, 15}) {
    EXPECT_EQ(announce(481, static_cast<uint8_t>(sender << 4)), 0) << sender;
  }
  EXPECT_EQ(firmware_receive.image, nullptr);
  expect_nothing_sent();
}

TEST_F(FirmwareHandlers, AStartKeepsTheMd5AndStartsOneThread) {
  announced(481);
  EXPECT_EQ(start(), 0);
  EXPECT_STREQ(firmware_receive.md5, link_test::kMd5);
  EXPECT_EQ(firmware_receive.requester, 4);
  EXPECT_TRUE(firmware_receive.in_progress);
  const auto threads = fake_base::threads();
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads[0].body, FirmwareReceiveThread);
  EXPECT_EQ(threads[0].priority, 0);
  expect_nothing_sent();
}

TEST_F(FirmwareHandlers, TheMd5HasAtMost32CharactersAndEndsAtAZero) {
  announced(481);
  start(std::string(link_test::kMd5) + "beyond");
  EXPECT_STREQ(firmware_receive.md5, link_test::kMd5);
  firmware_receive.in_progress = false;
  start("abc");
  EXPECT_STREQ(firmware_receive.md5, "abc");
  firmware_receive.in_progress = false;
  start("");
  EXPECT_STREQ(firmware_receive.md5, "");
}

TEST_F(FirmwareHandlers, AStartDuringATransferAnswers4AndAfterItsEnd0) {
  announced(481);
  start();
  EXPECT_EQ(start("another"), -1);
  expect_report("", "03 04 04");
  EXPECT_STREQ(firmware_receive.md5, link_test::kMd5);
  firmware_receive.update_state = 3;
  EXPECT_EQ(start(), -1);
  expect_report("", "03 04 00");
  EXPECT_EQ(fake_base::threads().size(), 1U);
}

TEST_F(FirmwareHandlers, AStartBeforeAnAnnouncementIsRefused) {
  EXPECT_EQ(start(), -1);
  expect_report("", "03 04 03");
  EXPECT_FALSE(firmware_receive.in_progress);
  EXPECT_THAT(fake_base::threads(), IsEmpty());
  announced(481);
  EXPECT_EQ(start(), 0);
}

TEST_F(FirmwareHandlers, WithoutAThreadTheStartMayBeRepeated) {
  announced(481);
  fake_base::fail_next_thread();
  EXPECT_EQ(start(), -1);
  expect_report("", "03 04 03");
  EXPECT_EQ(start(), 0);
}

TEST_F(FirmwareHandlers, AChunkLandsBehindItsPredecessors) {
  announced(481);
  chunk(1, Bytes(240, 0x11));
  chunk(2, {0x22});
  EXPECT_THAT(image(0, 240), Each(0));
  EXPECT_THAT(image(240, 240), Each(0x11));
  EXPECT_EQ(image(480, 2), hex("22 00"));
  EXPECT_EQ(firmware_receive.marks[0], 0);
  EXPECT_EQ(firmware_receive.marks[1], 1);
  EXPECT_EQ(firmware_receive.marks[2], 1);
  EXPECT_EQ(firmware_receive.received, 2U);
  expect_nothing_sent();
}

TEST_F(FirmwareHandlers, ARepeatedChunkReplacesAndIsCounted) {
  announced(481);
  chunk(0, {1, 2, 3});
  chunk(0, {9});
  EXPECT_EQ(image(0, 4), hex("09 02 03 00"));
  EXPECT_EQ(firmware_receive.received, 2U);
  EXPECT_EQ(sum_of_marks(), 1);
}

TEST_F(FirmwareHandlers, TheLengthByteIsClamped) {
  const Bytes data = chunk_data(1, Bytes(247, 0x55));
  struct Row {
    uint8_t length;
    size_t copied;
  };
  for (const Row row :
       {Row{0, 0}, {3, 0}, {4, 0}, {5, 1}, {243, 239}, {244, 240}, {245, 240}, {255, 240}}) {
    announced(481);
    const MavlinkMessage message = firmware(2, row.length, data);
    EXPECT_EQ(common_dispatch(&message), 0);
    EXPECT_THAT(image(240, row.copied), Each(0x55)) << int{row.length};
    EXPECT_THAT(image(240 + row.copied, 720 - row.copied), Each(0)) << int{row.length};
    EXPECT_EQ(firmware_receive.marks[1], 1) << int{row.length};
  }
}

TEST_F(FirmwareHandlers, TheIndexMayEqualTheCountAndNotExceedIt) {
  announced(481);
  chunk(3, Bytes(240, 0x77));
  EXPECT_EQ(firmware_receive.marks[3], 1);
  EXPECT_THAT(image(720, 240), Each(0x77));
  for (const uint32_t index : {4U, 5U, 0x7FFFFFFFU, 0x80000000U, 0x01000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(chunk(index, Bytes(240, 0x88)), 0);
  }
  EXPECT_EQ(firmware_receive.received, 1U);
  EXPECT_EQ(sum_of_marks(), 1);
  EXPECT_THAT(image(0, 720), Each(0));
  expect_nothing_sent();
}

TEST_F(FirmwareHandlers, ChunksBeforeAnAnnouncementAndAfterTheEndAreDropped) {
  EXPECT_EQ(chunk(0, {1}), 0);
  EXPECT_EQ(firmware_receive.received, 0U);
  announced(481);
  firmware_receive.update_state = 3;
  EXPECT_EQ(chunk(0, {1}), 0);
  EXPECT_EQ(firmware_receive.received, 0U);
  expect_nothing_sent();
}

TEST_F(FirmwareHandlers, BytesBeyondAShortFrameAreZero) {
  announced(481);
  MavlinkMessage message = firmware(2, 244, chunk_data(0, Bytes(240, 0x66)));
  message.len = 9;  // two bytes of the chunk
  common_dispatch(&message);
  EXPECT_EQ(image(0, 3), hex("66 66 00"));
  message.len = 0;  // opcode 0
  EXPECT_EQ(common_dispatch(&message), 0);
  EXPECT_EQ(firmware_receive.received, 1U);
}

TEST_F(FirmwareHandlers, OtherOpcodesDoNothing) {
  announced(481);
  for (const int opcode : {0, 1, 4, 5, 6, 255}) {
    const MavlinkMessage message =
        firmware(static_cast<uint8_t>(opcode), 5, chunk_data(0, Bytes(1, 1)));
    EXPECT_EQ(common_dispatch(&message), 0);
  }
  EXPECT_EQ(firmware_receive.received, 0U);
  EXPECT_FALSE(firmware_receive.in_progress);
  expect_nothing_sent();
}

}  // namespace
}  // namespace flightlink
