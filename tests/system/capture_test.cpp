// The tour's traffic, captured on the radio and decoded by Wireshark with the dissector that comes with the
// documents.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/fixtures.h"
#include "support/tshark.h"

namespace {

using namespace support;  // NOLINT
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;

constexpr const char* kCapture = "/tmp/tour.pcap";
constexpr const char* kUnits = "camera_module.h264_units";
constexpr const char* kExpertError = "8388608";  // as Wireshark writes that severity
constexpr const char* kOut = "/tmp/tour";

const std::vector<std::string> kFields = {
    "udp.srcport", "udp.dstport", "_ws.malformed", "_ws.expert.severity", "h264.nal_unit_hdr",
    // What the dissector says of every frame
    "camera_module.layout", "camera_module.checksum_good", "camera_module.channel", kUnits,
    "camera_module.unknown", "camera_module.broken", "camera_module.bad_checksum",
    // What the tour did
    "camera_module.position.latitude", "camera_module.position.longitude",
    "camera_module.altitude.altitude", "camera_module.digicam_control.mode",
    "camera_module.digicam_control.sequence", "camera_module.digicam_control.function",
    "camera_module.camera_action.action", "camera_module.camera_action.value",
    "camera_module.camera_setting.setting", "camera_module.camera_setting.value",
    "camera_module.setting_answer.subject", "camera_module.setting_answer.value",
    "camera_module.setting_answer.result", "camera_module.status_record.iso",
    "camera_module.status_record.white_balance", "camera_module.status_record.resolution",
    "camera_module.clock.time", "camera_module.clock.shift", "camera_module.clock_answer.result",
    "camera_module.time_lapse.interval", "camera_module.time_lapse.count",
    "camera_module.time_lapse.step", "camera_module.time_lapse_report.state",
    "camera_module.parameter.key", "camera_module.parameter.value",
    "camera_module.firmware_command.size_or_index_1", "camera_module.firmware_report.state",
    "camera_module.firmware_report.result", "camera_module.command_acknowledgement.command",
    "camera_module.command_acknowledgement.result", "camera_module.camera_report.code",
    "camera_module.record_tick.seconds", "camera_module.media_request.operation",
    "camera_module.media_request.name", "camera_module.notice.text",
    "camera_module.list_record.value"};

// Flies the tour while the radio is listened to.
void capture_tour() {
  std::filesystem::create_directory(kOut);
  ChildProcess tcpdump({"tcpdump", "-i", "wlan0", "-Z", "root", "--immediate-mode", "-B", "65536",
                        "-s", "0", "-w", kCapture, "ip"});
  ASSERT_TRUE(tcpdump.wait_for_line("listening on wlan0", seconds(20))) << tcpdump.output();
  const CommandResult tour =
      run_command({SOURCE_DIR "/board/tour", "flight", BIN_DIR, kOut}, seconds(200));
  EXPECT_EQ(tour.status, 0) << tour.output;
  tcpdump.signal(SIGINT);
  EXPECT_EQ(tcpdump.wait_for_end(seconds(20)), 0) << tcpdump.output();
  EXPECT_THAT(tcpdump.output(), HasSubstr("\n0 packets dropped by kernel"));
}

std::string text_of(const DecodedPacket& packet, const std::string& field) {
  const auto found = packet.find(field);
  return found == packet.end() ? "" : found->second;
}

class Capture : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    capture_tour();
    packets = decode_capture(kCapture, "udp", kFields);
  }

  // Whether one datagram has all of these values.
  static bool has(const DecodedPacket& wanted) {
    return std::any_of(packets.begin(), packets.end(), [&](const DecodedPacket& packet) {
      return std::includes(packet.begin(), packet.end(), wanted.begin(), wanted.end());
    });
  }
  static std::set<std::string> values(const std::string& field) {
    std::set<std::string> all;
    for (const DecodedPacket& packet : packets) {
      if (const auto found = packet.find(field); found != packet.end()) all.insert(found->second);
    }
    return all;
  }

  static std::vector<DecodedPacket> packets;
};
std::vector<DecodedPacket> Capture::packets;

TEST_F(Capture, EveryDatagramIsKnownAndWholeAndHasTheRightChecksum) {
  size_t frames = 0;
  size_t file_data = 0;
  size_t video = 0;
  for (const DecodedPacket& packet : packets) {
    const std::string told = ::testing::PrintToString(packet);
    for (const char* fault : {"_ws.malformed", "camera_module.unknown", "camera_module.broken",
                              "camera_module.bad_checksum"}) {
      ASSERT_FALSE(packet.contains(fault)) << told;
    }
    // The H.264 dissector remarks what it leaves alone; an error is more.
    ASSERT_THAT(text_of(packet, "_ws.expert.severity"), Not(HasSubstr(kExpertError))) << told;
    const bool live = text_of(packet, "udp.dstport") == "8856" && packet.contains(kUnits);
    const bool data =
        packet.contains("camera_module.channel") && packet.at("camera_module.channel") > "1";
    const bool frame = packet.contains("camera_module.layout");
    ASSERT_EQ(live + data + frame, 1) << told;
    if (frame) {
      ASSERT_EQ(packet.at("camera_module.checksum_good"), "1") << told;
    }
    frames += frame ? 1 : 0;
    file_data += data ? 1 : 0;
    video += live ? 1 : 0;
  }
  EXPECT_GT(frames, 5000U);  // some of them a firmware image in chunks of 240 bytes
  EXPECT_GT(file_data, 100U);
  EXPECT_GT(video, 100U);
}

