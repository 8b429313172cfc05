#include "groundstation/messages/camera_messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <nlohmann/json.hpp>

namespace groundstation_test {
namespace {

using flightlink::MavlinkMessage;
using groundstation::CameraAck;
using groundstation::CameraHeartbeat;
using groundstation::CameraReport;
using groundstation::CameraStatus;
using groundstation::CommandAck;
using groundstation::decode_camera_message;
using groundstation::RecordTick;
using groundstation::SdReport;
using groundstation::TimelapseRecord;

MavlinkMessage message(uint8_t msgid, uint8_t sysid, std::initializer_list<uint8_t> payload) {
  MavlinkMessage result{};
  result.msgid = msgid;
  result.sysid = sysid;
  result.len = static_cast<uint8_t>(payload.size());
  std::copy(payload.begin(), payload.end(), result.payload);
  return result;
}

MavlinkMessage record(uint8_t sysid, std::initializer_list<uint8_t> first, uint8_t command,
                      uint8_t component) {
  MavlinkMessage result = message(76, sysid, first);
  result.len = 33;
  result.payload[28] = command;
  result.payload[31] = component;
  return result;
}

TEST(CameraMessages, HeartbeatBits) {
  const auto recording = decode_camera_message(message(0, 37, {0, 0, 0, 0, 0, 0, 0, 5, 3}));
  ASSERT_TRUE(recording.has_value());
  const auto& beat = std::get<CameraHeartbeat>(*recording);
  EXPECT_TRUE(beat.stream_on);
  EXPECT_FALSE(beat.test_mode);
  EXPECT_TRUE(beat.recording);
  const auto test = decode_camera_message(message(0, 37, {0, 0, 0, 0, 0, 0, 0, 2, 3}));
  EXPECT_TRUE(std::get<CameraHeartbeat>(test.value()).test_mode);
  EXPECT_FALSE(std::get<CameraHeartbeat>(test.value()).recording);
}

TEST(CameraMessages, CameraAcknowledgement) {
  const auto event = decode_camera_message(message(52, 36, {0, 10, 76, 180, 4, 1, 0}));
  ASSERT_TRUE(event.has_value());
  const auto& ack = std::get<CameraAck>(*event);
  EXPECT_EQ(ack.subject, 10);
  EXPECT_EQ(ack.result, 4);
  EXPECT_EQ(ack.value, 1);
  EXPECT_FALSE(ack.clock);
}

TEST(CameraMessages, ClockAcknowledgementHasItsResultOneByteEarlier) {
  const auto event = decode_camera_message(message(52, 36, {0, 0, 111, 4, 0, 0, 0}));
  ASSERT_TRUE(event.has_value());
  EXPECT_TRUE(std::get<CameraAck>(*event).clock);
  EXPECT_EQ(std::get<CameraAck>(*event).result, 4);
}

TEST(CameraMessages, SdReport) {
  // 16.0 and 2.5
  const auto event =
      decode_camera_message(message(57, 36, {0, 0, 0x80, 0x41, 0, 0, 0x20, 0x40, 0, 0, 7}));
  ASSERT_TRUE(event.has_value());
  const auto& report = std::get<groundstation::SdReport>(*event);
  EXPECT_EQ(report.total_mb, 16.0F);
  EXPECT_EQ(report.free_mb, 2.5F);
  EXPECT_EQ(report.code, 7);
}

TEST(CameraMessages, ParameterFieldsNeedNoTerminatingZero) {
  MavlinkMessage frame = message(22, 36, {0, 0, 0, 0, 2, 1, 1, 0});
  frame.len = 55;
  std::fill_n(frame.payload + 8, 16, uint8_t{'n'});
  std::fill_n(frame.payload + 24, 30, uint8_t{'v'});
  const auto full = decode_camera_message(frame);
  ASSERT_TRUE(full.has_value());
  const auto& parameter = std::get<groundstation::Parameter>(*full);
  EXPECT_EQ(parameter.count, 258);
  EXPECT_EQ(parameter.index, 1);
  EXPECT_EQ(parameter.name, std::string(16, 'n'));
  EXPECT_EQ(parameter.value, std::string(30, 'v'));
  frame.payload[8] = 0;
  frame.payload[25] = 0;
  const auto cut = decode_camera_message(frame);
  EXPECT_EQ(std::get<groundstation::Parameter>(cut.value()).name, "");
  EXPECT_EQ(std::get<groundstation::Parameter>(cut.value()).value, "v");
  EXPECT_EQ(groundstation::event_json(*cut)["count"], 258);
  frame.len = 54;
  EXPECT_FALSE(decode_camera_message(frame).has_value());
}

TEST(CameraMessages, CommandAcknowledgementComesFromEitherSystem) {
  const auto photo = decode_camera_message(message(77, 36, {0xD1, 0x07, 0}));
  EXPECT_EQ(std::get<CommandAck>(photo.value()).command, 2001);
  EXPECT_EQ(std::get<CommandAck>(photo.value()).result, 0);
  const auto record_start = decode_camera_message(message(77, 35, {0xC4, 0x09, 4}));
  EXPECT_EQ(std::get<CommandAck>(record_start.value()).command, 2500);
  EXPECT_EQ(std::get<CommandAck>(record_start.value()).result, 4);
}

TEST(CameraMessages, RecordsAreToldApartByCommandSystemAndComponent) {
  // 12.0
  const auto tick = decode_camera_message(record(36, {0, 0, 0x40, 0x41}, 202, 3));
  EXPECT_EQ(std::get<RecordTick>(tick.value()).seconds, 12U);
  // -1.0
  const auto lapse = decode_camera_message(record(36, {0, 0, 0x80, 0xBF, 5}, 202, 16));
  EXPECT_EQ(std::get<TimelapseRecord>(lapse.value()).shots, -1.0F);
  EXPECT_EQ(std::get<TimelapseRecord>(lapse.value()).counts, 5U);
  // 3.0
  const auto report = decode_camera_message(record(35, {0, 0, 0x40, 0x40}, 2, 0));
  EXPECT_EQ(std::get<CameraReport>(report.value()).code, 3);
  const auto status = decode_camera_message(record(36, {0x04}, 2, 0));
  EXPECT_EQ(std::get<CameraStatus>(status.value()).resolution, 4U);
  EXPECT_FALSE(decode_camera_message(record(36, {}, 202, 9)).has_value());
  EXPECT_FALSE(decode_camera_message(record(36, {}, 7, 0)).has_value());
  EXPECT_FALSE(decode_camera_message(record(35, {}, 203, 0)).has_value());
}

TEST(CameraMessages, NonsenseNumbersDoNotHurt) {
  // NaN and -1e38
  const auto tick = decode_camera_message(record(36, {0, 0, 0xC0, 0x7F}, 202, 3));
  EXPECT_EQ(std::get<RecordTick>(tick.value()).seconds, 0U);
  const auto report = decode_camera_message(record(35, {0x99, 0x76, 0x96, 0xFE}, 2, 0));
  EXPECT_EQ(std::get<CameraReport>(report.value()).code, INT32_MIN);
}

TEST(CameraMessages, ShortOrForeignFramesAreIgnored) {
  EXPECT_FALSE(decode_camera_message(message(0, 37, {0, 0, 0, 0, 0, 0, 0, 5})).has_value());
  EXPECT_FALSE(decode_camera_message(message(0, 36, {0, 0, 0, 0, 0, 0, 0, 5, 3})).has_value());
  EXPECT_FALSE(decode_camera_message(message(52, 36, {0, 10, 76, 180, 4, 1})).has_value());
  EXPECT_FALSE(decode_camera_message(message(57, 36, {0, 0, 0, 0})).has_value());
  EXPECT_FALSE(decode_camera_message(message(77, 36, {0xD1, 0x07})).has_value());
  EXPECT_FALSE(decode_camera_message(message(77, 1, {0xD1, 0x07, 0})).has_value());
  EXPECT_FALSE(decode_camera_message(message(76, 36, {1, 2, 3})).has_value());
  EXPECT_FALSE(decode_camera_message(message(200, 36, {1, 2, 3})).has_value());
}

TEST(CameraMessages, EventsHaveALineAndAnObject) {
  const CameraReport taken{1, 0};
  EXPECT_EQ(groundstation::event_text(taken), "photo taken");
  EXPECT_EQ(groundstation::event_json(taken)["code"], 1);
  const SdReport card{16, 2.5F, 0};
  EXPECT_EQ(groundstation::event_text(card), "SD card: ready, 2 of 16 MB free");
  EXPECT_EQ(groundstation::event_json(card)["event"], "sd_report");
  EXPECT_EQ(groundstation::event_text(SdReport{0, 0, 1}), "SD card: no card");
}

}  // namespace
}  // namespace groundstation_test