TEST_F(Capture, PhotoSettingsAndClockAreAsTheTourSentThem) {
  EXPECT_TRUE(has({{"camera_module.position.latitude", "225000000"},
                   {"camera_module.position.longitude", "1139000000"}}));
  EXPECT_THAT(values("camera_module.altitude.altitude"),
              ::testing::ElementsAre(::testing::StartsWith("12.3")));
  EXPECT_TRUE(has({{"camera_module.digicam_control.mode", "1"},
                   {"camera_module.digicam_control.sequence", "3"},
                   {"camera_module.digicam_control.function", "1"}}));
  EXPECT_TRUE(has({{"camera_module.camera_setting.setting", "5"},
                   {"camera_module.camera_setting.value", "2"}}));
  EXPECT_TRUE(has({{"camera_module.camera_setting.setting", "6"},
                   {"camera_module.camera_setting.value", "400"}}));
  // The lowest byte of 400.
  EXPECT_TRUE(has({{"camera_module.setting_answer.subject", "6"},
                   {"camera_module.setting_answer.result", "0"},
                   {"camera_module.setting_answer.value", "144"}}));
  EXPECT_TRUE(has({{"camera_module.status_record.iso", "400"},
                   {"camera_module.status_record.white_balance", "2"}}));
  EXPECT_TRUE(
      has({{"camera_module.clock.time", "1577836800000"}, {"camera_module.clock.shift", "8"}}));
  EXPECT_TRUE(has({{"camera_module.clock_answer.result", "0"}}));
  EXPECT_TRUE(has(
      {{"camera_module.parameter.key", "ModelName"}, {"camera_module.parameter.value", "FALK2"}}));
  EXPECT_THAT(values("camera_module.camera_action.value"), IsSupersetOf({"50", "100"}));
}

TEST_F(Capture, RecordingTimelapseAndFirmwareAreAsTheTourSentThem) {
  EXPECT_THAT(values("camera_module.record_tick.seconds"), IsSupersetOf({"1", "2"}));
  for (const char* command : {"2001", "2500", "2501"}) {
    EXPECT_TRUE(has({{"camera_module.command_acknowledgement.command", command},
                     {"camera_module.command_acknowledgement.result", "0"}}))
        << command;
  }
  EXPECT_THAT(values("camera_module.camera_report.code"), IsSupersetOf({"1", "3", "4"}));
  EXPECT_TRUE(has({{"camera_module.time_lapse.interval", "2"},
                   {"camera_module.time_lapse.count", "2"},
                   {"camera_module.time_lapse.step", "0"}}));
  EXPECT_TRUE(has({{"camera_module.time_lapse.step", "2"}}));
  EXPECT_THAT(values("camera_module.time_lapse_report.state"), IsSupersetOf({"0", "2"}));
  EXPECT_TRUE(has({{"camera_module.status_record.resolution", "4"}}));
  // Written with five digits.
  bool announced = false;
  for (const std::string& size : values("camera_module.firmware_command.size_or_index_1")) {
    announced = announced || std::abs(std::stod(size) - 4194304) < 100;
  }
  EXPECT_TRUE(announced);
  EXPECT_TRUE(has({{"camera_module.firmware_report.state", "3"},
                   {"camera_module.firmware_report.result", "0"}}));
}

TEST_F(Capture, MediaAndVideoAreAsTheTourSawThem) {
  EXPECT_THAT(values("camera_module.media_request.operation"), IsSupersetOf({"0", "1", "5"}));
  const std::string photo = [] {
    for (const std::string& name : list_folder(kPictures)) {
      if (name.ends_with("_PW03.JPG")) return name;
    }
    return std::string();
  }();
  ASSERT_FALSE(photo.empty());
  EXPECT_TRUE(has({{"camera_module.list_record.value", photo}}));
  EXPECT_TRUE(has({{"camera_module.media_request.operation", "1"},
                   {"camera_module.media_request.name", photo}}));
  EXPECT_TRUE(has({{"camera_module.notice.text", "TRANSCOMPLETE:" + photo}}));
  // Parameter sets and a key picture.
  size_t key_pictures = 0;
  for (const std::string& types : values("h264.nal_unit_hdr")) {
    const std::vector<std::string> units = split(types, ',');
    const auto in = [&](const char* type) {
      return std::find(units.begin(), units.end(), type) != units.end();
    };
    if (in("7") && in("8") && in("5")) key_pictures++;
  }
  EXPECT_GE(key_pictures, 1U);
}

}  // namespace
